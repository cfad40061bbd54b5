// Running one job, from its turn to its end.
#pragma once

#include "ftpctl/drive.h"
#include "ftpctl/report.h"
#include "ftpctl/request.h"

// Runs the job and waits for its end; fills in *outcome and returns as ftpclient_run() does. Throws failure
// when the output fails.
int job_drive(driver &driver, const job_t &job, ftpclient_outcome_t *outcome);

// The failure for a `code` returned by job_drive().
failure job_failure(const options_t &options, const job_t &job, int code, const ftpclient_outcome_t &outcome);

// Runs the job, waits for its end and stores its outcome in the report. Throws failure when the job fails.
void job_run(driver &driver, const job_t &job, report_t &report);

// Waits for the turn and starts the job without waiting for its end. Throws failure when it is refused.
void job_start(driver &driver, const job_t &job);
