// Notices as the daemon sends them.
#pragma once

#include "fake_daemon.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

// The 12 bytes of the head; reserved ones are not zero.
inline bytes_t notice(uint8_t code, uint8_t length, const bytes_t &body)
{
    const uint8_t head[] = {10, code, 1, 0xEE, length, 0, 0xEE, 0xEE, 0, 0, 0, 0};
    bytes_t bytes(sizeof head + body.size());
    std::ranges::copy(body, std::ranges::copy(head, bytes.begin()).out);
    return bytes;
}

inline const bytes_t STARTED = notice(3, 8, {0, 0, 0, 0, 0, 0, 0, 0});
inline const bytes_t FAILED_START = notice(3, 8, {1, 0, 0, 0, 5, 0, 0, 0});

// Sends `bytes` as one sender.
inline void announce(int fd, const bytes_t &bytes)
{
    EXPECT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    close(fd);
}

inline bytes_t completion(uint8_t code, uint32_t result)
{
    completion_notice_t body = {{result != 0, result}, {}};
    body.exec_info.total_size = 5368709120;
    body.exec_info.transferred_size = 5368709120;
    body.exec_info.elapsed_time = 2;
    return notice(code, 56, bytes_of(body));
}
