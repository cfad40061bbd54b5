// The commands, each in a file of the same name; ping, state and cancel are in
// short_commands.cpp, watch is in watch.h.
#pragma once

#include "ftpctl/options.h"
#include "ftpctl/report.h"

// Each waits for the daemon or for the end of the job, at most for --timeout, fills in the report, and throws
// failure on failure. get, put and info may first prompt for a password.
void command_get(const options_t &options, report_t &report);
void command_put(const options_t &options, report_t &report);
void command_info(const options_t &options, report_t &report);
void command_ping(const options_t &options, report_t &report);
void command_state(const options_t &options, report_t &report);
void command_cancel(const options_t &options, report_t &report);

// Gets a server's identity and prints its pin. The daemon connects once, saves the certificate or host key
// into a private folder, and then rejects the server, because the job's pin has length 0 and matches nothing.
// The connection ends before the login: no password is sent and no remote file is touched. Throws failure if
// the job ends in any other way.
void command_identity(const options_t &options, report_t &report);

// Receives notices in place of the network manager and prints each, until options.count notices, an interrupt
// or the time limit. A socket left behind by an ended program is replaced, one with a listener is not. When
// it returns, the commands of --exec have all run. Throws failure: STATUS_TIMEOUT when notices are missing at
// the time limit, STATUS_EXEC when a command failed, STATUS_LOCAL when it cannot listen.
void command_listen(const options_t &options, report_t &report);
