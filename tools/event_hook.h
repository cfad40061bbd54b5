// --exec: runs a command for each event.
#pragma once

#include "tools/event.h"

#include <deque>
#include <string>
#include <sys/types.h>

// The commands run one after the other, in the order of the events; however slow one is, no event is left out
// or waited for. A command runs by "/bin/sh -c" in a process group of its own, with nothing on standard
// input. One that fails is told on standard error.
class event_hook
{
public:
    // An empty command: nothing is ever run.
    explicit event_hook(const std::string &command) : command_(command) {}
    ~event_hook();
    event_hook(const event_hook &) = delete;
    event_hook &operator=(const event_hook &) = delete;

    void add(const event_t &event);

    // Takes note of a command that has ended, and starts the next. Never waits; to be called some times a
    // second while busy().
    void step();
    bool busy() const { return child_ != 0 || !waiting_.empty(); }

    // Waits until all have run. At an interrupt the one that runs is asked to end (SIGTERM) and waited for,
    // the others are given up, which is told. STATUS_DONE, or STATUS_EXEC when a command has failed.
    int finish();

private:
    std::string command_;
    std::deque<event_t> waiting_; // the first one's command runs when child_ is not 0
    pid_t child_ = 0;
    bool has_failed_ = false;
    bool is_ending_ = false;

    void start_next();
    void ended(int status);
    void give_up();
};
