#include "tools/cli.h"

#include "tools/failure.h"
#include "tools/jobs.h"
#include "tools/notices.h"
#include "tools/result_names.h"
#include "tools/watch.h"

#include <CLI/CLI.hpp>

namespace
{

constexpr const char *URLS = R"(URLs: SCHEME://[USER@]HOST[:PORT]/PATH
    ftp     FTP, port 21                        sftp    SFTP, port 22
    ftps    FTP, TLS from the start, port 990   zixi    Zixi, upload only, port 2088
    ftpes   FTP, TLS on request, port 21
  PATH is percent-decoded and relative to the login directory; with one more '/' it is absolute
  (ftp://host//tmp/file). The password comes from --password-file, from the environment's FTPCTL_PASSWORD,
  or is asked for on the terminal. FTP without a user logs in as anonymous.

Ctrl-C cancels the job that a command waits for.
)";

CLI::App *add_command(CLI::App &app, options_t &options, const char *name, const char *description,
                      int (*run)(const options_t &))
{
    CLI::App *command = app.add_subcommand(name, description);
    command->fallthrough();
    command->footer("ftpctl --help tells of URLs, passwords and exit statuses.");
    command->callback([&options, run] { options.run = run; });
    return command;
}

void add_job_options(CLI::App *command, options_t &options)
{
    command->add_option("--user", options.user, "Login name, where the URL has none");
    command->add_option("--password-file", options.password_file,
                        "File whose first line is the password; - reads standard input");
    command->add_flag("--active", options.active, "FTP: the server connects back for the data");
    command->add_option(
        "--pin", options.pin,
        "sha1:HEX of the FTPS certificate, or md5:HEX of the SFTP host key, that the server must have; without it any server is trusted");
    command->add_option("--save-identity", options.save_identity,
                        "File for the server's certificate (PEM) or host key");
}

void add_transfer_options(CLI::App *command, options_t &options)
{
    add_job_options(command, options);
    command->add_option("--proxy", options.proxy, "HTTP proxy, HOST[:PORT], port 3128 without one");
    command->add_flag("--no-wait", options.no_wait, "Start the job and return");
}

void add_jobs(CLI::App &app, options_t &options)
{
    CLI::App *get = add_command(app, options, "get", "Download a file of at most 4096 bytes", job_get);
    get->add_option("URL", options.url)->required();
    get->add_option("FILE", options.file)->required();
    add_transfer_options(get, options);

    CLI::App *put = add_command(app, options, "put", "Upload a file", job_put);
    put->add_option("FILE", options.file)->required();
    put->add_option("URL", options.url)->required();
    add_transfer_options(put, options);
    put->add_flag("--resume", options.resume, "Send only what the remote file lacks");
    put->add_flag("--no-overwrite", options.no_overwrite, "zixi: keep a remote file that exists");
    put->add_option("--protocol", options.protocol, "zixi: protocol number 4 or 5")
        ->check(CLI::IsMember({4, 5}));

    CLI::App *info =
        add_command(app, options, "info", "Show a remote file's size, date and permissions", job_info);
    info->add_option("URL", options.url)->required();
    add_job_options(info, options);
}

void add_questions(CLI::App &app, options_t &options)
{
    add_command(app, options, "ping", "Ask whether the daemon answers", job_ping);
    add_command(app, options, "state", "Show the running job, or how the last one ended", job_state);
    add_command(app, options, "cancel", "Cancel the running job and wait until it has stopped", job_cancel);
    add_command(app, options, "watch", "Show every change of the daemon's state", watch);

    CLI::App *listen = add_command(
        app, options, "listen", "Show the daemon's notices in place of the network manager", notices_listen);
    listen->add_option("--notify-socket", options.notify_socket, "Socket to listen on")
        ->capture_default_str();
    listen->add_option("--count", options.count, "End after this many notices")->check(CLI::PositiveNumber);
}

void add_common_options(CLI::App &app, options_t &options)
{
    app.set_version_flag("--version", std::string("ftpctl " FTPCTL_VERSION));
    app.add_option("--socket", options.socket, "The daemon's control socket")->capture_default_str();
    app.add_option("--timeout", options.timeout_s,
                   "Seconds after which the command gives up; a job that it waits for is cancelled")
        ->check(CLI::PositiveNumber);
    app.add_flag("--json", options.json, "Print JSON objects, one a line");
    app.add_flag("--quiet", options.quiet, "Print neither progress nor success");
}

} // namespace

std::optional<int> cli_parse(int argc, const char *const *argv, options_t &options)
{
    CLI::App app("Hands jobs to the file-transfer daemon.", "ftpctl");
    app.require_subcommand(1);
    app.footer(std::string(URLS) + "\n" + result_help());
    add_common_options(app, options);
    add_jobs(app, options);
    add_questions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? STATUS_DONE : STATUS_USAGE;
    }
    return std::nullopt;
}
