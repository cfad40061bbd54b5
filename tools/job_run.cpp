#include "tools/job_run.h"

#include "tools/exchange.h"
#include "tools/failure.h"
#include "tools/interrupts.h"
#include "tools/progress.h"
#include "tools/result_names.h"
#include "tools/text.h"

#include <algorithm>
#include <chrono>
#include <thread>

using std::chrono::steady_clock;

static constexpr std::chrono::milliseconds POLL{100};

void job_fail(uint32_t code, const std::string &details)
{
    const int status = code == FTPCD_ERR_NONE ? STATUS_BAD_ANSWER : result_exit_status(code);
    throw failure(status, result_text(code) + (details.empty() ? "" : " (" + details + ")"));
}

state_reply_t job_state_of(const options_t &options)
{
    return exchange<state_reply_t>(options.socket, COMMAND_GET_STATE);
}

// Asks for the state first: the daemon would let a job of the other engine run on unseen, and it takes note
// of the end of an earlier job with the pass that answers.
void job_start(const options_t &options, control_command command, const transfer_request_t &request)
{
    if (job_state_of(options).module_info.running != 0)
        job_fail(FTPCD_ERR_BUSY);
    reply_t reply = exchange_request(options.socket, command, request);
    if (reply.result != 0 &&
        reply.detail == FTPCD_ERR_INTERNAL) // an ended job of the other engine: now forgotten
        reply = exchange_request(options.socket, command, request);
    if (reply.result != 0)
        job_fail(reply.detail);
}

cancel_reply_t job_stop(const options_t &options)
{
    const deadline_t deadline(options.timeout());
    try {
        return exchange<cancel_reply_t>(options.socket, COMMAND_CANCEL, options.timeout());
    } catch (const failure &) {
        if (deadline.passed())
            throw failure(STATUS_TIMEOUT, "the job has not stopped yet; the daemon goes on stopping it");
        throw;
    }
}

static state_reply_t wait_for_end(const options_t &options, const deadline_t &deadline)
{
    progress_display display(!options.quiet && !options.json);
    for (auto next = steady_clock::now() + POLL;; next += POLL) {
        const state_reply_t state = job_state_of(options);
        if (state.module_info.running == 0)
            return state;
        display.update(state.exec_info);
        if (interrupts_seen() || deadline.passed()) {
            display.say(interrupts_seen() ? "interrupted, cancelling the job"
                                          : "out of time, cancelling the job");
            job_stop(options);
            return job_state_of(options);
        }
        next = std::max(next, steady_clock::now());
        std::this_thread::sleep_until(next);
    }
}

state_reply_t job_run(const options_t &options, control_command command, const transfer_request_t &request,
                      const deadline_t &deadline)
{
    job_start(options, command, request);
    return wait_for_end(options, deadline);
}

void job_check(const state_reply_t &ended, const deadline_t &deadline)
{
    const uint32_t result = ended.module_info.result;
    if (result == FTPCD_ERR_CANCELED && deadline.passed() && !interrupts_seen())
        throw failure(STATUS_TIMEOUT, "not done in time, the job was cancelled");
    if (result != FTPCD_ERR_NONE)
        job_fail(result, text_details(ended.exec_info));
}
