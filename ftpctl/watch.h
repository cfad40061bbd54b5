// `watch`: a line for each change of the daemon's state.
#pragma once

#include "ftpctl/options.h"

#include <optional>

// Prints the current state and each change, until an interrupt or the time limit. A daemon that stops or
// comes back is a change too; a daemon that is missing at the start is a failure. When it returns, the
// commands of --exec have all run. Throws failure: as daemon_failure() at the start, STATUS_EXEC when a
// command failed.
void command_watch(const options_t &options, report_t &report);

// Decides when a line is due: at once for a change, once a second for progress. `now_s` is in seconds of a
// monotonic clock.
class watch_pace
{
public:
    // True when a line for `state` is due; counts it as printed then. The first state is always due.
    bool is_due(double now_s, const ftpclient_state_t &state);

private:
    std::optional<ftpclient_state_t> shown_;
    double shown_s_ = 0;
};
