#include "curl_func/sockets.h"

#include "curl_func/job.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// libcurl may close one without telling: the inode says whether the number still stands for the same.
struct noted_t {
    bool is_open;
    curl_socket_t fd;
    ino_t inode;
};

constexpr int NOTED_MAX = 8; // a control and a data connection, and attempts at further addresses

noted_t noted_[NOTED_MAX]; // under the job's lock

ino_t inode_of(curl_socket_t fd)
{
    struct stat found;
    return fstat(fd, &found) == 0 ? found.st_ino : 0;
}

} // namespace

int cb_note_socket(void *, curl_socket_t fd, curlsocktype)
{
    const job_lock lock;
    for (noted_t &each : noted_) {
        if (each.is_open && inode_of(each.fd) == each.inode)
            continue;
        each = {true, fd, inode_of(fd)};
        break;
    }
    return CURL_SOCKOPT_OK;
}

void sockets_forget(curl_socket_t fd)
{
    const job_lock lock;
    for (noted_t &each : noted_)
        if (each.fd == fd)
            each = {};
}

void sockets_forget_all()
{
    const job_lock lock;
    for (noted_t &each : noted_)
        each = {};
}

int cb_close_noted(void *, curl_socket_t fd)
{
    sockets_forget(fd);
    return close(fd);
}

void sockets_break()
{
    const job_lock lock;
    for (const noted_t &each : noted_)
        if (each.is_open && inode_of(each.fd) == each.inode)
            shutdown(each.fd, SHUT_RDWR);
}
