// Built without fortification, whose inline functions would redefine those below.
#undef _FORTIFY_SOURCE

#include "support/logged.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <ostream>
#include <syslog.h>
#include <utility>

static std::mutex mutex_;
static std::vector<log_line> lines_;

static void keep(int priority, const char *format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<size_t>(vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    vsnprintf(text.data(), text.size() + 1, format, arguments);
    std::lock_guard guard(mutex_);
    lines_.push_back({priority, std::move(text)});
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

std::vector<log_line> logged_with_priority()
{
    std::lock_guard guard(mutex_);
    return std::exchange(lines_, {});
}

lines logged()
{
    lines texts;
    for (auto &line : logged_with_priority())
        texts.push_back(std::move(line.text));
    return texts;
}

void PrintTo(const log_line &line, std::ostream *out)
{
    *out << (line.priority == LOG_ERR ? "ERR " : line.priority == LOG_INFO ? "INFO " : "? ") << line.text;
}
