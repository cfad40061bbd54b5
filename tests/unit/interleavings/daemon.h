// The daemon's main loop, commands, notices, both engines and their workers, under the scheduler. The control
// channel, the libcurl wrapper and the feeder library are fakes.
#pragma once

#include "scheduler.h"

#include <set>
#include <string>

// The requests of a script, one letter for each pass of the main loop:
//   d download, u upload, i file information, f a download whose worker cannot be started
//   z Zixi upload, y Zixi file information
//   D and Z: a download and a Zixi upload that do not end unless they are cancelled
//   c cancel, s state, . nothing, q SIGTERM
// After the last one the loop runs without requests until no worker is left, and two passes more.
//
// A story is what was seen, in order, separated by blanks:
//   d0  the reply to a request: its letter and `detail`; for s: running, kind and result
//   !d0 a notice: d, u or i for the kind of job, and `detail`
struct seen_t {
    std::set<std::string> stories;
    explored_t explored;
    std::string fault;         // the first step that differs from the interface, "" if none does
    bool workers_left = false; // a worker was neither joined nor detached although its engine was asked
};

// Runs the script in every order in which main thread and workers can take their steps.
seen_t run_in_every_order(const std::string &script);
