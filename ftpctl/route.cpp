#include "ftpctl/route.h"

#include "ftpctl/handles.h"

#include <cerrno>
#include <memory>
#include <netdb.h>
#include <sys/socket.h>

// To connect a datagram socket only chooses the route.
static bool has_route(const addrinfo &address)
{
    const descriptor probe(socket(address.ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return !probe.is_open() || connect(probe.fd(), address.ai_addr, address.ai_addrlen) == 0 ||
           (errno != ENETUNREACH && errno != EHOSTUNREACH);
}

bool route_exists(const std::string &host, uint32_t port)
{
    const bool is_literal = host.starts_with('[') && host.ends_with(']');
    const std::string name = is_literal ? host.substr(1, host.size() - 2) : host;
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_DGRAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(name.c_str(), std::to_string(port).c_str(), &wanted, &found) != 0)
        return true;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
    for (const addrinfo *address = found; address != nullptr; address = address->ai_next) {
        if (has_route(*address))
            return true;
    }
    return false;
}
