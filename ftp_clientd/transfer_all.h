// Sends and receives whole buffers over the sockets of the control channel.
#pragma once

#include <cstddef>
#include <cstdint>

// The result of a transfer: the bytes transferred, and whether recv or send failed. Fewer bytes without a
// failure mean that the peer has closed.
struct moved_t {
    size_t bytes;
    bool failed;
};

// Receive or send `size` bytes; a failure is logged. They block until the deadline (see deadline_of).
//
// After the deadline nothing more is received, but data that can be sent without waiting is still sent, so
// that a slow cancel gets its reply. A closed peer gives EPIPE, never a signal.
moved_t receive_all(int fd, void *buffer, size_t size, int flags, int64_t deadline_ms);
moved_t send_all(int fd, const void *buffer, size_t size, int flags, int64_t deadline_ms);

// The count for callers and the log: after a failure one more than requested. It is an int, so counts of 2
// GiB and more are negative.
int moved_count(const moved_t &moved, size_t size);
