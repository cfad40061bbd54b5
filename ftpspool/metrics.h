// `run --metrics`: the service's figures in a file, in the text format of Prometheus.
#pragma once

#include "ftpspool/store.h"

#include <cstdint>
#include <map>
#include <string>

// Totals count from the start of the service; the numbers of entries are those of the queue.
class metrics_t
{
public:
    static constexpr int64_t PAUSE_MS = 1000; // between two writes, at least

    // With an empty path nothing is written.
    explicit metrics_t(const std::string &path);

    // Adds the bytes that one try has sent.
    void sent(int64_t bytes);

    // An entry has arrived.
    void arrived(int64_t now_s);

    // A try has failed, or an entry expired; `cause` is a name of ftpctl's exit statuses, or "expired".
    void failed(const std::string &cause);

    // Writes the file if something has changed since, unless it was written less than PAUSE_MS ago. It is
    // replaced whole, with mode 0644. A file that cannot be written is reported on standard error once, and
    // tried again with the next change. Times are those of steady_ms().
    void keep(const store_t &store, int64_t now_ms);

    // When keep() must write a pending change; 0: none is pending.
    int64_t due_ms() const { return is_stale_ ? next_ms_ : 0; }

    // Writes at once what is not written yet.
    void finish(const store_t &store);

private:
    std::string path_;
    int64_t bytes_ = 0;
    int64_t uploads_ = 0;
    int64_t last_s_ = 0; // when an entry arrived
    std::map<std::string, int64_t> failures_;
    std::string version_; // of the queue when keep() last looked
    bool is_stale_ = false;
    bool is_refused_ = false; // it was reported that the file cannot be written
    int64_t next_ms_ = 0;

    std::string text(const figures_t &figures) const;
    void write(const store_t &store);
};
