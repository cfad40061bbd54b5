// What the feeder library's errors are called.
#pragma once

// Logs the error by name and number; 0 is none, and not logged.
void zixif_log_error(int error);
