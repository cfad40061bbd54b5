// The commands that start a job and wait for its end, and those that ask about one.
#pragma once

#include "tools/options.h"

int job_get(const options_t &options);
int job_put(const options_t &options);
int job_info(const options_t &options);
int job_ping(const options_t &options);
int job_state(const options_t &options);
int job_cancel(const options_t &options);
