// Where a password comes from: never from the command line, which every process can read.
#pragma once

#include <string>

// Which password is meant.
struct password_names_t {
    const char *option;   // that names its file
    const char *variable; // of the environment
};
constexpr password_names_t SERVER_PASSWORD = {"--password-file", "FTPCTL_PASSWORD"};
constexpr password_names_t PROXY_PASSWORD = {"--proxy-password-file", "FTPCTL_PROXY_PASSWORD"};

// The first line of `file` when one is named ("-": the next line of standard input), else the variable, else
// what the user types when standard input is a terminal: it waits for file, pipe and user. In each case the
// environment forgets the variable. `whom` is what the question names, such as "anna@host". Throws failure:
// STATUS_USAGE when there is no password, else as password_prompt().
std::string password_find(const password_names_t &names, const std::string &file, const std::string &whom);

// Asks on terminal `fd` without echo, and gives the echo back however it ends: also while the program is
// stopped (Ctrl-Z). An empty line is an empty password. Throws failure: STATUS_USAGE at an end of the input
// (Ctrl-D), the status of a cancelled job at an interrupt (Ctrl-C), STATUS_LOCAL when the terminal fails.
std::string password_prompt(int fd, const std::string &whom);
