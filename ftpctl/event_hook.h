// --exec: runs a command for each event.
#pragma once

#include "ftpctl/event.h"
#include "strutil/guards.h"

#include <deque>
#include <optional>
#include <string>
#include <sys/types.h>

// The commands run one after the other in the order of the events. Events are queued, so a slow command
// neither loses nor delays one. A command runs with "/bin/sh -c" in its own process group, with empty
// standard input. A failed command is reported on standard error.
class event_hook
{
public:
    // With an empty command nothing is run. Otherwise this object handles SIGCHLD, so only one may exist at a
    // time. Throws failure (STATUS_LOCAL).
    explicit event_hook(const std::string &command);
    // Ends a command that still runs with SIGTERM, and waits for it.
    ~event_hook();
    event_hook(const event_hook &) = delete;
    event_hook &operator=(const event_hook &) = delete;

    // Prints the event with event_print(), then adds it. Throws failure as both do.
    void tell(const event_t &event, const options_t &options);

    // Queues the command for the event. Never waits. Throws failure (STATUS_LOCAL) when the system allows no
    // more processes.
    void add(const event_t &event);

    // Waits until `fd` (-1: none) is readable, an interrupt has come, a command has ended or `limit_ms`
    // milliseconds have passed (-1: no limit). Starts the next command when one has ended; throws failure
    // as add() does.
    void wait(int fd, int limit_ms);

    // True while a command runs or is queued.
    bool busy() const { return child_ != 0 || !waiting_.empty(); }

    // Waits until all commands have run. On an interrupt it sends SIGTERM to the running command, waits
    // for it, and discards the others with a message. False when a command has failed. Throws failure
    // as add() does.
    bool finish();

private:
    std::string command_;
    std::deque<event_t> waiting_; // the first one's command runs when child_ is not 0
    pid_t child_ = 0;
    std::optional<signals_blocked> blocked_; // SIGCHLD, for child_fd_; none without a command
    descriptor child_fd_;                    // readable when a child has ended
    bool has_failed_ = false;
    bool is_ending_ = false;

    void step();
    void ended(int status);
    void give_up();
};
