// Makes system calls fail or do less than requested. Only in this thread, so that fake daemons are not
// affected.
#pragma once

#include <cstdint>
#include <string>

struct behaviour_t {
    size_t piece = SIZE_MAX; // most bytes of one send or recv
    int interruptions = 0;   // of each call, before it succeeds
    int failing_errno = 0;   // of the call that `failing` names
    const char *failing = "";
    bool without_memory = false;
    bool shut_when_connected = false; // the next send fails with EPIPE
    bool without_ofd_locks = false;   // as in kernels before 3.15
    int64_t skipped_ms = 0;           // added to the monotonic clock
};

struct with {
    explicit with(const behaviour_t &wanted);
    ~with();
};

// The number of blocks freed in this thread that still held `text`, since it was set.
void look_for_in_freed(const std::string &text);
int found_in_freed();
int freed_blocks();

// The number of OFD locks refused so far by the kernel without them.
int refused_ofd_locks();
