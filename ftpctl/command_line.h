// What the command lines of ftpctl and ftpspool share.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

// Adds an option with a text, whose kind the help shows, such as FILE. Returns it.
CLI::Option *command_line_text(CLI::App *command, const char *option, std::string &value, const char *kind,
                               const char *description);

// Adds --profile NAME and returns it. With `url_may_be_missing`, giving it makes the URL optional.
CLI::Option *command_line_profile(CLI::App *command, std::string &name, bool url_may_be_missing,
                                  const char *description);

// Sets the text at the end of the help; its line breaks are kept.
void command_line_footer(CLI::App &app, const std::string &lines);

// A one-line message about a wrong command line. It quotes only the unexpected word, because the next one
// may be a password.
std::string command_line_complaint(const CLI::App &app, const CLI::ParseError &error);
