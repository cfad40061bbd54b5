// The names of the feeder library's errors.
#pragma once

// Logs a zixi_error with its name and number, an unknown one as "Unknown error"; 0 means no error and
// is not logged.
void zixif_log_error(int error);
