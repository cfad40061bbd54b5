// The commands, each in a file of its name; ping, state and cancel in questions.cpp, watch in watch.h.
#pragma once

#include "ftpctl/options.h"
#include "ftpctl/report.h"

// Each waits for the daemon or the job to come to an end, fills the report, and throws failure when it fails.
void command_get(const options_t &options, report_t &report);
void command_put(const options_t &options, report_t &report);
void command_info(const options_t &options, report_t &report);
void command_ping(const options_t &options, report_t &report);
void command_state(const options_t &options, report_t &report);
void command_cancel(const options_t &options, report_t &report);

// Asks a server who it is, and prints the pin that holds it to that. The daemon connects once, saves the
// certificate or host key into a private folder, and then refuses the server, because the pin that goes with
// the job has no length and matches nothing. The connection ends before the login: no password is sent, no
// file is touched, no proof is asked of the user.
void command_identity(const options_t &options, report_t &report);

// Plays the network manager: prints each notice as it comes to the notify socket, until there were
// options.count, an interrupt comes or the time is over. A socket that a program which is gone has left
// behind is replaced, one that somebody listens on is not. The commands of --exec have all run when it
// returns. Throws failure: STATUS_TIMEOUT when notices are missing at the end of the time, STATUS_EXEC when a
// command failed, STATUS_LOCAL when it cannot listen.
void command_listen(const options_t &options, report_t &report);
