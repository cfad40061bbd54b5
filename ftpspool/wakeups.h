// What the service waits for: nothing runs between.
#pragma once

#include "strutil/guards.h"

#include <cstdint>
#include <string>
#include <sys/types.h>

// Milliseconds of a clock that nobody sets and that goes on while the device sleeps.
int64_t steady_ms();

// Seconds since 1970.
int64_t wall_s();

class wakeups_t
{
public:
    // Watches the database at `path`: whoever has changed it closes it, also when killed. Throws failure
    // (STATUS_LOCAL).
    explicit wakeups_t(const std::string &path);

    // Waits until `fd` or `signal_fd` (-1: none) is readable, the database was changed by a command, the
    // steady clock is at `steady_ms` or the wall clock at `wall_s` (0: never), or the wall clock was set.
    void wait(int fd, int signal_fd, int64_t steady_ms, int64_t wall_s);

    // From now on wait() also returns when `fd` is readable.
    void wait_also_for(int fd) { more_ = fd; }

    // True when the path leads to another file, or to none.
    bool is_database_gone() const;

private:
    std::string path_;
    ino_t inode_;
    descriptor changes_;
    descriptor steady_;
    descriptor wall_;
    int more_ = -1;

    void drain();
};
