#include "curl_func/close_delivered.h"

#include "curl_func/job_sockets.h"
#include "strutil/guards.h"

#include <cerrno>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

constexpr int POLL_MS = 100;
constexpr int UNDELIVERED_POLLS = 50; // 5 s without a byte delivered
constexpr int DELIVERED_POLLS = 10;   // 1 s for the server to close as well

// False when the server has closed or the connection is broken.
static bool drop_received(int fd)
{
    char dropped[4096];
    const ssize_t count = recv(fd, dropped, sizeof dropped, MSG_DONTWAIT);
    return count > 0 || (count == -1 && (errno == EAGAIN || errno == EINTR));
}

static int undelivered_bytes(int fd)
{
    int bytes = 0;
    return ioctl(fd, SIOCOUTQ, &bytes) == 0 ? bytes : 0;
}

// libcurl uses a tunnel for encrypted connections.
static bool is_tunnelled(const transfer_request_t &request)
{
    return request.proxy_type == PROXY_HTTP && protocol_has_tls(request.protocol);
}

static void wait_for_delivery(job_slot_t *job, int fd)
{
    int left = undelivered_bytes(fd);
    for (int idle = 0; idle < (left > 0 ? UNDELIVERED_POLLS : DELIVERED_POLLS); idle++) {
        pollfd readable{fd, POLLIN, 0};
        if (job_is_cancelled(job) || (poll(&readable, 1, POLL_MS) > 0 && !drop_received(fd)))
            return;
        const int now = undelivered_bytes(fd);
        if (now < left)
            idle = 0;
        left = now;
    }
}

int cb_close_socket(void *context, curl_socket_t fd)
{
    auto *job = static_cast<curl_job_t *>(context);
    sockets_forget(job, fd);
    descriptor closing(fd);
    // A proxy may treat the end of sending as the end of the connection and reset the server's side. The
    // server knows the end from TLS.
    if (is_tunnelled(job->record.request))
        wait_for_delivery(job, fd);
    // Fails for a socket that is not connected, which has no data in flight.
    if (shutdown(fd, SHUT_WR) == 0)
        wait_for_delivery(job, fd);
    return closing.close();
}
