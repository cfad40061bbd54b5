// The end of a wait, or none, on a monotonic clock. Nothing here waits or fails.
#pragma once

#include <algorithm>
#include <chrono>
#include <climits>
#include <optional>

class deadline_t
{
public:
    // `limit` from now; without a limit there is no end. A limit above ten years counts as ten years, so that
    // adding it to now() cannot overflow.
    explicit deadline_t(std::optional<std::chrono::milliseconds> limit)
    {
        if (limit)
            end_ =
                clock::now() + std::min<std::chrono::milliseconds>(*limit, std::chrono::hours(24 * 365 * 10));
    }

    // Always false without an end.
    bool passed() const { return end_ && clock::now() >= *end_; }

    // The remaining time for poll(): milliseconds, rounded up; -1 without an end.
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
