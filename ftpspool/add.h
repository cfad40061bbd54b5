// What `add` and `watch` share: making an entry from the command line. All functions throw failure.
#pragma once

#include "ftpspool/spool_options.h"

// The entry of the options, with absolute paths and `after` set. URL and times are not read yet.
entry_t add_begin(const spool_options_t &options);

// The URL of a folder as the beginning of its files' URLs: ends in '/', or is "" for the profile's own
// folder.
std::string add_folder(const std::string &url);

// Refuses a login without a password, and a folder for --move-to that is missing or on another file system
// than `local`, which may be a file or a folder. The URL must already name a file.
void add_check(const entry_t &entry);

// Refuses whatever the daemon or the library would refuse.
void add_rehearse(const entry_t &entry);
