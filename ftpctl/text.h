// The library's data as text for people: one line each, without a newline. Pure functions, which never fail;
// a text is the caller's, except that of text_job_word().
#pragma once

#include "libftpclient/ftpclient.h"

#include <string>

// "999 B", "1.5 kB", "5.4 GB": decimal units, one decimal from 1000 bytes on; "0 B" for a negative number.
std::string text_size(double bytes);

// Minutes and seconds, or hours: "0:07", "12:34", "1:02:03". "0:00" for a negative number or one of
// 10^9 and more.
std::string text_duration(double seconds);

// The name of an ftpclient_job: "download", "upload", "file information"; `other` for anything else.
std::string text_job(int job, const char *other = "a job");

// The same for programs: "download", "upload", "info", a constant; NULL for anything else.
const char *text_job_word(int job);

// The ftpclient_job whose end a notice reports; FTPCLIENT_NO_JOB for a start of the daemon.
int text_job_of(const ftpclient_notice_t &notice);

// True for the progress of a Zixi job, which has a library error instead of codes.
bool text_is_zixi(const ftpclient_progress_t &progress);

// The progress: "1234 of 5678 bytes in 3.2 s"; "1234 bytes in 3.2 s" while the total is unknown.
std::string text_amount(const ftpclient_progress_t &progress);

// The same with the retries, if there were any: "..., 2 retries".
std::string text_outcome(const ftpclient_progress_t &progress);

// The details for the brackets after a failure, as far as they apply: "FTPCD_ERR_NETWORK 16, libcurl code 28,
// server answered 426".
std::string text_details(int result, const ftpclient_progress_t &progress);

// The outcome of a job from its ftpclient_result: "done", or the failure, its remedy and the details.
std::string text_result(int result, const ftpclient_progress_t &progress);

// The daemon's state: "idle, no job since the daemon started", "running: upload, ..." or "cancelling: upload,
// ...", otherwise "idle, last job: upload, ..." with its progress and result.
std::string text_state(const ftpclient_state_t &state);

// What a look-up found: "NAME: 1234 bytes, 2024-05-01 12:34, rw-r--r--" as far as known, or "NAME: no such
// file". `name` is the user's name for the file.
std::string text_remote_file(const std::string &name, const ftpclient_file_info_t &file);

// "rw-r--r--", followed by "(special bits 4)" for setuid and the like; "" when they are unknown.
std::string text_permissions(const ftpclient_file_info_t &file);

// "2024-05-01T12:34", or "2024-05-01" without a time of day; "" when year, month or day is unknown. The time
// is the server's, in its own time zone.
std::string text_iso_time(const ftpclient_file_info_t &file);

// The local time now, "2024-05-01 12:34:56".
std::string text_now();
