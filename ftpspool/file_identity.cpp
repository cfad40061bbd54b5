#include "ftpspool/file_identity.h"

#include "ftpctl/failure.h"
#include "libftpclient/ftpclient.h"

#include <cerrno>
#include <cstring>

constexpr int STATUS_NO_LOCAL_FILE = STATUS_CAUSE + int{FTPCLIENT_CAUSE_NO_LOCAL_FILE};

static std::string text_of(const struct stat &status)
{
    return std::to_string(status.st_ino) + ":" + std::to_string(status.st_size) + ":" +
           std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
}

file_identity_t file_identity(const struct stat &status) { return {status.st_size, text_of(status)}; }

file_identity_t file_identify(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        throw failure(errno == ENOENT ? STATUS_NO_LOCAL_FILE : int{STATUS_LOCAL},
                      path + ": " + strerror(errno));
    if (!S_ISREG(status.st_mode))
        throw failure(STATUS_LOCAL, path + ": is not a regular file");
    return file_identity(status);
}

bool file_is_still(const std::string &path, const std::string &identity)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && text_of(status) == identity;
}
