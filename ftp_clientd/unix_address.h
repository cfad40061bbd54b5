// The address of a Unix socket at a path that is a literal.
#pragma once

#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>

// Fills *address and returns its length in bytes: the family, the path and its terminator. A path that is too
// long does not compile.
template <size_t path_size> socklen_t unix_address(sockaddr_un *address, const char (&path)[path_size])
{
    static_assert(path_size <= sizeof address->sun_path);
    *address = {};
    address->sun_family = AF_UNIX;
    memcpy(address->sun_path, path, path_size);
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path_size);
}
