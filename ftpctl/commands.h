// The commands, each in a file of its name; ping, state and cancel in questions.cpp.
#pragma once

#include "ftpctl/options.h"
#include "ftpctl/report.h"

// Each fills the report, and throws failure when it fails.
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
