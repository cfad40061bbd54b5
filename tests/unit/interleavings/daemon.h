// The daemon's main loop, its commands, notices, both engines and their workers, under the scheduler. Played
// are the control channel, the wrapper of libcurl and the feeder library.
#pragma once

#include "scheduler.h"

#include <set>
#include <string>

// What a script's letters ask for, one a pass of the main loop:
//   d download, u upload, i file information, f a download whose worker cannot be started
//   z Zixi upload, y Zixi file information
//   D and Z: a download and a Zixi upload that do not end unless they are cancelled
//   c cancel, s state, . nothing, q SIGTERM
// After the last one the loop runs on, without requests, until no worker is left and twice more.
//
// What was seen is told so, in its order, with a blank between:
//   d0  the answer to a request: its letter and `detail`; of s: running, kind and result
//   !d0 a notice: d, u or i for the kind of job, and `detail`
struct seen_t {
    std::set<std::string> stories;
    explored_t explored;
    std::string fault; // the first step that differs from what the interface says, "" when there is none
    bool workers_left = false; // a worker was neither joined nor given up although its engine was asked
};

// Every order in which main thread and workers can take their steps.
seen_t run_in_every_order(const std::string &script);
