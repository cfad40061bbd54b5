// A point in time that a wait must not pass, or none.
#pragma once

#include <chrono>
#include <optional>

class deadline_t
{
public:
    // `limit` from now; without one there is no end.
    explicit deadline_t(std::optional<std::chrono::milliseconds> limit);

    bool passed() const;

    // What poll() wants: whole milliseconds that are left, rounded up; -1 without an end.
    int poll_ms() const;

private:
    std::optional<std::chrono::steady_clock::time_point> end_;
};
