// `watch`: a line for each change of the daemon's state.
#pragma once

#include "ftpctl/options.h"

#include <optional>

// Prints the state now and each change of it, until an interrupt or the end of the time. A daemon that goes
// away and comes back is a change too; one that is not there at the start is a failure. The commands of
// --exec have all run when it returns. Throws failure: as daemon_failure() has it at the start, STATUS_EXEC
// when a command failed.
void command_watch(const options_t &options, report_t &report);

// Says when a line is due: at once for a change, but for mere progress once a second. `now_s`: seconds of a
// clock that only goes forward.
class watch_pace
{
public:
    bool is_due(double now_s, const ftpclient_state_t &state);

private:
    std::optional<ftpclient_state_t> shown_;
    double shown_s_ = 0;
};
