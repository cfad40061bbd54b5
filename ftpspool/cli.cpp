#include "ftpctl/command_line.h"
#include "ftpctl/duration.h"
#include "ftpctl/profile.h"
#include "ftpctl/statuses.h"
#include "ftpspool/entry_text.h"
#include "ftpspool/spool_commands.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <string_view>

constexpr int64_t PRIORITY_MOST = 1000;

constexpr const char *FOOTER =
    R"(URLs are those of ftpctl(1); one that ends in '/' is a folder and gets the file's name. Passwords come only
from files and credentials. DURATION: seconds (90, 1.5), or 500ms, 90s, 5m, 1h, 2d. See ftpspool(1).

Exit statuses are those of ftpctl(1): 0 done, 1 a local file or the database failed, 2 usage, 6 no such entry or watch.
)";

static std::string a_duration(const std::string &text)
{
    const auto duration = duration_parse(text);
    return duration && duration->count() > 0
               ? ""
               : "must be a duration above 0, such as 90s, 5m or 1h, not " + text;
}

static std::string a_state(const std::string &text)
{
    return state_of(text) ? ""
                          : "must be queued, waiting, held, sending, arrived, done or failed, not " + text;
}

static CLI::App *add_command(CLI::App &app, spool_options_t &options, const char *name,
                             const char *description, int (*run)(const spool_options_t &))
{
    CLI::App *command = app.add_subcommand(name, description);
    command->fallthrough();
    command->callback([&options, name, run] {
        options.run = run;
        options.command = name;
    });
    return command;
}

// With a profile the URL may be left out.
static void add_profile(CLI::App *command, target_t &target)
{
    command_line_profile(
        command, target.profile, true,
        "Profile of the server, read at each try; the URL is relative to the profile's, or left out");
    command->add_option("--profiles", target.profiles, "Folder of the profiles")
        ->type_name("DIR")
        ->default_str(PROFILES_FOLDER);
}

static void add_target(CLI::App *command, target_t &target)
{
    add_profile(command, target);
    command_line_text(command, "--user", target.user, "NAME", "Login name, if the URL has none");
    command_line_text(command, "--password-file", target.password_file, "FILE",
                      "File of mode 0600 whose first line is the password; read at each try");
    command_line_text(
        command, "--pin", target.pin, "PIN",
        "sha1:HEX of the FTPS certificate, or md5:HEX of the SFTP host key, that the server must have");
    command_line_text(command, "--proxy", target.proxy, "[USER@]HOST[:PORT]",
                      "HTTP proxy; nothing is resumed then, and sizes are not compared");
    command_line_text(command, "--proxy-password-file", target.proxy_password_file, "FILE",
                      "File of mode 0600 whose first line is the proxy's password");
    command->add_flag("--active", target.active, "FTP: the server connects back for the data");
}

static void add_after(CLI::App *command, spool_options_t &options)
{
    CLI::Option *keep =
        command->add_flag("--keep", options.keep_file, "Leave the local file where it is; the default");
    CLI::Option *remove =
        command->add_flag("--delete", options.delete_file, "Delete the local file when it has arrived");
    CLI::Option *move =
        command
            ->add_option("--move-to", options.entry.move_to, "Move the local file there when it has arrived")
            ->type_name("DIR");
    keep->excludes(remove)->excludes(move);
    remove->excludes(move);
    command->add_flag("--copy", options.copy,
                      "Keep a hard link or a copy, so that the local file may be deleted at once");
}

static void add_limits(CLI::App *command, entry_t &entry)
{
    command->add_option("--priority", entry.priority, "The highest is sent first; by default 0")
        ->type_name("NUMBER")
        ->check(CLI::Range(-PRIORITY_MOST, PRIORITY_MOST));
    command
        ->add_option("--tries", entry.tries_most,
                     "The entry fails after this many failed tries; by default no limit")
        ->type_name("NUMBER")
        ->check(CLI::Range(int64_t{1}, int64_t{1000000}));
}

static void add_add(CLI::App &app, spool_options_t &options)
{
    CLI::App *add = add_command(app, options, "add", "Queue a file; prints the entry's id", spool_add);
    add->add_option("FILE", options.entry.local)->type_name(" ")->required();
    add->add_option("URL", options.entry.target.url)->type_name(" ")->required();
    add_limits(add, options.entry);
    command_line_text(add, "--not-before", options.not_before, "TIME",
                      "DURATION from now on, or a time: 2026-12-24T18:00");
    command_line_text(add, "--expires", options.expires, "TIME",
                      "The entry fails unless it has arrived by then; a TIME as above");
    add_after(add, options);
    add_target(add, options.entry.target);
}

static void add_ids(CLI::App *command, spool_options_t &options)
{
    command->add_option("ID", options.ids)
        ->type_name(" ")
        ->required()
        ->expected(1, CLI::detail::expected_max_vector_size);
}

