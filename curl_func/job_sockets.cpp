#include "curl_func/job_sockets.h"

#include "strutil/guards.h"

#include <sys/socket.h>
#include <sys/stat.h>

static ino_t inode_of(curl_socket_t fd)
{
    struct stat found;
    return fstat(fd, &found) == 0 ? found.st_ino : 0;
}

static bool is_same(const noted_socket_t &noted)
{
    return noted.is_open && inode_of(noted.fd) == noted.inode;
}

int cb_note_socket(void *context, curl_socket_t fd, curlsocktype)
{
    auto *job = static_cast<curl_job_t *>(context);
    const job_lock lock(job);
    for (noted_socket_t &each : job->sockets) {
        if (is_same(each))
            continue;
        each = {true, fd, inode_of(fd)};
        break;
    }
    return CURL_SOCKOPT_OK;
}

void sockets_forget(curl_job_t *job, curl_socket_t fd)
{
    const job_lock lock(job);
    for (noted_socket_t &each : job->sockets)
        if (each.fd == fd)
            each = {};
}

void sockets_forget_all(curl_job_t *job)
{
    const job_lock lock(job);
    for (noted_socket_t &each : job->sockets)
        each = {};
}

int cb_close_noted(void *context, curl_socket_t fd)
{
    sockets_forget(static_cast<curl_job_t *>(context), fd);
    return descriptor(fd).close();
}

void sockets_break(curl_job_t *job)
{
    const job_lock lock(job);
    for (const noted_socket_t &each : job->sockets)
        if (is_same(each))
            shutdown(each.fd, SHUT_RDWR);
}
