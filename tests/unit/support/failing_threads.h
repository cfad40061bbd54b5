// The calls behind threads and locks, of which a test can make the next one fail. Wrap pthread_create,
// pthread_join, pthread_mutexattr_settype, pthread_mutex_lock and pthread_mutex_unlock.
#pragma once

#include <atomic>

// An error number: the next call tells of it, once. But for create and settype it does its work all the same.
struct failing_threads {
    std::atomic<int> create = 0;
    std::atomic<int> join = 0;
    std::atomic<int> settype = 0;
    std::atomic<int> lock = 0;
    std::atomic<int> unlock = 0;
};

extern failing_threads threads_;
