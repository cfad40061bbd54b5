// The log: every line goes to syslog through one of these functions. They may block in syslog; a lost line is
// not reported. None changes errno.
//
// `id` is the place a line comes from, e.g. "module(123)". It never changes and is written in the source
// exactly as it is logged, so that a search for a logged id finds its only place.
#pragma once

// LOG_ERR: "error: <id>: <text>\n".
void log_error(const char *id, const char *format, ...) __attribute__((format(printf, 2, 3)));

// LOG_ERR: "error: <id>: errno(<errno>) <its text>\n". Call it before anything else can change errno.
void log_errno(const char *id);

// LOG_ERR: "error: <id>: <call>(): <rc>\n" when rc is not 0, otherwise nothing. For calls that
// return their error.
void log_if_failed(const char *id, const char *call, int rc);

// LOG_ERR: "error: <id>: <text>\n" when the pointer is NULL, otherwise nothing. Returns whether it is NULL.
bool log_if_null(const char *id, const char *text, const void *pointer);

// LOG_INFO: "<id>: <text>\n".
void log_info(const char *id, const char *format, ...) __attribute__((format(printf, 2, 3)));

// LOG_INFO: only the text, without id or newline, of any length.
void log_text(const char *format, ...) __attribute__((format(printf, 1, 2)));
