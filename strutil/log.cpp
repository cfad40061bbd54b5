#include "strutil/log.h"

#include "strutil/guards.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <syslog.h>

// Bytes. Ids and formats are literals of this program; the longest have 170 together.
constexpr size_t FORMAT_SIZE = 256;

static void log_line(int priority, const char *prefix, const char *id, const char *format, va_list arguments)
    __attribute__((format(printf, 4, 0)));

static void log_line(int priority, const char *prefix, const char *id, const char *format, va_list arguments)
{
    const errno_kept kept;
    char whole[FORMAT_SIZE];
    snprintf(whole, sizeof whole, "%s%s: %s\n", prefix, id, format);
    errno = kept.value;
    vsyslog(priority, whole, arguments);
}

void log_error(const char *id, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    log_line(LOG_ERR, "error: ", id, format, arguments);
    va_end(arguments);
}

void log_errno(const char *id)
{
    const errno_kept kept; // strerror of an unknown number sets EINVAL
    log_error(id, "errno(%d) %s", kept.value, strerror(kept.value));
}

void log_if_failed(const char *id, const char *call, int rc)
{
    if (rc != 0)
        log_error(id, "%s(): %d", call, rc);
}

bool log_if_null(const char *id, const char *text, const void *pointer)
{
    if (pointer == nullptr)
        log_error(id, "%s", text);
    return pointer == nullptr;
}

void log_info(const char *id, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    log_line(LOG_INFO, "", id, format, arguments);
    va_end(arguments);
}

void log_text(const char *format, ...)
{
    const errno_kept kept;
    va_list arguments;
    va_start(arguments, format);
    vsyslog(LOG_INFO, format, arguments);
    va_end(arguments);
}
