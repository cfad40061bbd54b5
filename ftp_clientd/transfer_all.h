// Whole buffers over a socket, for everything that comes and goes over the control channel's sockets.
#pragma once

#include <cstddef>
#include <cstdint>

// What came of moving a buffer: the bytes that went over, and whether recv or send failed. Fewer bytes and
// not failed: the other side has closed.
struct moved_t {
    size_t bytes;
    bool failed;
};

// Receive or send `size` bytes; a failure is logged. They block until the deadline, one of deadline_of.
//
// Past it nothing more is received, but what can be sent without waiting still is: the reply to a cancel that
// took long is still wanted. A peer that has gone is EPIPE, never a signal.
moved_t receive_all(int fd, void *buffer, size_t size, int flags, int64_t deadline_ms);
moved_t send_all(int fd, const void *buffer, size_t size, int flags, int64_t deadline_ms);

// The count as callers and the log have it: after a failure one more than was asked for. It is an int there,
// so one of 2 GiB and more shows negative.
int moved_count(const moved_t &moved, size_t size);
