#include "ftpctl/private_folder.h"

#include "ftpctl/failure.h"
#include "strutil/guards.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

// A daemon that is not root could not write to root's files.
static bool give_to_daemon(const std::string &path, const std::string &control_socket)
{
    struct stat status = {};
    if (geteuid() != 0 || stat(control_socket.c_str(), &status) != 0 || status.st_uid == 0)
        return true;
    return chown(path.c_str(), status.st_uid, status.st_gid) == 0;
}

private_folder::private_folder(const std::string &pattern, const std::string &control_socket)
    : path_(pattern), control_socket_(control_socket)
{
    if (mkdtemp(path_.data()) == nullptr)
        fail_with_errno(std::filesystem::path(pattern).parent_path().string());
    if (!give_to_daemon(path_, control_socket)) {
        const std::string reason = strerror(errno);
        rmdir(path_.c_str());
        throw failure(STATUS_LOCAL, path_ + ": " + reason);
    }
}

std::string private_folder::pattern()
{
    const char *parent = getenv("TMPDIR");
    const bool is_named = parent != nullptr && parent[0] != '\0';
    // Absolute: the daemon runs in "/".
    return std::filesystem::absolute(is_named ? parent : "/tmp").string() + "/ftpctl.XXXXXX";
}

std::string private_folder::file(const std::string &name) const
{
    std::string path = path_ + "/" + name;
    const descriptor made(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!made || !give_to_daemon(path, control_socket_))
        fail_with_errno(path);
    return path;
}

private_folder::~private_folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}
