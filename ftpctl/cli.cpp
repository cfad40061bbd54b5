#include "ftpctl/command_line.h"
#include "ftpctl/commands.h"
#include "ftpctl/duration.h"
#include "ftpctl/profile.h"
#include "ftpctl/report.h"
#include "ftpctl/statuses.h"
#include "ftpctl/watch.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

constexpr const char *URLS = R"(URLs: SCHEME://[USER@]HOST[:PORT]/PATH
    ftp     FTP, port 21                        sftp    SFTP, port 22
    ftps    FTP, TLS from the start, port 990   zixi    Zixi, upload only, port 2088
    ftpes   FTP, TLS on request, port 21
  PATH is percent-decoded and relative to the login directory. Over FTP one more '/' makes it absolute
  (ftp://host//tmp/file); over SFTP it stays below the login directory. The password comes from
  --password-file, from the environment variable FTPCTL_PASSWORD, or from a prompt. FTP without a
  user logs in as anonymous. With --profile a URL is relative to the profile's: DIR/FILE, or . for its folder.

DURATION: seconds (90, 1.5), or 500ms, 90s, 5m, 1h, 2d.

Ctrl-C cancels the job that a command waits for. The manual is ftpctl(1).
)";

// These messages are clearer than the ranges that CLI11 would print.
static std::string above_zero(const std::string &text)
{
    char *end = nullptr;
    const double value = strtod(text.c_str(), &end);
    return end == text.c_str() || *end != '\0' || value <= 0 ? "must be a number above 0, not " + text : "";
}

static std::string a_duration(const std::string &text)
{
    return duration_parse(text) ? "" : "must be a duration such as 90, 500ms, 90s, 5m, 1h or 2d, not " + text;
}

static std::string a_duration_above_zero(const std::string &text)
{
    const std::string wrong = a_duration(text);
    return wrong.empty() && duration_parse(text)->count() == 0 ? "must be above 0" : wrong;
}

static std::string one_of_4_and_5(const std::string &text)
{
    return text == "4" || text == "5" ? "" : "must be 4 or 5, not " + text;
}

static CLI::App *add_command(CLI::App &app, options_t &options, const char *name, const char *description,
                             void (*run)(const options_t &, report_t &))
{
    CLI::App *command = app.add_subcommand(name, description);
    command->fallthrough();
    command->footer("ftpctl --help describes URLs, passwords and exit statuses.");
    command->callback([&options, name, run] {
        options.run = run;
        options.command = name;
    });
    return command;
}

static void add_word(CLI::App *command, const char *name, std::string &value)
{
    command->add_option(name, value)->type_name(" ")->required();
}

static void add_exec(CLI::App *command, options_t &options)
{
    command_line_text(
        command, "--exec", options.exec, "COMMAND",
        "Shell command to run for each event; FTPCTL_EVENT and other variables describe the event");
}

// `url_may_be_missing`: the profile's own URL is enough.
static void add_profile(CLI::App *command, options_t &options, bool url_may_be_missing = false)
{
    command_line_profile(command, options.profile, url_may_be_missing,
                         "Profile of the server; the URL is then relative to the profile's");
    command_line_text(command, "--profiles", options.profiles, "DIR", "Folder of the profiles")
        ->capture_default_str();
}

static void add_proxy(CLI::App *command, options_t &options)
{
    command_line_text(command, "--proxy", options.proxy, "[USER@]HOST[:PORT]",
                      "HTTP proxy; the default port is 3128");
    command_line_text(command, "--proxy-password-file", options.proxy_password.file, "FILE",
                      "File whose first line is the proxy's password; - reads standard input; by default the "
                      "environment variable FTPCTL_PROXY_PASSWORD is the password");
}

static void add_wait_turn(CLI::App *command, options_t &options)
{
    command
        ->add_option_function<std::string>(
            "--wait-turn", [&options](const std::string &text) { options.wait_turn = *duration_parse(text); },
            "How long to wait for other programs; 0: not at all")
        ->type_name("DURATION")
        ->check(a_duration)
        ->default_str("10m");
}

static void add_job_options(CLI::App *command, options_t &options)
{
    add_profile(command, options);
    command->add_option("--user", options.user, "Login name, if the URL has none")->type_name("NAME");
    command_line_text(command, "--password-file", options.password.file, "FILE",
                      "File whose first line is the password; - reads standard input");
    command->add_flag("--active", options.active, "FTP: the server connects back for the data");
    command_line_text(
        command, "--pin", options.pin, "PIN",
        "sha1:HEX of the FTPS certificate, or md5:HEX of the SFTP host key, that the server must have; "
        "without it any server is trusted; ftpctl identity prints it");
    command_line_text(command, "--save-identity", options.save_identity, "FILE",
                      "File for the server's certificate (PEM) or host key");
    add_wait_turn(command, options);
}

