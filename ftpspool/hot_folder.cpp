#include "ftpspool/hot_folder.h"

#include "ftpspool/wakeups.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/stat.h>

constexpr uint32_t COMPLETED = IN_CLOSE_WRITE | IN_MOVED_TO;
constexpr uint32_t FOLDER_CAME = IN_CREATE | IN_MOVED_TO;
constexpr uint32_t FOLDER_WENT = IN_MOVE_SELF | IN_UNMOUNT | IN_Q_OVERFLOW;
constexpr uint32_t EVENTS = COMPLETED | IN_CREATE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr int SCANNED_AT_ONCE = 64;
constexpr const char *LIMIT =
    "the system's limit for watched folders is reached (fs.inotify.max_user_watches)";

hot_folder_t::hot_folder_t(std::string folder, bool is_deep, int epoll, offer_t offer)
    : folder_(std::move(folder)), is_deep_(is_deep), epoll_(epoll), offer_(std::move(offer))
{
}

static std::string joined(const std::string &folder, const std::string &name)
{
    return folder.empty() ? name : folder + "/" + name;
}

std::string hot_folder_t::absolute(const std::string &path) const
{
    return path.empty() ? folder_ : folder_ + "/" + path;
}

hot_folder_t::place_t hot_folder_t::place() const
{
    struct stat status = {};
    return stat(folder_.c_str(), &status) == 0 ? place_t{status.st_dev, status.st_ino} : place_t{};
}

int64_t hot_folder_t::wake_ms() const
{
    if (is_scanning())
        return 1;
    return earlier(retry_ms_, rechecks_.next_ms());
}

void hot_folder_t::step(int64_t now_ms)
{
    now_ms_ = now_ms;
    if ((retry_ms_ != 0 && retry_ms_ <= now_ms) || place() != place_)
        restart();
    read_changes();
    scan_some();
    rechecks_.offer_due(now_ms, offer_);
}

// ---- Failures ----

void hot_folder_t::retry_later()
{
    if (retry_ms_ == 0)
        retry_ms_ = next_round_ms(now_ms_);
}

// A sub-folder that was removed after its name was read is no failure.
void hot_folder_t::fail(const std::string &path)
{
    const bool has_gone = errno == ENOENT || errno == ENOTDIR;
    if (has_gone && !path.empty())
        return;
    if (!has_failed_)
        problem_ = absolute(path) + ": cannot be watched: " + (errno == ENOSPC ? LIMIT : strerror(errno));
    has_failed_ = true;
    retry_later();
}

// inotify never reuses a watch number, so queued events of the removed watches match nothing.
void hot_folder_t::restart()
{
    for (const auto &[number, path] : watched_)
        inotify_rm_watch(changes_.get(), number);
    watched_.clear();
    scanned_.reset();
    to_scan_ = {""};
    retry_ms_ = 0;
    has_failed_ = false;
    place_ = place();
    if (!changes_)
        open_changes();
}

void hot_folder_t::open_changes()
{
    changes_ = descriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    epoll_event readable = {};
    readable.events = EPOLLIN;
    if (changes_ && epoll_ctl(epoll_, EPOLL_CTL_ADD, changes_.get(), &readable) == 0)
        return;
    fail("");
    changes_.close();
}

// ---- Changes ----

void hot_folder_t::read_changes()
{
    alignas(inotify_event) char events[4096];
    const ssize_t size = read(changes_.get(), events, sizeof events);
    for (ssize_t at = 0; at < size;) {
        const auto *event = reinterpret_cast<const inotify_event *>(events + at);
        at += static_cast<ssize_t>(sizeof *event + event->len);
        if (heed(*event))
            continue;
        restart();
        break;
    }
}

// False when events or a folder were lost, so that everything must be scanned again.
bool hot_folder_t::heed(const inotify_event &event)
{
    if ((event.mask & IN_Q_OVERFLOW) != 0)
        return false;
    const auto watched = watched_.find(event.wd);
    if (watched == watched_.end())
        return true;
    const std::string folder = watched->second;
    if ((event.mask & FOLDER_WENT) != 0)
        return false;
    if ((event.mask & IN_IGNORED) != 0) {
        watched_.erase(watched);
        return !folder.empty();
    }
    if (event.len == 0 || event.name[0] == '.')
        return true;
    if ((event.mask & IN_ISDIR) == 0 && (event.mask & COMPLETED) != 0)
        offer(joined(folder, event.name), true);
    if ((event.mask & IN_ISDIR) != 0 && (event.mask & FOLDER_CAME) != 0 && is_deep_)
        to_scan_.push_back(joined(folder, event.name));
    return true;
}

// ---- Scans ----

void hot_folder_t::scan_some()
{
    for (int i = 0; i < SCANNED_AT_ONCE && is_scanning(); i++) {
        if (scanned_)
            scan_one();
        else
            begin_scan();
    }
    if (!is_scanning() && !has_failed_)
        problem_.clear();
}

// The watch is added before the scan, so a file that arrives meanwhile is seen by one of them.
void hot_folder_t::begin_scan()
{
    const std::string path = to_scan_.back();
    to_scan_.pop_back();
    const std::string folder = absolute(path);
    const uint32_t links = path.empty() ? 0 : IN_DONT_FOLLOW;
    const int number = inotify_add_watch(changes_.get(), folder.c_str(), EVENTS | links);
    if (number == -1)
        fail(path);
    else
        watched_[number] = path;
    scanned_.reset(opendir(folder.c_str()));
    scanned_path_ = path;
    if (!scanned_)
        fail(path);
}

void hot_folder_t::scan_one()
{
    errno = 0;
    const dirent *found = readdir(scanned_.get());
    if (found == nullptr) {
        if (errno != 0)
            fail(scanned_path_);
        scanned_.reset();
        return;
    }
    struct stat status = {};
    if (found->d_name[0] == '.' ||
        fstatat(dirfd(scanned_.get()), found->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return;
    const std::string path = joined(scanned_path_, found->d_name);
    if (!S_ISDIR(status.st_mode))
        offer(path, false);
    else if (is_deep_)
        to_scan_.push_back(path);
}

// A scan leaves the pause of a listed file alone. When the list is full, every round scans the folder again.
void hot_folder_t::offer(const std::string &path, bool has_changed)
{
    if (offer_(path) || (!has_changed && rechecks_.has(path)))
        return;
    if (!rechecks_.put(path, now_ms_))
        retry_later();
}
