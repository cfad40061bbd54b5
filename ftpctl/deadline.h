// A point in time that a wait must not pass, or none.
#pragma once

#include <algorithm>
#include <chrono>
#include <climits>
#include <optional>

class deadline_t
{
public:
    // `limit` from now; without one there is no end. Nobody waits longer than ten years, and adding them to
    // now() cannot overflow.
    explicit deadline_t(std::optional<std::chrono::milliseconds> limit)
    {
        if (limit)
            end_ =
                clock::now() + std::min<std::chrono::milliseconds>(*limit, std::chrono::hours(24 * 365 * 10));
    }

    bool passed() const { return end_ && clock::now() >= *end_; }

    // What poll() wants: whole milliseconds that are left, rounded up; -1 without an end.
    int poll_ms() const
    {
        if (!end_)
            return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end_ - clock::now()).count();
        return static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX));
    }

private:
    using clock = std::chrono::steady_clock;
    std::optional<clock::time_point> end_;
};
