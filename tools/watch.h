// `watch`: a line for each change of the daemon's state, until an interrupt or the end of the time.
#pragma once

#include "tools/options.h"
#include "wire/wire.h"

int watch(const options_t &options);

// Says when a line is due: at once for a change, but for mere progress once a second.
class watch_pace
{
public:
    bool is_due(double now_s, const state_reply_t &state);

private:
    std::optional<state_reply_t> shown_;
    double shown_s_ = 0;
};
