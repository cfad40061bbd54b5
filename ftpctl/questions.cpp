// ping, state and cancel: what needs no turn.
#include "ftpctl/commands.h"

#include "ftpctl/drive.h"
#include "ftpctl/duration.h"
#include "ftpctl/statuses.h"
#include "ftpctl/text.h"

#include <chrono>

using std::chrono::steady_clock;

namespace
{

// Finishes a call that was begun with `code`.
call_t finished(driver &driver, int code, ftpclient_call_t *begun)
{
    call_t call(begun);
    if (code == FTPCLIENT_OK)
        code = driver.run(call.get());
    if (code != FTPCLIENT_OK)
        throw daemon_failure(driver.options(), code);
    return call;
}

ftpclient_state_t state_of(driver &driver)
{
    ftpclient_call_t *begun = nullptr;
    const int code = ftpclient_begin_poll(driver.client(), driver.left_ms(), &begun);
    const call_t call = finished(driver, code, begun);
    ftpclient_state_t state = {};
    ftpclient_call_state(call.get(), &state, sizeof state);
    return state;
}

failure not_cancelled(const options_t &options, int code)
{
    if (code == FTPCLIENT_ERR_TIMEOUT)
        return {STATUS_TIMEOUT, "the job has not stopped yet; the daemon goes on stopping it"};
    if (code < 0)
        return daemon_failure(options, code);
    const int status = status_of(code, FTPCLIENT_CAUSE_NONE);
    return {status, status_sentence(status, text_details(code, {}))};
}

} // namespace

void command_ping(const options_t &options, report_t &report)
{
    driver driver(options);
    const auto before = steady_clock::now();
    ftpclient_call_t *begun = nullptr;
    const int code = ftpclient_begin_ping(driver.client(), driver.left_ms(), &begun);
    const call_t call = finished(driver, code, begun);
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

// The answer of a cancel does not name the job, so that is asked for before.
void command_cancel(const options_t &options, report_t &report)
{
    driver driver(options);
    const char *kind = text_job_kind(state_of(driver).job);
    ftpclient_call_t *begun = nullptr;
    int code = ftpclient_begin_cancel(driver.client(), driver.left_ms(), &begun);
    const call_t call(begun);
    if (code == FTPCLIENT_OK)
        code = driver.run(call.get());
    if (code != FTPCLIENT_OK)
        throw not_cancelled(options, code);
    report.message = std::string("cancelled: ") + (kind != nullptr ? kind : "a job");
}
