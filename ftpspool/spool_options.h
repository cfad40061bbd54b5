// The options of the command line.
#pragma once

#include "ftpspool/entry.h"
#include "ftpspool/service.h"
#include "ftpspool/watches.h"

#include <optional>
#include <string>
#include <vector>

struct spool_options_t {
    // The command: returns its exit status, and throws failure on failure.
    int (*run)(const spool_options_t &) = nullptr;
    std::string command; // its name; empty if the command line has none

    std::string folder = SPOOL_FOLDER;
    bool json = false;

    // add: paths and times as they were given
    entry_t entry;
    std::string not_before;
    std::string expires;
    bool copy = false;
    bool delete_file = false;
    bool keep_file = false; // the default
    bool done = false;      // clear: always given

    // watch: `entry` is what its entries have in common, and `entry.local` the folder
    watch_t watch;

    std::vector<int64_t> ids;     // show, remove, retry, hold, release, unwatch
    std::optional<state_t> state; // list

    service_options_t service; // run
};

// Fills in `options`. Returns an exit status if there is nothing to run: help was requested and printed, or
// the command line is wrong, which is reported on standard error.
std::optional<int> spool_cli_parse(int argc, const char *const *argv, spool_options_t &options);
