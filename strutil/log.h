// The log: every line goes to syslog through one of these, and may wait for it; one that is lost shows
// nowhere. None changes errno.
//
// `id` is the place a line comes from, e.g. "curl_func(615)". It is fixed for good and spelt here exactly as
// it is logged, so that searching the source for what a device logged finds the one place.
#pragma once

// LOG_ERR: "error: <id>: <text>\n".
void log_error(const char *id, const char *format, ...) __attribute__((format(printf, 2, 3)));

// LOG_ERR: "error: <id>: errno(<errno>) <its text>\n". Call it before anything else can change errno.
void log_errno(const char *id);

// LOG_ERR: "error: <id>: <call>(): <rc>\n" when rc is not 0; nothing else. For calls that return their error.
void log_if_failed(const char *id, const char *call, int rc);

// LOG_INFO: "<id>: <text>\n".
void log_info(const char *id, const char *format, ...) __attribute__((format(printf, 2, 3)));

// LOG_INFO: the text as it is, without id or newline.
void log_text(const char *format, ...) __attribute__((format(printf, 1, 2)));
