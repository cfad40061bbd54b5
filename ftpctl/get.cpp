// get: downloads to a temporary file and renames it when it is complete.
#include "ftpctl/commands.h"

#include "ftpctl/interrupts.h"
#include "ftpctl/job.h"
#include "ftpctl/local_file.h"
#include "ftpctl/private_folder.h"
#include "ftpctl/text.h"

constexpr const char *NAME = "f"; // short, because the path has a limit

static std::string file_name(const options_t &options)
{
    return options.files.empty() ? "" : options.files.front();
}

static job_t build(const options_t &options, const url_t &url, const std::string &local)
{
    return request_build(options, FTPCLIENT_DOWNLOAD, url, options.url, local);
}

static void to_standard_output(const options_t &options, const url_t &url, report_t &report)
{
    if (options.json)
        refuse("--json: standard output is needed for the file");
    const logins_t logins = logins_find(options, url);
    interrupts_catch(); // before there is a folder to remove
    driver driver(options);
    const private_folder folder(private_folder::pattern(), options.socket);
    const std::string local = folder.file(NAME);
    job_t job = build(options, url, local);
    request_set_logins(job, logins);
    job_run(driver, job, report);
    output(file_content(local, FTPCLIENT_DOWNLOAD_MAX));
    report.is_told = true;
}

// The daemon writes the file itself, because no process remains to rename it.
static void without_waiting(const options_t &options, const url_t &url, report_t &report)
{
    if (file_name(options).empty() || file_name(options) == "-")
        refuse("--no-wait: needs the name of a FILE");
    report.local = file_to_download(file_name(options), url_file_name(url));
    job_t job = build(options, url, *report.local);
    request_set_logins(job, logins_find(options, url));
    interrupts_catch();
    driver driver(options);
    job_start(driver, job);
    report.message = options.url + ": download started";
}

static void to_file(const options_t &options, const url_t &url, report_t &report)
{
    const std::string target = file_to_download(file_name(options), url_file_name(url));
    report.local = target;
    build(options, url, target); // for a complaint about the path that the user gave
    const logins_t logins = logins_find(options, url);
    interrupts_catch(); // before there is a folder to remove
    driver driver(options);
    const private_folder folder(file_beside(target), options.socket);
    const std::string local = folder.file(NAME);
    job_t job = build(options, url, local);
    job.local = target; // for messages
    request_set_logins(job, logins);
    job_run(driver, job, report);
    file_put_in_place(local, target);
    report.message = target + ": " + text_outcome(report.outcome->progress);
}

void command_get(const options_t &options, report_t &report)
{
    report.remote = options.url;
    const url_t url = url_parse(options.url);
    if (options.no_wait)
        without_waiting(options, url, report);
    else if (file_name(options) == "-")
        to_standard_output(options, url, report);
    else
        to_file(options, url, report);
}
