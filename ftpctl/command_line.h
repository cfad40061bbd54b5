// What the command lines of ftpctl and ftpspool share.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

// An option with a text, whose kind the help shows, such as FILE.
CLI::Option *command_line_text(CLI::App *command, const char *option, std::string &value, const char *kind,
                               const char *description);

// The option --profile NAME, with which the positional URL need not be given if `url_may_be_missing`.
CLI::Option *command_line_profile(CLI::App *command, std::string &name, bool url_may_be_missing,
                                  const char *description);

// What stands at the end of the help, in lines of its own.
void command_line_footer(CLI::App &app, const std::string &lines);

// A one-line message about a wrong command line. It quotes only the unexpected word, because the next one
// may be a password.
std::string command_line_complaint(const CLI::App &app, const CLI::ParseError &error);
