#include "ftpspool/intake.h"

#include "ftpspool/copies.h"
#include "ftpspool/file_identity.h"
#include "ftpspool/file_writers.h"
#include "ftpspool/remote_name.h"
#include "ftpspool/upload_job.h"
#include "ftpspool/wakeups.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fnmatch.h>
#include <sys/statvfs.h>

// For each file that is queued, this many known files are checked, and forgotten if they are gone, which
// keeps the table small.
constexpr int64_t SWEPT_AT_ONCE = 4;

// With more delayed files than this, the reasons are forgotten, and so reported again.
constexpr size_t DELAYS_MOST = 64;

intake_t::intake_t(const store_t &store, event_output_t &events, watch_t watch)
    : store_(store), events_(events), watches_(store), watch_(std::move(watch))
{
}

static std::string name_of(const std::string &path)
{
    return std::filesystem::path(path).filename().string();
}

bool intake_t::wants(const std::string &path) const
{
    const std::string name = name_of(path);
    return watch_.globs.empty() || std::ranges::any_of(watch_.globs, [&](const std::string &glob) {
               return fnmatch(glob.c_str(), name.c_str(), 0) == 0;
           });
}

static std::string host_name()
{
    char name[HOST_NAME_MAX + 1] = "";
    gethostname(name, sizeof name);
    return name;
}

entry_t intake_t::entry_for(const std::string &path, const struct stat &status) const
{
    const remote_facts_t facts = {name_of(path), host_name(), status.st_mtim.tv_sec, watch_.taken + 1};
    entry_t entry = watch_.entry;
    entry.local = watch_.folder + "/" + path;
    entry.size_bytes = status.st_size;
    entry.added_s = wall_s();
    const std::string folder = path.substr(0, path.size() - facts.name.size()); // "" or with '/' at its end
    entry.target.url += url_encoded(folder + remote_name(watch_.name, facts));
    return entry;
}

// `file` is not open where this user may not read it.
static bool is_finished(const descriptor &file, struct stat &status)
{
    const writers_t writers = file ? writers_hold_off(file.get()) : writers_t::UNKNOWN;
    if (file)
        fstat(file.get(), &status);
    return writers == writers_t::NONE || (writers == writers_t::UNKNOWN && has_settled(status, wall_s()));
}

bool intake_t::offer(const std::string &path)
{
    const bool is_settled = take(path);
    if (is_settled)
        delays_.erase(path);
    return is_settled;
}

bool intake_t::take(const std::string &path)
{
    const std::string local = watch_.folder + "/" + path;
    struct stat status = {};
    if (!wants(path) || lstat(local.c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
        watches_.has_seen(watch_.id, path, file_identity(status).text))
        return true;
    {
        const descriptor file(open(local.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
        if (!file && errno != EACCES)
            return delay(path, local + ": " + strerror(errno));
        if (!is_finished(file, status))
            return false;
    }
    return queue(path, status);
}

// Only files on this file system are checked: those on a card that was removed stay known.
static std::string file_system_of(const std::string &folder)
{
    struct statvfs status = {};
    statvfs(folder.c_str(), &status);
    return std::to_string(status.f_fsid);
}

// `status` is from when nobody was writing to the file; a later write makes another entry.
bool intake_t::queue(const std::string &path, const struct stat &status)
{
    const file_identity_t identity = file_identity(status);
    taken_t file = {path, file_system_of(watch_.folder), identity.text, entry_for(path, status), ""};
    std::optional<copying_t> copying;
    try {
        file.server = upload_server(upload_options(file.entry, ""));
        if (watch_.copies) {
            copying.emplace(store_.paths());
            file.entry.original = identity.text;
            file.entry.copy = copying->make(file.entry.local);
        }
    } catch (const failure &error) {
        return delay(path, error.what());
    }
    if (watch_.copies && !file_is_still(file.entry.local, identity.text))
        return false;
    const std::optional<int64_t> id = watches_.take(watch_.id, file, some_gone(file.file_system));
    if (!id)
        return true;
    if (copying)
        copying->keep();
    watch_.taken++;
    file.entry.id = *id;
    events_.tell("queued", file.entry, "");
    return true;
}

std::vector<std::string> intake_t::some_gone(const std::string &file_system)
{
    std::vector<std::string> paths = watches_.seen_behind(watch_.id, file_system, swept_, SWEPT_AT_ONCE);
    swept_ = static_cast<int64_t>(paths.size()) < SWEPT_AT_ONCE ? "" : paths.back();
    std::erase_if(paths, [this](const std::string &path) {
        struct stat status = {};
        return lstat((watch_.folder + "/" + path).c_str(), &status) == 0 ||
               (errno != ENOENT && errno != ENOTDIR);
    });
    return paths;
}

// Files may be delayed repeatedly for the same reason. A reason is reported once, until no delayed file has
// it.
bool intake_t::delay(const std::string &path, const std::string &why)
{
    const auto is_known = [&why](const auto &delayed) { return delayed.second == why; };
    if (std::ranges::none_of(delays_, is_known))
        events_.tell_watch("delayed", watch_.id, watch_.folder, why);
    if (delays_.size() == DELAYS_MOST)
        delays_.clear();
    delays_[path] = why;
    return false;
}
