#include "ftpctl/command_line.h"

#include <algorithm>

CLI::Option *command_line_text(CLI::App *command, const char *option, std::string &value, const char *kind,
                               const char *description)
{
    return command->add_option(option, value, description)->type_name(kind);
}

std::string command_line_complaint(const CLI::App &app, const CLI::ParseError &error)
{
    const auto chosen = app.get_subcommands();
    const std::string command = app.get_name() + (chosen.empty() ? "" : " " + chosen.front()->get_name());
    const auto unexpected = app.remaining(true);
    std::string line = error.what();
    if (!unexpected.empty())
        line =
            (chosen.empty() && !unexpected[0].starts_with("-") ? "there is no command '" : "unexpected '") +
            unexpected[0] + "'";
    else if (chosen.empty() && dynamic_cast<const CLI::RequiredError *>(&error) != nullptr)
        line = "a command is missing";
    std::ranges::replace(line, '\n', ' ');
    return line + "; see " + command + " --help";
}
