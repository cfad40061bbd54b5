// What `watch` and `listen` tell: a line, an object, and the variables of a command of --exec.
#pragma once

#include "tools/options.h"
#include "wire/wire.h"

#include <cstddef>
#include <ctime>
#include <span>
#include <string>
#include <vector>

struct event_t {
    std::string line;                   // for people, behind the local time
    std::string json;                   // one object
    std::vector<std::string> variables; // "FTPCTL_...=..."
};

// Every name that a variable of an event can have.
std::vector<std::string> event_variable_names();

// A notice as it came. Throws failure (STATUS_BAD_ANSWER) for bytes that are no whole notice of the daemon.
event_t event_of_notice(std::span<const std::byte> bytes, time_t now);

// Prints the event as the options want it; with --quiet only where no command of --exec takes it.
void event_print(const event_t &event, const options_t &options);

event_t event_of_state(const state_reply_t &state, time_t now);
