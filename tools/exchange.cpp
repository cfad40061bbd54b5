#include "tools/exchange.h"

#include "tools/deadline.h"
#include "tools/failure.h"
#include "tools/unix_address.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace
{

class connection
{
public:
    connection(const std::string &path, limit_t limit);
    ~connection() { close(fd_); }
    connection(const connection &) = delete;
    connection &operator=(const connection &) = delete;

    void send_all(std::span<const std::byte> bytes);
    void receive_all(std::span<std::byte> bytes);

private:
    const std::string &path_;
    deadline_t deadline_;
    int fd_;

    void connect_within(const sockaddr_un &address);
    void wait_for(short event);
    [[noreturn]] void fail(const std::string &what) const
    {
        throw failure(STATUS_NO_DAEMON, path_ + ": " + what);
    }
};

connection::connection(const std::string &path, limit_t limit) : path_(path), deadline_(limit), fd_(-1)
{
    const sockaddr_un address = unix_address(path);
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd_ == -1)
        throw failure(STATUS_LOCAL, std::string("socket: ") + strerror(errno));
    try {
        connect_within(address);
    } catch (...) {
        close(fd_);
        throw;
    }
}

// connect() waits while the daemon's queue is full; the socket's send time limit is what ends that.
void connection::connect_within(const sockaddr_un &address)
{
    do {
        const int left_ms = deadline_.poll_ms();
        if (left_ms == 0)
            fail("the daemon does not answer");
        const timeval left = {left_ms == -1 ? 0 : left_ms / 1000, left_ms == -1 ? 0 : left_ms % 1000 * 1000};
        setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &left, sizeof left); // all zero: no limit
        if (connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
            return;
    } while (errno == EINTR);
    if (errno == EAGAIN)
        fail("the daemon does not answer");
    fail(std::string("no daemon: ") + strerror(errno));
}

void connection::wait_for(short event)
{
    pollfd waiting = {fd_, event, 0};
    for (;;) {
        const int ready = poll(&waiting, 1, deadline_.poll_ms());
        if (ready > 0)
            return;
        if (ready == 0)
            fail("the daemon does not answer");
        if (errno != EINTR)
            fail(std::string("poll: ") + strerror(errno));
    }
}

void connection::send_all(std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        wait_for(POLLOUT);
        const ssize_t count = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count > 0)
            bytes = bytes.subspan(static_cast<size_t>(count));
        else if (errno != EINTR && errno != EAGAIN)
            fail(std::string("the daemon broke off: ") + strerror(errno));
    }
}

void connection::receive_all(std::span<std::byte> bytes)
{
    while (!bytes.empty()) {
        wait_for(POLLIN);
        const ssize_t count = recv(fd_, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count > 0)
            bytes = bytes.subspan(static_cast<size_t>(count));
        else if (count == 0)
            fail("the daemon closed the connection without an answer");
        else if (errno != EINTR && errno != EAGAIN)
            fail(std::string("the daemon broke off: ") + strerror(errno));
    }
}

void check(const message_header_t &head, control_command command, size_t length)
{
    if (head.command == COMMAND_NONE && command != COMMAND_NONE)
        throw failure(STATUS_BAD_ANSWER, "the daemon could not read the request");
    if (head.command != static_cast<uint32_t>(command) || head.length != length)
        throw failure(STATUS_BAD_ANSWER, "the daemon's answer makes no sense: command " +
                                             std::to_string(head.command) + ", " +
                                             std::to_string(head.length) +
                                             " bytes; daemon and ftpctl may be of different versions");
}

} // namespace

void exchange_bytes(const std::string &path, control_command command, std::span<const std::byte> body,
                    std::span<std::byte> reply, limit_t limit)
{
    connection daemon(path, limit);
    message_header_t head = {static_cast<uint32_t>(command), static_cast<uint32_t>(body.size())};
    daemon.send_all(std::as_bytes(std::span(&head, 1)));
    daemon.send_all(body);
    daemon.receive_all(std::as_writable_bytes(std::span(&head, 1)));
    check(head, command, reply.size());
    daemon.receive_all(reply);
}

reply_t exchange_request(const std::string &path, control_command command, const transfer_request_t &request)
{
    reply_t reply = {};
    exchange_bytes(path, command, std::as_bytes(std::span(&request, 1)),
                   std::as_writable_bytes(std::span(&reply, 1)), EXCHANGE_LIMIT);
    return reply;
}
