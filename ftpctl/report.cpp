#include "ftpctl/report.h"

#include "ftpctl/json.h"
#include "ftpctl/profile.h"
#include "ftpctl/statuses.h"

#include <cstdio>

// Requested data, which --quiet does not suppress.
static bool is_answer(const report_t &report)
{
    return report.state || report.identity || report.job == FTPCLIENT_FILE_INFO;
}

int report_print(const options_t &options, const report_t &report)
{
    if (report.is_printed)
        return report.status;
    const bool failed = report.status != STATUS_DONE;
    if (failed && !report.message.empty())
        fprintf(stderr, "ftpctl: %s\n", report.message.c_str());
    if (!failed && (report.is_told || (options.quiet && !is_answer(report))))
        return report.status;
    if (options.json)
        output_line(json_report(report));
    else if (!failed)
        output_line(report.message);
    return report.status;
}

int report_finish(const options_t &options, const report_t &report)
{
    report_t printing;
    int status = report.status;
    report_failures(printing, [&] { status = report_print(options, report); });
    if (printing.status == STATUS_DONE)
        return status;
    fprintf(stderr, "ftpctl: %s\n", printing.message.c_str());
    return printing.status;
}

int report_run(const options_t &given)
{
    options_t options = given;
    report_t report;
    report.command = options.command;
    report_failures(report, [&] {
        profile_apply(options);
        options.run(options, report);
    });
    return report_finish(options, report);
}
