// System calls that do less than they were asked for, or nothing: those of this thread, so that a fake
// daemon's own are left alone.
#pragma once

#include <cstdint>
#include <string>

struct behaviour_t {
    size_t piece = SIZE_MAX; // most bytes of one send or recv
    int interruptions = 0;   // of each call, before it is let through
    int failing_errno = 0;   // of the call named by `failing`
    const char *failing = "";
    bool without_memory = false;
    bool shut_when_connected = false; // the next send is answered EPIPE
    bool without_ofd_locks = false;   // as kernels before 3.15
    int64_t skipped_ms = 0;           // the monotonic clock is so much ahead
};

struct with {
    explicit with(const behaviour_t &wanted);
    ~with();
};

// Blocks freed in this thread that still held `text`, since it was set.
void look_for_in_freed(const std::string &text);
int found_in_freed();
int freed_blocks();

// Calls for locks that a kernel without them refused, so far.
int refused_ofd_locks();
