// Built without fortification, whose inline functions would redefine those below.
#undef _FORTIFY_SOURCE

#include "support/logged.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <syslog.h>
#include <utility>

static std::mutex mutex_;
static lines lines_;

static void keep(int priority, const char *format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<size_t>(vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    vsnprintf(text.data(), text.size() + 1, format, arguments);
    if (priority != (text.starts_with("error: ") ? LOG_ERR : LOG_INFO))
        text.insert(0, "priority " + std::to_string(priority) + ": ");
    std::lock_guard guard(mutex_);
    lines_.push_back(std::move(text));
    errno = ENOTCONN; // as syslog may do
}

// The C library's logging functions, with the fortified ones.
extern "C" {
void vsyslog(int priority, const char *format, va_list arguments) { keep(priority, format, arguments); }

void __vsyslog_chk(int priority, int, const char *format, va_list arguments)
{
    keep(priority, format, arguments);
}

void syslog(int priority, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    keep(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    keep(priority, format, arguments);
    va_end(arguments);
}
}

lines logged()
{
    std::lock_guard guard(mutex_);
    return std::exchange(lines_, {});
}
