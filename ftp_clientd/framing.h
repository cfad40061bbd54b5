// Sending a buffer whole, for everything that leaves over a socket of the control channel.
#pragma once

#include <cstddef>
#include <cstdint>

// What came of moving a buffer: the bytes that went over, and whether recv or send failed (-1). Neither full
// nor failed: the other side stopped.
struct moved_t {
    size_t bytes;
    bool failed;
};

// Sends `size` bytes; send's trouble is logged. A peer that has gone is EPIPE, never a signal. What goes out
// without waiting goes out even past the deadline: the answer to a cancel that took long is still wanted.
moved_t framing_send(int fd, const void *buffer, size_t size, int flags, int64_t deadline_ms);