static void add_transfer_options(CLI::App *command, options_t &options)
{
    add_job_options(command, options);
    add_proxy(command, options);
    command->add_flag("--no-wait", options.no_wait, "Start the job and return");
    command->add_flag("--progress", options.progress,
                      "With --json: print progress objects, about one a second");
}

static void add_get(CLI::App &app, options_t &options)
{
    CLI::App *get = add_command(app, options, "get", "Download a file of at most 4096 bytes", command_get);
    add_word(get, "URL", options.url);
    get->add_option("FILE", options.files,
                    "File, folder, or - for standard output; by default the name in the URL")
        ->type_name(" ")
        ->expected(0, 1);
    add_transfer_options(get, options);
}

// The URL is the last word, after any number of files: cli_parse() takes it from them.
static void add_put(CLI::App &app, options_t &options)
{
    CLI::App *put = add_command(app, options, "put", "Upload files", command_put);
    put->add_option("FILE", options.files,
                    "... URL: one or more files, then a URL; one that ends in '/' is a folder")
        ->type_name(" ")
        ->required()
        ->expected(2, CLI::detail::expected_max_vector_size);
    add_transfer_options(put, options);
    put->add_flag("--resume", options.resume, "Send only what is missing in the remote file");
    put->add_flag("--verify", options.verify, "Compare the remote file's size when the upload has ended");
    put->add_flag("--no-overwrite", options.no_overwrite, "zixi: keep a remote file that exists");
    put->add_option("--protocol", options.protocol, "zixi: protocol number 4 or 5")
        ->type_name("NUMBER")
        ->check(one_of_4_and_5);
}

static void add_jobs(CLI::App &app, options_t &options)
{
    add_get(app, options);
    add_put(app, options);

    CLI::App *info =
        add_command(app, options, "info", "Show a remote file's size, date and permissions", command_info);
    add_word(info, "URL", options.url);
    add_job_options(info, options);

    CLI::App *who =
        add_command(app, options, "identity", "Show a server's certificate or host key, and the --pin for it",
                    command_identity);
    add_word(who, "URL", options.url);
    add_profile(who, options, true);
    add_proxy(who, options);
    add_wait_turn(who, options);
}

static void add_questions(CLI::App &app, options_t &options)
{
    add_command(app, options, "ping", "Ask whether the daemon answers", command_ping);
    add_command(app, options, "state", "Show the running job, or how the last one ended", command_state);
    add_command(app, options, "cancel", "Cancel the running job and wait until it has stopped",
                command_cancel);
    add_exec(add_command(app, options, "watch", "Show every change of the daemon's state", command_watch),
             options);

    CLI::App *listen = add_command(
        app, options, "listen", "Show the daemon's notices in place of the network manager", command_listen);
    add_exec(listen, options);
    command_line_text(listen, "--notify-socket", options.notify_socket, "PATH", "Socket to listen on")
        ->capture_default_str();
    listen->add_option("--count", options.count, "End after this many notices")
        ->type_name("NUMBER")
        ->check(above_zero);
}

static void add_common_options(CLI::App &app, options_t &options)
{
    app.set_version_flag("--version", std::string("ftpctl " FTPCTL_VERSION));
    command_line_text(&app, "--socket", options.socket, "PATH", "The daemon's control socket")
        ->capture_default_str();
    app.add_option_function<std::string>(
           "--timeout", [&options](const std::string &text) { options.timeout = duration_parse(text); },
           "The command gives up after that time; a job that it waits for is cancelled")
        ->type_name("DURATION")
        ->check(a_duration_above_zero);
    app.add_flag("--json", options.json, "Print JSON: one object at the end, events and progress before it");
    app.add_flag("--quiet", options.quiet, "Print neither progress nor success");
}

// Reports it like any other failure. --json may stand after the fault, so the parsed options may lack it.
static int report_complaint(std::span<const char *const> words, const CLI::App &app, const std::string &line)
{
    options_t options;
    options.json = std::ranges::find(words, std::string_view("--json")) != words.end();
    report_t report;
    report.status = STATUS_USAGE;
    report.message = line;
    if (!app.get_subcommands().empty())
        report.command = app.get_subcommands().front()->get_name();
    return report_finish(options, report);
}

std::optional<int> cli_parse(int argc, const char *const *argv, options_t &options)
{
    CLI::App app("Hands jobs to the file-transfer daemon.", "ftpctl");
    app.require_subcommand(1);
    command_line_footer(app, std::string(URLS) + "\n" + status_help());
    add_common_options(app, options);
    add_jobs(app, options);
    add_questions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &wanted) { // --help, --version
        return app.exit(wanted);
    } catch (const CLI::ParseError &error) {
        return report_complaint(std::span(argv, static_cast<size_t>(argc)), app,
                                command_line_complaint(app, error));
    }
    if (options.command == "put") {
        options.url = options.files.back();
        options.files.pop_back();
    }
    return std::nullopt;
}
