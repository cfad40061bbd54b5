// --exec: runs a command for each event.
#pragma once

#include "ftpctl/event.h"
#include "strutil/guards.h"

#include <csignal>
#include <deque>
#include <string>
#include <sys/types.h>

// The commands run one after the other, in the order of the events; however slow one is, no event is left out
// or waited for. A command runs by "/bin/sh -c" in a process group of its own, with nothing on standard
// input. One that fails is told on standard error.
class event_hook
{
public:
    // An empty command: nothing is ever run. Else SIGCHLD is this object's from now on, one at a time. Throws
    // failure (STATUS_LOCAL).
    explicit event_hook(const std::string &command);
    ~event_hook();
    event_hook(const event_hook &) = delete;
    event_hook &operator=(const event_hook &) = delete;

    // Prints the event as event_print() does, and then add(). Throws failure as either does.
    void tell(const event_t &event, const options_t &options);

    // Runs the command for the event in its turn. Never waits. Throws failure (STATUS_LOCAL) when the system
    // allows no further process.
    void add(const event_t &event);

    // Waits until `fd` (-1: none) can be read, an interrupt has come, a command has ended or `limit_ms` is
    // over (-1: never). Starts the next command where one has ended; throws failure as add() does.
    void wait(int fd, int limit_ms);

    bool busy() const { return child_ != 0 || !waiting_.empty(); }

    // Waits until all have run. At an interrupt the one that runs is asked to end (SIGTERM) and waited for,
    // the others are given up, which is told. False when a command has failed, which was told when it did.
    // Throws failure as add() does.
    bool finish();

private:
    std::string command_;
    std::deque<event_t> waiting_; // the first one's command runs when child_ is not 0
    pid_t child_ = 0;
    descriptor child_fd_; // readable when a child has ended
    sigset_t mask_before_ = {};
    bool has_failed_ = false;
    bool is_ending_ = false;

    void step();
    void ended(int status);
    void give_up();
};
