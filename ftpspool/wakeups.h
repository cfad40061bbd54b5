// Blocks the service until there is something to do; it never polls.
#pragma once

#include "strutil/guards.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <sys/types.h>

// Milliseconds of a monotonic clock that also counts while the device sleeps.
int64_t steady_ms();

// Seconds since 1970.
int64_t wall_s();

// The earlier of two times; 0 means never.
constexpr int64_t earlier(int64_t one, int64_t other)
{
    return one == 0 || (other != 0 && other < one) ? other : one;
}

// The next multiple of ROUND_MS. All periodic checks happen at these times, so that they share one wake-up.
constexpr int64_t ROUND_MS = 30000;
constexpr int64_t next_round_ms(int64_t now_ms) { return (now_ms / ROUND_MS + 1) * ROUND_MS; }

class wakeups_t
{
public:
    // Watches the database at `path` for the close after a write, which is reported even if the writer is
    // killed. Throws failure (STATUS_LOCAL).
    explicit wakeups_t(const std::string &path);

    // Waits until one of `fds` (-1: none) is readable, the database was changed by a command, the steady
    // clock is at `steady_ms` or the wall clock at `wall_s` (0: never), or the wall clock was set.
    void wait(std::initializer_list<int> fds, int64_t steady_ms, int64_t wall_s);

    // True when the path leads to another file, or to none.
    bool is_database_gone() const;

private:
    std::string path_;
    ino_t inode_;
    descriptor changes_;
    descriptor steady_;
    descriptor wall_;

    void drain();
};
