#include "ftp_clientd/deadline.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "ftp_clientd/unix_address.h"
#include "strutil/guards.h"
#include "strutil/log.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

constexpr char sock_name_[] = CONTROL_SOCKET_PATH;
constexpr int BACKLOG = 5; // clients that may be queued
static int sockfd_ = -1;

// Closes the listening socket; a failure is logged under `id`.
static void close_listening(const char *id)
{
    descriptor listening(std::exchange(sockfd_, -1)); // not a static owner: its destructor would run at exit
    if (listening.close() == -1)
        log_errno(id);
}

static bool bind_and_listen()
{
    sockaddr_un address;
    const socklen_t address_length = unix_address(&address, sock_name_);
    if (bind(sockfd_, reinterpret_cast<const sockaddr *>(&address), address_length) == -1) {
        log_errno("ftp_clientd_if(119)");
        return false;
    }
    if (listen(sockfd_, BACKLOG) == -1) {
        log_errno("ftp_clientd_if(125)");
        return false;
    }
    return true;
}

int ftp_clientd_if_init()
{
    unlink(sock_name_);
    sockfd_ = socket(AF_UNIX, SOCK_STREAM, 0);
    if (sockfd_ == -1) {
        log_errno("ftp_clientd_if(108)");
        return 0;
    }
    if (bind_and_listen())
        return 0;
    close_listening("ftp_clientd_if(134)");
    return -1;
}

void ftp_clientd_if_destory()
{
    if (sockfd_ != -1)
        close_listening("ftp_clientd_if(151)");
}

// True when accept should be called: when a client waits, and after an error of poll or the socket. accept
// then reports the error, or waits for a client.
static bool is_accept_due()
{
    pollfd listening = {sockfd_, POLLIN, 0};
    const int ready = poll(&listening, 1, 0);
    if (ready == 0)
        return false;
    if (ready == -1) {
        log_errno("ftp_clientd_if(255)");
        return true;
    }
    const short seen = listening.revents;
    if ((seen & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
        log_error("ftp_clientd_if(266)", "POLLERR(%d), POLLHUP(%d), POLLNVAL(%d)", (seen & POLLERR) != 0,
                  (seen & POLLHUP) != 0, (seen & POLLNVAL) != 0);
        return true;
    }
    return (seen & POLLIN) != 0;
}

int ftp_clientd_if_open_received_channel()
{
    if (!is_accept_due())
        return -1;
    const int connection = accept(sockfd_, nullptr, nullptr);
    if (connection == -1) {
        log_errno("ftp_clientd_if(176)");
        return -1;
    }
    deadline_start(connection);
    return connection;
}

void ftp_clientd_if_close_received_channel(int connection)
{
    deadline_end(connection);
    const descriptor closed_now(connection);
}
