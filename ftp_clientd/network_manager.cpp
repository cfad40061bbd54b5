#include "ftp_clientd/deadline.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "ftp_clientd/transfer_all.h"
#include "ftp_clientd/unix_address.h"
#include "strutil/guards.h"
#include "strutil/log.h"

#include <sys/socket.h>
#include <sys/time.h>

// A Unix socket's connect waits for a place in the listener's backlog: a hanging network manager must not
// block the daemon.
constexpr time_t CONNECT_LIMIT_S = 2;

namespace
{

struct notice_t {
    notice_header_t header;
    unsigned char body[NOTICE_BODY_MAX];
};

} // namespace

static_assert(sizeof(notice_t) == 512);

// A connection to the network manager, none after a logged failure.
static descriptor connect_to_network_manager()
{
    descriptor fd(socket(AF_UNIX, SOCK_STREAM, 0));
    if (!fd) {
        log_errno("ftp_clientd_if(587)");
        return fd;
    }
    const timeval limit = {CONNECT_LIMIT_S, 0};
    setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);

    sockaddr_un address;
    const socklen_t address_length = unix_address(&address, NETWORK_MANAGER_SOCKET_PATH);
    if (connect(fd.get(), reinterpret_cast<const sockaddr *>(&address), address_length) == 0)
        return fd;
    log_errno("ftp_clientd_if(599)");
    if (fd.close() == -1)
        log_errno("ftp_clientd_if(608)");
    return fd;
}

int ftp_clientd_if_notify(int code, const void *body, int length)
{
    if (length < 0 || length > NOTICE_BODY_MAX)
        return -1;
    const descriptor fd = connect_to_network_manager();
    if (!fd)
        return -1;

    notice_t notice = {};
    notice.header.sender = NOTICE_SENDER;
    notice.header.code = static_cast<uint8_t>(code);
    notice.header.kind = NOTICE_KIND;
    notice.header.length = static_cast<uint16_t>(length);
    if (length > 0)
        memcpy(notice.body, body, static_cast<size_t>(length));

    const size_t size = sizeof notice.header + static_cast<size_t>(length);
    const moved_t moved = send_all(fd.get(), &notice, size, 0, deadline_of(fd.get()));
    const bool is_sent = moved.bytes == size;
    if (!is_sent)
        log_error("ftp_clientd_if(323)", "sendn(): incomplete(%d of %d)", static_cast<int>(moved.bytes),
                  static_cast<int>(size));
    return is_sent ? length : -1;
}