static void add_entry_commands(CLI::App &app, spool_options_t &options)
{
    CLI::App *list = add_command(app, options, "list", "Show the entries", spool_list);
    list->add_option_function<std::string>(
            "--state", [&options](const std::string &text) { options.state = state_of(text); },
            "Only entries in this state: queued, waiting, held, sending, arrived, done or failed")
        ->type_name("STATE")
        ->check(a_state);
    add_ids(add_command(app, options, "show", "Show everything known about entries", spool_show), options);
    add_ids(add_command(app, options, "remove", "Remove entries; local files stay", spool_remove), options);
    add_ids(add_command(app, options, "retry", "Try failed or waiting entries again, at once", spool_retry),
            options);
    add_ids(add_command(app, options, "hold", "Keep entries from being sent", spool_hold), options);
    add_ids(add_command(app, options, "release", "Let held entries be sent again", spool_release), options);
    CLI::App *clear = add_command(app, options, "clear", "Remove the entries that are done", spool_clear);
    clear->add_flag("--done", options.done, "The entries that are done; required")->required();
}

static void add_watch_commands(CLI::App &app, spool_options_t &options)
{
    CLI::App *watch =
        add_command(app, options, "watch", "Queue each file that comes into a folder; prints the watch's id",
                    spool_watch);
    watch->add_option("DIR", options.entry.local)->type_name(" ")->required();
    watch->add_option("URL", options.entry.target.url)->type_name(" ")->required();
    watch
        ->add_option("--match", options.watch.globs,
                     "Only files whose name matches, as '*.ts'; may be repeated")
        ->type_name("GLOB")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    watch->add_flag("--recursive", options.watch.is_deep,
                    "Sub-folders as well; the server gets the same ones");
    command_line_text(
        watch, "--name", options.watch.name, "PATTERN",
        "The remote name: {name} {base} {extension} {host} {counter} {counter:6} %Y %m %d %H %M %S");
    add_limits(watch, options.entry);
    add_after(watch, options);
    add_target(watch, options.entry.target);
    add_command(app, options, "watches", "Show the watches", spool_watches);
    add_ids(add_command(app, options, "unwatch", "Remove watches; their entries stay", spool_unwatch),
            options);
}

static void add_duration(CLI::App *command, const char *name, int64_t &value_ms, const char *description,
                         const char *default_text)
{
    command
        ->add_option_function<std::string>(
            name, [&value_ms](const std::string &text) { value_ms = duration_parse(text)->count(); },
            description)
        ->type_name("DURATION")
        ->check(a_duration)
        ->default_str(default_text);
}

static void add_run(CLI::App &app, spool_options_t &options)
{
    CLI::App *run = add_command(app, options, "run", "Send what is queued, until SIGTERM", spool_run);
    run->add_option("--socket", options.service.socket, "The daemon's control socket")
        ->type_name("PATH")
        ->capture_default_str();
    add_duration(run, "--pause", options.service.pause_ms,
                 "Before the next try after a server's first failure", "5s");
    add_duration(run, "--longest-pause", options.service.longest_pause_ms,
                 "The pause doubles with each failure in a row, up to this", "15m");
    command_line_text(run, "--exec", options.service.exec, "COMMAND",
                      "Run this with /bin/sh for each event, which is in FTPSPOOL_EVENT and other variables");
    command_line_text(run, "--metrics", options.service.metrics, "FILE",
                      "Keep figures for Prometheus in this file, whose name ends in .prom");
}

// Reported like any other failure. If --json follows the faulty word, the options do not contain it.
static int report_complaint(std::span<const char *const> words, const CLI::App &app, const std::string &line)
{
    const auto chosen = app.get_subcommands();
    fprintf(stderr, "ftpspool: %s\n", line.c_str());
    if (std::ranges::find(words, std::string_view("--json")) != words.end())
        puts(answer_json(chosen.empty() ? "" : chosen.front()->get_name(), STATUS_USAGE, line, {}).c_str());
    return STATUS_USAGE;
}

std::optional<int> spool_cli_parse(int argc, const char *const *argv, spool_options_t &options)
{
    CLI::App app("Queues uploads for the file-transfer daemon, and retries them until they arrive.",
                 "ftpspool");
    app.require_subcommand(1);
    command_line_footer(app, FOOTER);
    app.set_version_flag("--version", std::string("ftpspool " FTPSPOOL_VERSION));
    app.add_option("--spool", options.folder, "The queue's folder")->type_name("DIR")->capture_default_str();
    app.add_flag("--json", options.json, "Print JSON: one object on each line");
    add_add(app, options);
    add_entry_commands(app, options);
    add_watch_commands(app, options);
    add_run(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &wanted) { // --help, --version
        return app.exit(wanted);
    } catch (const CLI::ParseError &error) {
        return report_complaint(std::span(argv, static_cast<size_t>(argc)), app,
                                command_line_complaint(app, error));
    }
    return std::nullopt;
}
