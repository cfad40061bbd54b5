#include "ftpctl/local_file.h"

#include "ftpctl/failure.h"
#include "ftpctl/statuses.h"
#include "libftpclient/ftpclient.h"
#include "strutil/guards.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/stat.h>

namespace fs = std::filesystem;

constexpr size_t LONGEST_PATH = 255; // bytes that the request holds
constexpr size_t LONGEST_NAME = 255; // bytes that a folder holds
constexpr int MOST_LINKS = 40;

static std::optional<struct stat> found(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0)
        return status;
    if (errno != ENOENT)
        fail_with_errno(path);
    return std::nullopt;
}

// The end of a chain of links, also one to a file that does not exist yet. stat() has already refused a
// longer chain than MOST_LINKS.
static fs::path behind_links(fs::path path)
{
    std::error_code error;
    for (int links = 0; links <= MOST_LINKS && !error; links++) {
        const fs::path target = fs::read_symlink(path, error);
        if (!error)
            path = target.is_absolute() ? target : path.parent_path() / target;
    }
    return path;
}

static mode_t mode_of_new_file()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

std::string file_content(const std::string &path, size_t most)
{
    const descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file)
        fail_with_errno(path);
    std::string content;
    char piece[4096];
    ssize_t count = 0;
    while (content.size() <= most && (count = read(file.get(), piece, sizeof piece)) > 0)
        content.append(piece, static_cast<size_t>(count));
    if (count == -1)
        fail_with_errno(path);
    if (content.size() > most)
        throw failure(STATUS_LOCAL, path + ": is too large");
    return content;
}

void file_check_upload(const std::string &name)
{
    const std::optional<struct stat> status = found(name);
    if (!status)
        throw failure(status_of(FTPCLIENT_RESULT_LOCAL_READ, FTPCLIENT_CAUSE_NO_LOCAL_FILE),
                      name + ": " + ftpclient_cause_text(FTPCLIENT_CAUSE_NO_LOCAL_FILE));
    if (!S_ISREG(status->st_mode))
        throw failure(STATUS_LOCAL,
                      name + (S_ISDIR(status->st_mode) ? ": is a folder; only files can be uploaded"
                                                       : ": is not a regular file"));
    const descriptor readable(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!readable)
        fail_with_errno(name);
}

void file_check_mode(const std::string &path, mode_t forbidden, const char *wanted)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        fail_with_errno(path);
    if (!S_ISREG(status.st_mode) || (status.st_mode & forbidden) != 0)
        throw failure(STATUS_LOCAL, path + ": must be " + wanted);
}

std::string file_to_download(const std::string &name, const std::string &remote_name)
{
    std::string target = name.empty() ? remote_name : name;
    std::optional<struct stat> status = found(target);
    if (target.ends_with('/') || (status && S_ISDIR(status->st_mode)) || name.empty()) {
        if (remote_name.empty() || remote_name == "." || remote_name == "..")
            refuse("URL: '" + remote_name + "' cannot be the name of a local file");
        if (!name.empty())
            target = (fs::path(target) / remote_name).string();
        status = found(target);
    }
    if (status && S_ISDIR(status->st_mode))
        throw failure(STATUS_LOCAL, target + ": is a folder");
    if (status && !S_ISREG(status->st_mode))
        throw failure(STATUS_LOCAL, target +
                                        ": is not a regular file; write to standard output instead: "
                                        "ftpctl get URL - >" +
                                        target);
    return behind_links(fs::absolute(target)).string();
}

std::string file_beside(const std::string &target)
{
    const fs::path path(target);
    const std::string tail = ".ftpctl.XXXXXX";
    const std::string folder = (path.parent_path() / ".").string(); // "/dir/."
    const size_t taken = folder.size() + tail.size() + 2;           // "/f" after it
    if (taken > LONGEST_PATH)
        refuse(target + ": the path is too long: its folder needs " + std::to_string(taken - LONGEST_PATH) +
               " bytes less, for the temporary file");
    const size_t room = std::min(LONGEST_PATH - taken, LONGEST_NAME - 1 - tail.size());
    return folder + path.filename().string().substr(0, room) + tail;
}

void file_put_in_place(const std::string &from, const std::string &to)
{
    const std::optional<struct stat> old = found(to);
    const descriptor file(open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file)
        fail_with_errno(from);
    if ((geteuid() == 0 &&
         fchown(file.get(), old ? old->st_uid : geteuid(), old ? old->st_gid : getegid()) != 0) ||
        fchmod(file.get(), old ? old->st_mode & 07777 : mode_of_new_file()) != 0 || fsync(file.get()) != 0)
        fail_with_errno(from);
    if (rename(from.c_str(), to.c_str()) != 0)
        fail_with_errno(to);
}
