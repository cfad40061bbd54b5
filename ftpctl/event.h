// What `watch` and `listen` tell: a line, an object, and the variables of a command of --exec.
#pragma once

#include "ftpctl/options.h"

#include <ctime>
#include <string>
#include <vector>

struct event_t {
    std::string line;                   // for people, behind the local time
    std::string json;                   // one object
    std::vector<std::string> variables; // "FTPCTL_...=..."
};

// Every name that a variable of an event can have.
std::vector<std::string> event_variable_names();

// A job has ended, or the daemon has started.
event_t event_of_notice(const ftpclient_notice_t &notice, time_t now);

event_t event_of_state(const ftpclient_state_t &state, time_t now);

// The daemon is back (FTPCLIENT_OK), or gone: the ftpclient_error that a question to it has met.
event_t event_of_daemon(int error, time_t now);

// Prints the event as the options want it; with --quiet only where no command of --exec takes it. Throws
// failure (STATUS_LOCAL) when it cannot be written.
void event_print(const event_t &event, const options_t &options);
