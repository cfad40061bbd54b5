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
    if (job == nullptr)
        return CURL_SOCKOPT_OK;
    const job_lock lock(job);
    for (noted_socket_t &each : job->sockets) {
        if (is_same(each))
            continue;
        each = job->newest = {true, fd, inode_of(fd)};
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
    if (job->newest.fd == fd)
        job->newest = {};
}

void sockets_forget_all(curl_job_t *job)
{
    const job_lock lock(job);
    job->newest = {};
    for (noted_socket_t &each : job->sockets)
        each = {};
}

int cb_close_noted(void *context, curl_socket_t fd)
{
    sockets_forget(static_cast<curl_job_t *>(context), fd);
    return descriptor(fd).close();
}

static void break_noted(const noted_socket_t &noted)
{
    if (is_same(noted))
        shutdown(noted.fd, SHUT_RDWR);
}

void sockets_break(curl_job_t *job)
{
    const job_lock lock(job);
    for (const noted_socket_t &each : job->sockets)
        break_noted(each);
}

void sockets_break_newest(curl_job_t *job)
{
    const job_lock lock(job);
    break_noted(job->newest);
}
