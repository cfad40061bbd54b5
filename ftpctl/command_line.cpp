#include "ftpctl/command_line.h"
#include "ftpctl/profile.h"

#include <algorithm>

#define CLI11_2_6 (CLI11_VERSION_MAJOR > 2 || (CLI11_VERSION_MAJOR == 2 && CLI11_VERSION_MINOR >= 6))

CLI::Option *command_line_text(CLI::App *command, const char *option, std::string &value, const char *kind,
                               const char *description)
{
    return command->add_option(option, value, description)->type_name(kind);
}

CLI::Option *command_line_profile(CLI::App *command, std::string &name, bool url_may_be_missing,
                                  const char *description)
{
    CLI::Option *profile = command->add_option_function<std::string>(
        "--profile",
        [command, &name, url_may_be_missing](const std::string &text) {
            name = text;
            if (url_may_be_missing)
                command->get_option("URL")->required(false);
        },
        description);
#if CLI11_2_6 // otherwise it looks for the URL first
    profile->callback_priority(CLI::CallbackPriority::PreRequirementsCheck);
#endif
    return profile->type_name("NAME")->check(profile_name_fault);
}

void command_line_footer(CLI::App &app, const std::string &lines)
{
#if CLI11_2_6 // otherwise it makes paragraphs of them
    app.get_formatter()->enable_footer_formatting(false);
#endif
    app.footer(lines);
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
