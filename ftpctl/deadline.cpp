#include "ftpctl/deadline.h"

#include <algorithm>
#include <climits>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Nobody waits longer than this, and adding it to now() cannot overflow.
static constexpr milliseconds LONGEST = std::chrono::hours(24 * 365 * 10);

deadline_t::deadline_t(std::optional<milliseconds> limit)
{
    if (limit)
        end_ = steady_clock::now() + std::min(*limit, LONGEST);
}

bool deadline_t::passed() const { return end_ && steady_clock::now() >= *end_; }

int deadline_t::poll_ms() const
{
    if (!end_)
        return -1;
    const auto left = std::chrono::ceil<milliseconds>(*end_ - steady_clock::now()).count();
    return static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX));
}
