#include "ftpspool/pauses.h"

#include <algorithm>

pauses_t::pauses_t(int64_t first_ms, int64_t longest_ms, std::function<double()> random)
    : first_ms_(first_ms), longest_ms_(longest_ms), random_(std::move(random))
{
}

int64_t pauses_t::failed(int64_t key, int64_t now_ms)
{
    pause_t &pause = of_[key];
    pause.whole_ms = std::min(pause.whole_ms == 0 ? first_ms_ : pause.whole_ms * 2, longest_ms_);
    const auto length_ms = static_cast<int64_t>(static_cast<double>(pause.whole_ms) * (1 - random_() / 2));
    pause.end_ms = now_ms + length_ms;
    return length_ms;
}

int64_t pauses_t::end_ms(int64_t key) const
{
    const auto found = of_.find(key);
    return found == of_.end() ? 0 : found->second.end_ms;
}
