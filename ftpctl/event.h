// An event of `watch` and `listen`: a line, a JSON object, and the variables for a command of --exec.
#pragma once

#include "ftpctl/options.h"

#include <ctime>
#include <string>
#include <vector>

struct event_t {
    std::string line;                   // for people, printed after the local time
    std::string json;                   // one object
    std::vector<std::string> variables; // "FTPCTL_...=..."
};

// The names of all variables that an event can have.
std::vector<std::string> event_variable_names();

// The end of a job, or the start of the daemon.
event_t event_of_notice(const ftpclient_notice_t &notice, time_t now);

event_t event_of_state(const ftpclient_state_t &state, time_t now);

// The daemon is back (FTPCLIENT_OK), or gone; `error` is the ftpclient_error of a request to it.
event_t event_of_daemon(int error, time_t now);

// Prints the event according to the options; with --quiet only if there is no command of --exec. Throws
// failure (STATUS_LOCAL) when it cannot be written.
void event_print(const event_t &event, const options_t &options);
