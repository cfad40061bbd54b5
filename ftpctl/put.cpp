// put: uploads files, one after the other.
#include "ftpctl/commands.h"

#include "ftpctl/interrupts.h"
#include "ftpctl/job.h"
#include "ftpctl/local_file.h"
#include "ftpctl/text.h"

#include <algorithm>
#include <filesystem>
#include <vector>

namespace
{

struct upload_t {
    std::string name; // as the user gave it
    job_t job;
};

} // namespace

static upload_t build(const options_t &options, const url_t &url, const std::string &name)
{
    const std::filesystem::path local = std::filesystem::absolute(name);
    url_t target = url;
    std::string shown = options.url;
    if (target.path.empty() || target.path.back() == '/') {
        const std::string file = local.filename().string();
        if (file.empty() || file == "." || file == "..")
            refuse(name + ": is not the name of a file");
        target.path += file;
        if (!shown.ends_with('/'))
            shown += '/';
        shown += url_encoded(file);
    }
    return {name, request_build(options, FTPCLIENT_UPLOAD, target, shown, local.string())};
}

static std::string line_of(const job_t &job, const ftpclient_outcome_t &outcome)
{
    if (outcome.upload == FTPCLIENT_UPLOAD_NOTHING)
        return job.shown_url + ": all " + std::to_string(outcome.local_bytes) + " bytes are there already";
    std::string line = job.shown_url + ": " + text_outcome(outcome.progress);
    if (outcome.upload == FTPCLIENT_UPLOAD_REST)
        line += ", appended to the " + std::to_string(outcome.resumed_bytes) + " bytes already there";
    if (outcome.upload == FTPCLIENT_UPLOAD_MENDED)
        line += "; appending had spoiled the remote file, so all of it was sent again";
    return outcome.verified != 0 ? line + ", verified" : line;
}

static void upload(driver &driver, const upload_t &upload, report_t &report)
{
    const job_t &job = upload.job;
    report.remote = job.shown_url;
    report.local = job.local;
    file_check_upload(upload.name);
    if (driver.options().no_wait) {
        job_start(driver, job);
        report.message = job.shown_url + ": upload started";
        return;
    }
    job_run(driver, job, report);
    report.message = line_of(job, *report.outcome);
}

// True for a failure that would also affect the next file.
static bool ends_all(int status)
{
    return status == STATUS_USAGE || status == STATUS_NO_DAEMON || status == STATUS_DENIED ||
           status == STATUS_EXEC || interrupts_seen();
}

// Each file has its own report; the command's status is that of the first failure.
static void upload_all(driver &driver, const std::vector<upload_t> &uploads, report_t &all)
{
    const options_t &options = driver.options();
    all.is_printed = true;
    for (const upload_t &each : uploads) {
        report_t report;
        report.command = options.command;
        report_failures(report, [&] { upload(driver, each, report); });
        const int status = report_finish(options, report);
        if (all.status == STATUS_DONE)
            all.status = status;
        if (ends_all(status) || driver.left_ms() == 0)
            break;
    }
}

void command_put(const options_t &options, report_t &report)
{
    report.remote = options.url;
    const bool has_many = options.files.size() > 1;
    const url_t url = url_parse(options.url, has_many ? url_names::A_FOLDER : url_names::A_FILE_OR_FOLDER);
    std::vector<upload_t> uploads;
    for (const std::string &file : options.files)
        uploads.push_back(build(options, url, file));
    if (!has_many)
        file_check_upload(options.files.front()); // before a password is asked for
    const logins_t logins = logins_find(options, url);
    for (upload_t &each : uploads)
        request_set_logins(each.job, logins);
    interrupts_catch();
    driver driver(options);
    if (has_many)
        upload_all(driver, uploads, report);
    else
        upload(driver, uploads.front(), report);
}
