// info: a remote file's size, date and permissions.
#include "ftpctl/commands.h"

#include "ftpctl/interrupts.h"
#include "ftpctl/job.h"
#include "ftpctl/text.h"

void command_info(const options_t &options, report_t &report)
{
    report.remote = options.url;
    const url_t url = url_parse(options.url);
    job_t job = request_build(options, FTPCLIENT_FILE_INFO, url, options.url, "");
    request_set_logins(job, logins_find(options, url));
    interrupts_catch();
    driver driver(options);
    job_run(driver, job, report);
    const ftpclient_file_info_t &file = report.outcome->file;
    report.message = text_remote_file(options.url, file);
    if (file.exists == 0)
        throw failure(STATUS_NO_FILE, report.message);
}
