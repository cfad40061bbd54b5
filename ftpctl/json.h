// JSON, one object on one line. Every key is always there, null where there is nothing to tell. Sizes are
// whole numbers of bytes, times seconds, results also have their names. zixi_error is null but after a Zixi
// job. What is not UTF-8 is replaced by U+FFFD.
#pragma once

#include "ftpctl/report.h"

#include <ctime>
#include <string>

// How a command ended.
std::string json_report(const report_t &report);

// How far a command's job is.
std::string json_progress(const std::string &command, const ftpclient_progress_t &progress);

// Events: "event", "time" in seconds since 1970, then "job" (how it ended), "state", or for a start "result"
// and "result_name", for a daemon that goes or comes back "running".
std::string json_notice(const ftpclient_notice_t &notice, time_t now);
std::string json_state_event(const ftpclient_state_t &state, time_t now);
std::string json_daemon_event(bool is_there, time_t now);
