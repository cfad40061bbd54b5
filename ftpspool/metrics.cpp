#include "ftpspool/metrics.h"

#include "ftpctl/statuses.h"
#include "ftpspool/disk.h"
#include "ftpspool/verdict.h"
#include "strutil/guards.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

constexpr mode_t MODE = 0644;

metrics_t::metrics_t(const std::string &path) : path_(path), failures_({{"expired", 0}})
{
    for (const int status : verdict_statuses())
        failures_[status_find(status).name] = 0;
}

void metrics_t::sent(int64_t bytes)
{
    bytes_ += bytes;
    is_stale_ = true;
}

void metrics_t::arrived(int64_t now_s)
{
    uploads_++;
    last_s_ = now_s;
    is_stale_ = true;
}

void metrics_t::failed(const std::string &cause)
{
    failures_[cause]++;
    is_stale_ = true;
}

// ---- The text ----

static std::string head_of(const std::string &name, const char *type, const char *help)
{
    return "# HELP " + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
}

static std::string sample_of(const std::string &name, int64_t value)
{
    return name + " " + std::to_string(value) + "\n";
}

// An unknown time has no sample: 0 would mean 1970 and raise an alarm.
static std::string time_of(const std::string &name, const char *help, int64_t s)
{
    return head_of(name, "gauge", help) + (s == 0 ? "" : sample_of(name, s));
}

static std::string total_of(const std::string &name, const char *help, int64_t value)
{
    return head_of(name, "counter", help) + sample_of(name, value);
}

static std::string labelled(const char *name, const char *label, const std::string &value)
{
    return std::string(name) + "{" + label + "=\"" + value + "\"}";
}

std::string metrics_t::text(const figures_t &figures) const
{
    std::string text = head_of("ftpspool_entries", "gauge", "Entries of the queue by state.");
    for (size_t i = 0; i < figures.counts.size(); i++)
        text += sample_of(labelled("ftpspool_entries", "state", state_name(static_cast<state_t>(i))),
                          figures.counts.at(i));
    text += time_of("ftpspool_oldest_queued_timestamp_seconds",
                    "Since when the oldest unsent entry has been ready to send.", figures.oldest_s);
    text += time_of("ftpspool_last_success_timestamp_seconds", "When the last entry arrived.",
                    std::max(last_s_, figures.last_done_s));
    text += total_of("ftpspool_uploads_total", "Entries that have arrived.", uploads_);
    text += total_of("ftpspool_sent_bytes_total", "Bytes sent, counted at the end of each try.", bytes_);
    text +=
        head_of("ftpspool_failures_total", "counter", "Tries that failed and entries that expired by cause.");
    for (const auto &[cause, count] : failures_)
        text += sample_of(labelled("ftpspool_failures_total", "cause", cause), count);
    return text;
}

// ---- The file ----

static bool write_new(const std::string &path, const std::string &text)
{
    descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, MODE));
    if (!file || fchmod(file.get(), MODE) != 0) // the umask may have taken bits away
        return false;
    const ssize_t count = ::write(file.get(), text.data(), text.size());
    if (count >= 0 && count < static_cast<ssize_t>(text.size()))
        errno = ENOSPC;
    return count == static_cast<ssize_t>(text.size()) && file.close() == 0;
}

// A reader sees the old file or the new one. Collectors ignore the temporary file, whose name does not end in
// ".prom".
static bool replace_file(const std::string &path, const std::string &text)
{
    const std::string making = path + ".new";
    unlink(making.c_str()); // left by a service that was killed
    const unfinished_file_t owner(making);
    return write_new(making, text) && rename(making.c_str(), path.c_str()) == 0;
}

void metrics_t::write(const store_t &store)
{
    is_stale_ = false;
    if (replace_file(path_, text(store.figures())))
        is_refused_ = false;
    else if (!std::exchange(is_refused_, true))
        fprintf(stderr, "ftpspool: --metrics: %s: %s\n", path_.c_str(), strerror(errno));
}

void metrics_t::keep(const store_t &store, int64_t now_ms)
{
    if (path_.empty())
        return;
    const std::string version = store.version();
    is_stale_ = is_stale_ || version != version_;
    version_ = version;
    if (!is_stale_ || now_ms < next_ms_)
        return;
    write(store);
    next_ms_ = now_ms + PAUSE_MS;
}

void metrics_t::finish(const store_t &store)
{
    next_ms_ = 0;
    keep(store, 0);
}
