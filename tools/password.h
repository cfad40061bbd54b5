// Where the password comes from: never from the command line, which every process can read.
#pragma once

#include <string>

// The first line of `file` when one is named ("-": standard input), else the environment's FTPCTL_PASSWORD,
// else what the user types when standard input is a terminal. The environment forgets it. Throws failure.
std::string password_find(const std::string &file, const std::string &user_and_host);

// Asks on terminal `fd` without echo.
std::string password_prompt(int fd, const std::string &user_and_host);
