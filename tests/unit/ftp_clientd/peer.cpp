#include "peer.h"
#include "real_calls.h"

#include <gtest/gtest.h>
#include <sys/un.h>

void peer::says(const bytes &message) const
{
    ASSERT_EQ(__real_send(fd, message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT),
              static_cast<ssize_t>(message.size()));
}

bytes peer::hears() const
{
    bytes all;
    uint8_t some[4096];
    ssize_t got;
    while ((got = __real_recv(fd, some, sizeof some, MSG_DONTWAIT)) > 0)
        all.insert(all.end(), some, some + got);
    return all;
}

bool peer::is_hung_up() const
{
    uint8_t one;
    return __real_recv(fd, &one, 1, MSG_DONTWAIT) == 0;
}

void peer::closes()
{
    if (fd != -1)
        __real_close(fd);
    fd = -1;
}

void peer::stops_saying() const { ASSERT_EQ(shutdown(fd, SHUT_WR), 0); }

void peer::narrows() const
{
    const int size_bytes = 4096;
    ASSERT_EQ(__real_setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size_bytes, sizeof size_bytes), 0);
}

control_pair control_pair::connected()
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    return {peer(ends[0]), peer(ends[1])};
}

static sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

peer connect_to(const std::string &path)
{
    const sockaddr_un address = address_of(path);
    peer client(__real_socket(AF_UNIX, SOCK_STREAM, 0));
    EXPECT_EQ(__real_connect(client.fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    return client;
}

listener::listener(const std::string &path, int backlog) : fd(__real_socket(AF_UNIX, SOCK_STREAM, 0))
{
    const sockaddr_un address = address_of(path);
    EXPECT_EQ(__real_bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(__real_listen(fd, backlog), 0);
}

listener::~listener() { __real_close(fd); }

bool listener::is_nobody_waiting() const
{
    pollfd waiting = {fd, POLLIN, 0};
    return __real_poll(&waiting, 1, 0) == 0;
}

peer listener::accepts() const
{
    EXPECT_FALSE(is_nobody_waiting()) << "nobody connected";
    return peer(is_nobody_waiting() ? -1 : __real_accept(fd, nullptr, nullptr));
}
