// The address of a Unix-domain socket.
#pragma once

#include "tools/failure.h"

#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>

// Throws failure (STATUS_USAGE) for a path that no such address holds.
inline sockaddr_un unix_address(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw failure(STATUS_USAGE, path + ": too long for a socket's path");
    memcpy(address.sun_path, path.data(), path.size());
    return address;
}
