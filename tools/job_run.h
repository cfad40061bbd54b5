// One job, from its start to its end.
#pragma once

#include "tools/deadline.h"
#include "tools/options.h"
#include "wire/wire.h"

#include <string>

// Fails with the result's name, its advice, and `details` in brackets.
[[noreturn]] void job_fail(uint32_t code, const std::string &details = "");

// The daemon's state now.
state_reply_t job_state_of(const options_t &options);

// Returns when the daemon has taken the job; a refusal is a failure.
void job_start(const options_t &options, control_command command, const transfer_request_t &request);

// Asks the daemon to stop its job, and returns when that has stopped. Fails with STATUS_TIMEOUT when the time
// is over before.
cancel_reply_t job_stop(const options_t &options);

// Starts the job, shows its progress and waits for its end: the state in which it ended, whatever its result.
// An interrupt or the end of the time cancels it.
state_reply_t job_run(const options_t &options, control_command command, const transfer_request_t &request,
                      const deadline_t &deadline);

// Fails when the job has: with STATUS_TIMEOUT when it was cancelled for that, else with its result.
void job_check(const state_reply_t &ended, const deadline_t &deadline);
