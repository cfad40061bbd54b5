#include "ftpctl/daemon.h"

#include "ftpctl/duration.h"
#include "ftpctl/statuses.h"

#include <cerrno>
#include <cstring>
#include <grp.h>
#include <sys/stat.h>

// A hint for a socket that this user may not use.
static std::string denied(const std::string &socket)
{
    std::string line = "this user may not use " + socket;
    struct stat status = {};
    if (stat(socket.c_str(), &status) == 0) {
        const group *found = getgrgid(status.st_gid);
        line += "; it belongs to group " +
                (found != nullptr ? found->gr_name : std::to_string(status.st_gid)) + ": add the user to it";
    }
    return line;
}

static std::string line_of(const options_t &options, int error)
{
    switch (error) {
    case FTPCLIENT_ERR_NO_DAEMON:
        return options.socket + ": no daemon listens there; see whether ftp_clientd runs";
    case FTPCLIENT_ERR_NO_ANSWER:
        return options.socket + ": the daemon does not answer";
    case FTPCLIENT_ERR_DISCONNECTED:
        return options.socket + ": the daemon closed the connection; the request may have been carried out";
    case FTPCLIENT_ERR_DENIED:
        return denied(options.socket);
    case FTPCLIENT_ERR_TIMEOUT:
        return options.timeout ? "not done within " + duration_text(*options.timeout) + " (--timeout)"
                               : "not done in time";
    case FTPCLIENT_ERR_SYSTEM:
        return strerror(errno);
    case FTPCLIENT_ERR_PROTOCOL:
        return "the daemon's answer makes no sense; daemon and ftpctl may be of different versions";
    case FTPCLIENT_ERR_TOO_LONG:
        return options.socket + ": too long for a socket's path";
    default:
        return ftpclient_strerror(error);
    }
}

failure daemon_failure(const options_t &options, int error)
{
    const std::string line = line_of(options, error);
    return {status_of(error, FTPCLIENT_CAUSE_NONE), line};
}

client_t daemon_open(const options_t &options)
{
    ftpclient_t *client = nullptr;
    if (const int error = ftpclient_open(options.socket.c_str(), &client); error != FTPCLIENT_OK)
        throw daemon_failure(options, error);
    return client_t(client);
}
