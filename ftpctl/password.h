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

// Where a password is stored; at most one of `file` and `credential` is set.
struct password_source_t {
    std::string file;             // "-": standard input
    std::string credential;       // a file of that name below $CREDENTIALS_DIRECTORY, where systemd puts it
    bool must_be_private = false; // the file must be regular and of mode 0600 or 0400
    bool is_empty() const { return file.empty() && credential.empty(); }
};

// The first line of the source if given, otherwise the variable, otherwise, if standard input is a
// terminal, the user's input. A carriage return at the end of a line is removed. May wait for a file, a
// pipe or the user. Always removes the variable from the environment. `whom` is named in the prompt, such
// as "anna@host". Throws failure: STATUS_USAGE when there is no password, STATUS_LOCAL for a file that is
// not as private as it must be, STATUS_CREDENTIAL for a credential that is not there, otherwise as
// password_prompt().
std::string password_find(const password_names_t &names, const password_source_t &source,
                          const std::string &whom);

// Prompts on terminal `fd` without echo, and always restores the echo, also while the program is stopped
// (Ctrl-Z). An empty line is an empty password. Throws failure: STATUS_USAGE at the end of the input
// (Ctrl-D), the status of a cancelled job on an interrupt (Ctrl-C), STATUS_LOCAL when the terminal fails.
std::string password_prompt(int fd, const std::string &whom);
