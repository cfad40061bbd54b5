#include "ftpspool/entry.h"

#include <algorithm>
#include <array>

// By state_t and after_t.
constexpr std::array<const char *, STATE_COUNT> STATES = {"queued",  "waiting", "held",  "sending",
                                                          "arrived", "done",    "failed"};
constexpr std::array AFTER = {"keep", "delete", "move"};

const char *state_name(state_t state) { return STATES[static_cast<size_t>(state)]; }

std::optional<state_t> state_of(std::string_view name)
{
    const auto *found = std::ranges::find(STATES, name);
    if (found == STATES.end())
        return std::nullopt;
    return static_cast<state_t>(found - STATES.begin());
}

const char *after_name(after_t after) { return AFTER[static_cast<size_t>(after)]; }
