// --exec: runs a command for each event.
#pragma once

#include "ftpctl/event.h"
#include "ftpctl/options.h"
#include "strutil/guards.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

// The program that has the events.
struct hook_program_t {
    std::string name = "ftpctl"; // at the beginning of messages
    // The names of all that an event can have; a command inherits none of them from the environment.
    std::vector<std::string> variables = event_variable_names();
    int output = STDOUT_FILENO;     // the standard output of the commands
    size_t waiting_most = SIZE_MAX; // including the running one; further ones are dropped with a message
};

// The commands run one after the other in the order of the events. Events are queued, so a slow command
// neither loses nor delays one as long as there is room. A command runs with "/bin/sh -c" in its own process
// group, with empty standard input. A failed command is reported on standard error.
class event_hook
{
public:
    // With an empty command nothing is run. Otherwise this object handles SIGCHLD, so only one may exist at a
    // time. Throws failure (STATUS_LOCAL).
    explicit event_hook(const std::string &command, hook_program_t program = {});
    // ftpctl's --exec. With --json the output of its commands goes to standard error, so that it does not mix
    // with the objects.
    explicit event_hook(const options_t &options);
    // Kills a command that still runs, and waits for it.
    ~event_hook();
    event_hook(const event_hook &) = delete;
    event_hook &operator=(const event_hook &) = delete;

    // Prints the event to standard output, as its line or, with --json, its object; with --quiet only if there is
    // no command of --exec. Then adds it. Throws failure (STATUS_LOCAL) when it cannot be written, and as add().
    void tell(const event_t &event, const options_t &options);

    // Queues the command for the event. Never waits. Throws failure (STATUS_LOCAL) when the system allows no
    // more processes.
    void add(const event_t &event);

    // Readable (poll) when a command has ended and step() is due; -1 without a command.
    int fd() const { return child_fd_.get(); }

    // Notices the end of a command, and starts the next one. Never waits. Throws failure as add() does: the
    // event stays queued.
    void step();

    // Waits until `fd` (-1: none) is readable, an interrupt has come, a command has ended or `limit_ms`
    // milliseconds have passed (-1: no limit). Starts the next command when one has ended; throws failure
    // as add() does.
    void wait(int fd, int limit_ms);

    // True while a command runs or is queued.
    bool busy() const { return child_ != 0 || !waiting_.empty(); }

    // Waits until all commands have run, or an interrupt has come: then it stops them. False when a command
    // has failed. Throws failure as add() does.
    bool finish();

    // Ends the running command and waits for it: with SIGTERM, and with SIGKILL if it still runs five seconds
    // later. Discards the others with a message.
    void stop();

private:
    std::string command_;
    hook_program_t program_;
    std::deque<event_t> waiting_; // the first one's command runs when child_ is not 0
    pid_t child_ = 0;
    std::optional<signals_blocked> blocked_; // SIGCHLD, for child_fd_; none without a command
    descriptor child_fd_;                    // readable when a child has ended
    bool has_failed_ = false;
    bool is_ending_ = false;

    void ended(int status);
    void end_running();
    void say(const std::string &line) const;
};
