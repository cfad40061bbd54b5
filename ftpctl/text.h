// The library's data as text for people: one line each, without a newline.
#pragma once

#include "libftpclient/ftpclient.h"

#include <string>

// "4096 B", "1.5 kB", "5.4 GB": decimal units, one decimal.
std::string text_size(double bytes);

// "0:07", "12:34", "1:02:03".
std::string text_duration(double seconds);

// "download", "upload", "file information"; `other` for anything else.
std::string text_job(int job, const char *other = "a job");

// The same for programs: "download", "upload", "info"; NULL for anything else.
const char *text_job_word(int job);

// The ftpclient_job whose end a notice reports; FTPCLIENT_NO_JOB for a start of the daemon.
int text_job_of(const ftpclient_notice_t &notice);

// True for the progress of a Zixi job, which has a library error instead of codes.
bool text_is_zixi(const ftpclient_progress_t &progress);

// The progress: "1234 of 5678 bytes in 3.2 s".
std::string text_amount(const ftpclient_progress_t &progress);

// The same with the retries.
std::string text_outcome(const ftpclient_progress_t &progress);

// The details in brackets after a failure: "FTPCD_ERR_NETWORK 16, libcurl code 28, server answered 426".
std::string text_details(int result, const ftpclient_progress_t &progress);

// The outcome of a job: "done", or the failure, its remedy and the details.
std::string text_result(int result, const ftpclient_progress_t &progress);

std::string text_state(const ftpclient_state_t &state);

// `name` is the user's name for the file.
std::string text_remote_file(const std::string &name, const ftpclient_file_info_t &file);

// "rw-r--r--"; "" when they are unknown.
std::string text_permissions(const ftpclient_file_info_t &file);

// "2024-05-01T12:34", "2024-05-01"; "" when year, month or day is unknown.
std::string text_iso_time(const ftpclient_file_info_t &file);

// The local time now, "2024-05-01 12:34:56".
std::string text_now();
