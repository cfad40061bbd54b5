#include "ftpspool/recheck_list.h"

#include "ftpspool/wakeups.h"

#include <algorithm>

bool recheck_list_t::put(const std::string &path, int64_t now_ms)
{
    if (pauses_.size() >= MOST && !pauses_.contains(path))
        return false;
    pauses_[path] = {FIRST_MS, now_ms + FIRST_MS};
    return true;
}

void recheck_list_t::offer_due(int64_t now_ms, const std::function<bool(const std::string &path)> &offer)
{
    for (auto at = pauses_.begin(); at != pauses_.end();) {
        auto &[path, pause] = *at;
        if (pause.end_ms > now_ms) {
            at++;
        } else if (offer(path)) {
            at = pauses_.erase(at);
        } else {
            pause.length_ms = std::min(4 * pause.length_ms, ROUND_MS);
            pause.end_ms = pause.length_ms > LONGEST_MS ? next_round_ms(now_ms) : now_ms + pause.length_ms;
            at++;
        }
    }
}

int64_t recheck_list_t::next_ms() const
{
    const auto first =
        std::ranges::min_element(pauses_, {}, [](const auto &of_path) { return of_path.second.end_ms; });
    return first == pauses_.end() ? 0 : first->second.end_ms;
}
