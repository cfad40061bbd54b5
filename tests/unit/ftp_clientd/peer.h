// The other ends of the daemon's sockets. Their own system calls are never faked.
#pragma once

#include "support/not_copied.h"
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
    // Reads everything that has arrived; does not wait.
    bytes hears() const;
    // True if everything was read and the other side has closed.
    bool is_hung_up() const;
    void closes();
    void stops_saying() const; // still reads
    void narrows() const;      // to buffers of a few kB, so that a long message must wait

    int fd;
};

// Two connected sockets; the daemon's does not come from accept.
struct control_pair {
    static control_pair connected();
    peer client;
    peer daemon;
};

// A connection to the socket that listens at this real path.
peer connect_to(const std::string &path);

// A socket that listens at this real path.
struct listener : not_copied {
    explicit listener(const std::string &path, int backlog = 5);
    ~listener();

    // The next waiting connection; fails the test if there is none.
    peer accepts() const;
    bool is_nobody_waiting() const;

    int fd;
};
