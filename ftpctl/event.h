// An event of `watch` and `listen`: a line, a JSON object, and the variables for a command of --exec.
#pragma once

#include "libftpclient/ftpclient.h"

#include <ctime>
#include <string>
#include <vector>

struct event_t {
    std::string line;                   // for people, without a newline; printed after the local time
    std::string json;                   // one object on one line, without a newline
    std::vector<std::string> variables; // "FTPCTL_...=..."; those that do not apply are missing
};

// The names of all variables that an event can have. A command of --exec inherits none of them from
// the environment.
std::vector<std::string> event_variable_names();

// The functions below make events; none of them prints or fails. `now`, the event's time, is in seconds since
// 1970. The manual page lists the variables of each.

// The end of a job, or the start of the daemon.
event_t event_of_notice(const ftpclient_notice_t &notice, time_t now);

// The daemon's state: its running job, or the last one and how it ended.
event_t event_of_state(const ftpclient_state_t &state, time_t now);

// The daemon is back (FTPCLIENT_OK), or gone; `error` is the ftpclient_error of a request to it.
event_t event_of_daemon(int error, time_t now);
