// The failures of the feeder stand-in. ZIXI_FEEDER_FAIL is a comma-separated list of
//
//     function:code[:times[:after]]
//
// The first `after` calls of the function succeed, the next `times` return the code (without `times`: all of
// them), and later ones succeed again. Calls are counted from the start of the program over all uploads. An
// invalid entry is reported on standard error and skipped.
//
// Two retries, then success:        zixi_upload_file:-21:2
// A remote file that exists:        zixi_upload_file:-22
// A connection lost after 3 s:      zixi_get_upload_progress:-17:1:3
// A close that fails, but releases: zixi_close_stream:-1
// Two faults, one after the other:  zixi_configure_credentials:-7:1,zixi_prepare_configuration:-5
// A start without a version:        zixi_version:-3
#pragma once

// Counts a call of `function` and returns its result: 0 = do the work. The counts restart when
// ZIXI_FEEDER_FAIL changes. May be called from any thread.
int plan_next(const char *function);
