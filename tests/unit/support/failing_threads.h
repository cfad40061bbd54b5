// Makes calls for threads and locks fail. Wrap pthread_create, pthread_join, pthread_mutexattr_settype,
// pthread_mutex_lock and pthread_mutex_unlock.
#pragma once

#include <atomic>

// If not 0, the next call returns this error number, once. join, lock and unlock still do their work.
struct failing_threads {
    std::atomic<int> create = 0;
    std::atomic<int> join = 0;
    std::atomic<int> settype = 0;
    std::atomic<int> lock = 0;
    std::atomic<int> unlock = 0;
};

extern failing_threads threads_;
