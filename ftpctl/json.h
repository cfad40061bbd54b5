// JSON, one object on one line. All keys are always present, null if they do not apply. Sizes are whole
// numbers of bytes, times are seconds, and results also have their names. zixi_error is null except after
// a Zixi job. Invalid UTF-8 is replaced by U+FFFD. The texts have no newline; none of the functions
// prints or fails.
#pragma once

#include "ftpctl/report.h"

#include <ctime>
#include <string>

// The outcome of a command, successful or not.
std::string json_report(const report_t &report);

// The progress of a command's job. Its member "progress" distinguishes it from an outcome, which has one only
// in "job".
std::string json_progress(const std::string &command, const ftpclient_progress_t &progress);

// Events: "event", "time" (`now`) in seconds since 1970, then "job" (its outcome), "state", for a start of
// the daemon "result" and "result_name", or for a daemon that stops or comes back "running".
std::string json_notice(const ftpclient_notice_t &notice, time_t now);
std::string json_state_event(const ftpclient_state_t &state, time_t now);
std::string json_daemon_event(bool is_there, time_t now);
