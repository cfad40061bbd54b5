// Getting a password: never from the command line, which every process can read.
#pragma once

#include <string>

// Which password is meant.
struct password_names_t {
    const char *option;   // the option that names its file
    const char *variable; // its variable in the environment
};
constexpr password_names_t SERVER_PASSWORD = {"--password-file", "FTPCTL_PASSWORD"};
constexpr password_names_t PROXY_PASSWORD = {"--proxy-password-file", "FTPCTL_PROXY_PASSWORD"};

// The first line of `file` if given ("-": the next line of standard input), otherwise the variable,
// otherwise, if standard input is a terminal, the user's input. A carriage return at the end of a line is
// removed. May wait for a file, a pipe or the user. Always removes the variable from the environment. `whom`
// is named in the prompt, such as "anna@host". Throws failure: STATUS_USAGE when there is no password,
// otherwise as password_prompt().
std::string password_find(const password_names_t &names, const std::string &file, const std::string &whom);

// Prompts on terminal `fd` without echo, and always restores the echo, also while the program is stopped
// (Ctrl-Z). An empty line is an empty password. Throws failure: STATUS_USAGE at the end of the input
// (Ctrl-D), the status of a cancelled job on an interrupt (Ctrl-C), STATUS_LOCAL when the terminal fails.
std::string password_prompt(int fd, const std::string &whom);
