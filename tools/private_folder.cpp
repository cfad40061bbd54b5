#include "tools/private_folder.h"

#include "tools/failure.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

// A daemon that is not root could not write into root's folder.
static bool give_to_daemon(const std::string &folder, const std::string &control_socket)
{
    struct stat status = {};
    if (geteuid() != 0 || stat(control_socket.c_str(), &status) != 0 || status.st_uid == 0)
        return true;
    return chown(folder.c_str(), status.st_uid, status.st_gid) == 0;
}

private_folder::private_folder(const std::string &control_socket)
{
    const char *parent = getenv("TMPDIR");
    const bool is_named = parent != nullptr && parent[0] != '\0';
    // Absolute: the daemon runs in "/".
    path_ = std::filesystem::absolute(is_named ? parent : "/tmp").string() + "/ftpctl.XXXXXX";
    if (mkdtemp(path_.data()) == nullptr)
        throw failure(STATUS_LOCAL, path_ + ": " + strerror(errno));
    if (!give_to_daemon(path_, control_socket)) {
        const std::string reason = strerror(errno);
        rmdir(path_.c_str());
        throw failure(STATUS_LOCAL, path_ + ": " + reason);
    }
}

private_folder::~private_folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}
