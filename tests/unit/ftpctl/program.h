// Runs the real ftpctl.
#pragma once

#include "temp_dir.h"

#include <string>
#include <sys/types.h>
#include <vector>

// An argument list for execve().
std::vector<char *> pointers(std::vector<std::string> &texts);

// Waits for the end of a process: its exit status; 128 + the signal that ended it.
int status_of(pid_t pid);

struct outcome_t {
    int status; // exit status; 128 + the signal that ended it
    std::string out;
    std::string err;
};

class program
{
public:
    // Starts `ftpctl <arguments>` with empty standard input and `environment` ("NAME=value") added. `user`:
    // runs it as this user without groups.
    explicit program(const std::vector<std::string> &arguments,
                     const std::vector<std::string> &environment = {}, uid_t user = static_cast<uid_t>(-1));

    void signal(int number) const;

    // Waits until standard output contains `text` that many times; false after 10 s.
    bool has_printed(const std::string &text, size_t times = 1) const;

    // The same for standard error.
    bool has_said(const std::string &text) const;

    // Waits for its end.
    outcome_t wait();

private:
    temp_dir dir_;
    pid_t pid_;
};

// Starts it and waits for its end.
outcome_t run(const std::vector<std::string> &arguments, const std::vector<std::string> &environment = {});

// The same as another user; status OUT_OF_REACH if that user has no access to the program.
constexpr int OUT_OF_REACH = 99;
outcome_t run_as(uid_t user, const std::vector<std::string> &arguments);
