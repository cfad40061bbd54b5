// A watched folder: inotify reports what arrives, scans find what is already there.
#pragma once

#include "ftpspool/recheck_list.h"
#include "strutil/guards.h"

#include <cstdint>
#include <dirent.h>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <sys/inotify.h>
#include <sys/types.h>
#include <vector>

class hot_folder_t
{
public:
    // Called with the path, relative to the folder, of a file that may be complete. False: offer it again
    // later.
    using offer_t = std::function<bool(const std::string &path)>;

    // With `is_deep`, sub-folders are included. The descriptor that reports changes is added to `epoll`.
    // Nothing happens before step().
    hot_folder_t(std::string folder, bool is_deep, int epoll, offer_t offer);

    // Does a part of the work without waiting: reads changes, continues a scan, offers files that are due.
    // `now_ms` is the steady clock's. A full scan begins with the first call, when changes were lost, and
    // when a missing folder is back, which each round checks (wakeups.h). Exceptions of `offer` pass through.
    void step(int64_t now_ms);

    // When step() has something to do even without a change; 0: never.
    int64_t wake_ms() const;

    // Why the folder, or a part of it, is not watched; "" when all is well.
    const std::string &problem() const { return problem_; }

private:
    // Tells a folder from another one at the same path.
    struct place_t {
        dev_t device = 0;
        ino_t inode = 0;
        bool operator==(const place_t &) const = default;
    };
    struct close_t {
        void operator()(DIR *folder) const { closedir(folder); }
    };
    std::string folder_;
    bool is_deep_;
    int epoll_;
    offer_t offer_;
    descriptor changes_;
    std::map<int, std::string> watched_; // relative paths by inotify's numbers; "" is the folder itself
    std::vector<std::string> to_scan_;   // relative paths
    std::unique_ptr<DIR, close_t> scanned_;
    std::string scanned_path_;
    place_t place_;
    recheck_list_t rechecks_;
    int64_t now_ms_ = 0;
    int64_t retry_ms_ = 1; // when to start again with a full scan; 0: never
    std::string problem_;
    bool has_failed_ = false; // since the last start

    std::string absolute(const std::string &path) const;
    place_t place() const;
    bool is_scanning() const { return scanned_ || !to_scan_.empty(); }
    void restart();
    void open_changes();
    void read_changes();
    bool heed(const inotify_event &event);
    void scan_some();
    void scan_one();
    void begin_scan();
    void offer(const std::string &path, bool has_changed);
    void retry_later();
    void fail(const std::string &path);
};
