// What `add` and `watch` have in common: an entry made of the command line. All throw failure.
#pragma once

#include "ftpspool/spool_options.h"

// The entry of the options: its paths are absolute, `after` is set; URL and times are still as they were
// given.
entry_t add_begin(const spool_options_t &options);

// The URL of a folder, which may be relative to a profile's, as the beginning of a file's: "" for the
// profile's own.
std::string add_folder(const std::string &url);

// Refuses a login without a password file, and a folder to move to that is missing or on another file system
// than `local`, a file or a folder. The URL names a file.
void add_check(const entry_t &entry);

// Refuses whatever the daemon or the library would refuse.
void add_rehearse(const entry_t &entry);
