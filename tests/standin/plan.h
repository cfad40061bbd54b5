// Failures that the environment asks of the feeder stand-in: ZIXI_FEEDER_FAIL, see README.md.
#pragma once

// Counts a call of `function` and tells what it must return: 0 = do the work. The count starts anew when
// ZIXI_FEEDER_FAIL changes. May be called from any thread.
int plan_next(const char *function);
