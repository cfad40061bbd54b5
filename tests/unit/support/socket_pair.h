// Two connected sockets; the second shows whether the first was broken.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

struct socket_pair {
    socket_pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0); }
    ~socket_pair()
    {
        for (const int end : ends)
            close(end);
    }
    bool is_broken() const
    {
        char byte;
        return recv(ends[1], &byte, 1, MSG_DONTWAIT) == 0;
    }
    int ends[2];
};
