// Running one job, from its turn to its end.
#pragma once

#include "ftpctl/drive.h"
#include "ftpctl/report.h"
#include "ftpctl/request.h"

// Runs the job and waits for its end, at most for --timeout and 10 s more for a cancel; fills in *outcome and
// returns as ftpclient_run() does, with errno. Throws failure when the output fails.
int job_drive(driver &driver, const job_t &job, ftpclient_outcome_t *outcome);

// The failure for a `code` returned by job_drive(), with what is known about the remains of an upload. Call
// it before errno changes.
failure job_failure(const options_t &options, const job_t &job, int code, const ftpclient_outcome_t &outcome);

// Runs the job, waits for its end and stores its outcome in the report. Throws failure when the job fails;
// the report has the outcome in that case too. After a failed connect it may look up the server's name, which
// may take seconds more.
void job_run(driver &driver, const job_t &job, report_t &report);

// Waits for the turn and starts the job without waiting for its end. Throws failure when it is refused or the
// wait ends without a turn.
void job_start(driver &driver, const job_t &job);
