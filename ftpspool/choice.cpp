#include "ftpspool/choice.h"

#include <algorithm>
#include <tuple>

int64_t chooser_t::turn_of(int64_t server) const
{
    const auto found = turn_of_.find(server);
    return found == turn_of_.end() ? 0 : found->second;
}

bool chooser_t::goes_before(const ready_t &one, const ready_t &other) const
{
    return std::tuple(-one.priority, turn_of(one.server), one.id) <
           std::tuple(-other.priority, turn_of(other.server), other.id);
}

choice_t chooser_t::choose(const std::vector<ready_t> &lines, const pauses_t &pauses, int64_t now_ms)
{
    choice_t choice;
    for (const ready_t &line : lines) {
        const int64_t end_ms = pauses.end_ms(line.server);
        if (end_ms > now_ms && !line.urged)
            choice.wake_ms = choice.wake_ms == 0 ? end_ms : std::min(choice.wake_ms, end_ms);
        else if (!choice.entry || goes_before(line, *choice.entry))
            choice.entry = line;
    }
    if (choice.entry)
        turn_of_[choice.entry->server] = ++turns_;
    return choice;
}
