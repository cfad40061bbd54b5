// The commands. Each prints its answer, returns its exit status, and throws failure on failure.
#pragma once

#include "ftpspool/spool_options.h"

// Stores an entry and, once it is on the disk, prints its id.
int spool_add(const spool_options_t &options);

// `list` prints a line for each entry, `show` all that is known of some; with --json both print an object for
// each.
int spool_list(const spool_options_t &options);
int spool_show(const spool_options_t &options);

// Change entries: all that are named or, on failure, none.
int spool_remove(const spool_options_t &options);
int spool_retry(const spool_options_t &options);
int spool_hold(const spool_options_t &options);
int spool_release(const spool_options_t &options);
int spool_clear(const spool_options_t &options);

// `watch` stores a watch and prints its id, `watches` prints a line or an object for each, `unwatch` removes
// all that are named or, on failure, none.
int spool_watch(const spool_options_t &options);
int spool_watches(const spool_options_t &options);
int spool_unwatch(const spool_options_t &options);

// The service.
int spool_run(const spool_options_t &options);

// Runs the command. Throws nothing: a failure is printed on standard error, with --json on standard output as
// well.
int spool_main(spool_options_t options);
