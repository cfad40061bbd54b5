// The feeder stand-in's failures according to ZIXI_FEEDER_FAIL, see README.md.
#pragma once

// Counts a call of `function` and returns its result: 0 = do the work. The counts restart when
// ZIXI_FEEDER_FAIL changes. May be called from any thread.
int plan_next(const char *function);
