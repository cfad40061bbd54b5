// ping, state and cancel: what needs no turn.
#include "ftpctl/commands.h"

#include "ftpctl/drive.h"
#include "ftpctl/duration.h"
#include "ftpctl/statuses.h"
#include "ftpctl/text.h"

#include <chrono>

using std::chrono::steady_clock;

// Runs a call and returns it when it was answered. Throws failure.
static call_t answered(driver &driver, decltype(ftpclient_begin_ping) *begin)
{
    driver::finished_t finished = driver.run(begin);
    if (finished.code != FTPCLIENT_OK)
        throw daemon_failure(driver.options(), finished.code);
    return std::move(finished.call);
}

static ftpclient_state_t state_of(driver &driver)
{
    ftpclient_state_t state = {};
    ftpclient_call_state(answered(driver, ftpclient_begin_poll).get(), &state, sizeof state);
    return state;
}

static failure not_cancelled(const options_t &options, int code)
{
    if (code == FTPCLIENT_ERR_TIMEOUT)
        return {STATUS_TIMEOUT, "the job has not stopped yet; the daemon is still stopping it"};
    if (code < 0)
        return daemon_failure(options, code);
    const int status = status_of(code, FTPCLIENT_CAUSE_NONE);
    return {status, status_sentence(status, text_details(code, {}))};
}

void command_ping(const options_t &options, report_t &report)
{
    driver driver(options);
    const auto before = steady_clock::now();
    const call_t call = answered(driver, ftpclient_begin_ping);
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - before);
    int32_t result = 0;
    ftpclient_call_last_result(call.get(), &result);
    report.message = "the daemon answers after " + std::to_string(took.count()) +
                     " ms; its last start of a job gave " + ftpclient_result_name(result) + " (" +
                     std::to_string(result) + ")";
}

void command_state(const options_t &options, report_t &report)
{
    driver driver(options);
    report.state = state_of(driver);
    report.message = text_state(*report.state);
    if (report.state->running != 0)
        report.message +=
            "; a waiting ftpctl cancels a job in which nothing moves for " + duration_text(SILENCE_LIMIT);
}

// The reply to a cancel does not name the job, so the state is requested first.
void command_cancel(const options_t &options, report_t &report)
{
    driver driver(options);
    const std::string kind = text_job(state_of(driver).job);
    const int code = driver.run(ftpclient_begin_cancel).code;
    if (code != FTPCLIENT_OK)
        throw not_cancelled(options, code);
    report.message = "cancelled: " + kind;
}
