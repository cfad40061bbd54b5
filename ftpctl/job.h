// One job, from its turn to its end.
#pragma once

#include "ftpctl/drive.h"
#include "ftpctl/report.h"
#include "ftpctl/request.h"

// Runs it and waits for its end; fills *outcome and returns as ftpclient_run() does. Throws failure when the
// output fails.
int job_drive(driver &driver, const job_t &job, ftpclient_outcome_t *outcome);

// Why the job failed, for `code` as job_drive() returns it.
failure job_failure(const options_t &options, const job_t &job, int code, const ftpclient_outcome_t &outcome);

// Runs it and waits for its end; the report gets its outcome. Throws failure when it fails.
void job_run(driver &driver, const job_t &job, report_t &report);

// Waits for its turn, starts it and leaves it alone. Throws failure when it is refused.
void job_start(driver &driver, const job_t &job);
