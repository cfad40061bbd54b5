// The names of the feeder library's errors.
#pragma once

// Logs the error with its name and number; 0 means no error and is not logged.
void zixif_log_error(int error);
