// Writes a whole buffer.
#pragma once

#include <cerrno>
#include <cstddef>
#include <unistd.h>

// Writes `length` bytes to fd, also in several pieces and after a signal. False, with errno, when not
// everything was written; a part may have been. Blocks as write does.
inline bool write_all(int fd, const void *data, size_t length)
{
    auto at = static_cast<const char *>(data);
    while (length > 0) {
        const ssize_t written = write(fd, at, length);
        if (written == -1 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        at += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}
