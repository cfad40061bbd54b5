// What happens to files when their entry has arrived.
#pragma once

#include "ftpspool/entry.h"

#include <string>

// Deletes or moves the local file as the entry says, and removes the spool's copy. May be called again after
// a crash at any point. A file that is not the one that was sent stays where it is. Blocks on the disk.
// Returns "", or what could not be done: the file is then untouched.
std::string after_arrival(const entry_t &entry);
