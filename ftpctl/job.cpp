#include "ftpctl/job.h"

#include "ftpctl/route.h"

#include <cerrno>

int job_drive(driver &driver, const job_t &job, ftpclient_outcome_t *outcome)
{
    ftpclient_call_t *begun = nullptr;
    const int error =
        ftpclient_begin_run(driver.client(), job.kind, job.request.get(), driver.left_ms(), &begun);
    const call_t call(begun);
    if (error != FTPCLIENT_OK)
        return error;
    const int code = driver.run(call.get());
    const int kept = errno;
    ftpclient_call_outcome(call.get(), outcome, sizeof *outcome);
    errno = kept;
    return code;
}

// libcurl says the same of a port where nobody listens and of a host without a route.
static bool lacks_route(const job_t &job, const ftpclient_outcome_t &outcome)
{
    if (outcome.cause != FTPCLIENT_CAUSE_NOBODY)
        return false;
    return job.proxy ? !route_exists(job.proxy->host, job.proxy->port)
                     : !route_exists(job.url.host, static_cast<uint32_t>(job.url.port));
}

void job_run(driver &driver, const job_t &job, report_t &report)
{
    ftpclient_outcome_t outcome = {};
    const int code = job_drive(driver, job, &outcome);
    if (lacks_route(job, outcome))
        outcome.cause = FTPCLIENT_CAUSE_UNREACHABLE;
    const failure why = job_failure(driver.options(), job, code, outcome);
    report.job = job.kind;
    report.outcome = outcome;
    if (code != FTPCLIENT_OK)
        throw failure(why);
}

void job_start(driver &driver, const job_t &job)
{
    ftpclient_call_t *begun = nullptr;
    int code = ftpclient_begin_start(driver.client(), job.kind, job.request.get(), driver.left_ms(), &begun);
    const call_t call(begun);
    if (code == FTPCLIENT_OK)
        code = driver.run(call.get());
    if (code != FTPCLIENT_OK)
        throw job_failure(driver.options(), job, code, {});
}
