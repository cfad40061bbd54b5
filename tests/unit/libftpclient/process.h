// Child processes that take turns on command.
#pragma once

#include "support/not_copied.h"

#include <functional>
#include <string>
#include <sys/types.h>

// Runs `body` in a child process; returns its exit status, or -1 if a signal ended it.
int in_process(const std::function<int()> &body);

// The same without root's rights.
int without_rights(const std::function<int()> &body);

// A process that takes turns at `path`, one step for each call.
class turn_taker : not_copied
{
public:
    explicit turn_taker(const std::string &path, bool with_rights = true);
    ~turn_taker(); // kills it

    int open() const; // the errno of ftpc_turn_open()
    bool tries() const;
    void gives_back() const;
    void bears_child() const;   // the child inherits every descriptor and outlives gives_back()
    bool lives_on_file() const; // its descriptor is open

    void is_killed(); // by SIGKILL; waits for its end

private:
    pid_t pid_ = -1;
    int socket_ = -1;

    int step(char what) const;
};
