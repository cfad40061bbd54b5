// The other sides of the daemon's sockets, as tests play them. Their own system calls are never faked.
#pragma once

#include "wire_bytes.h"

#include <string>
#include <utility>

// One end of a connection.
struct peer {
    explicit peer(int descriptor) : fd(descriptor) {}
    peer(peer &&other) noexcept : fd(std::exchange(other.fd, -1)) {}
    peer &operator=(peer &&other) noexcept
    {
        std::swap(fd, other.fd);
        return *this;
    }
    ~peer() { closes(); }

    void says(const bytes &message) const;
    // Everything that has come and was not heard before; does not wait.
    bytes hears() const;
    // True when all was heard and the other side has closed.
    bool is_hung_up() const;
    void closes();
    void stops_saying() const; // but goes on listening
    void narrows() const;      // room for a few kB only, so that a long message must wait

    int fd;
};

// A connection whose one end is the daemon's; it does not come from accept.
struct control_pair {
    static control_pair connected();
    peer client;
    peer daemon;
};

// A connection to the listening socket at this path of the test's own.
peer connect_to(const std::string &path);

// A listening socket at this path of the test's own.
struct listener {
    explicit listener(const std::string &path, int backlog = 5);
    ~listener();
    listener(const listener &) = delete;
    listener &operator=(const listener &) = delete;

    // The next connection that waits; fails the test when there is none.
    peer accepts() const;
    bool is_nobody_waiting() const;

    int fd;
};
