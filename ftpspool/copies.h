// The spool's own copies of files: what `add --copy` makes, so that the producer may delete its file.
#pragma once

#include "ftpspool/disk.h"
#include "ftpspool/store.h"
#include "strutil/guards.h"

#include <string>

// Lives from before the copy is made until its entry is on the disk; meanwhile copies_sweep() removes
// nothing.
class copying_t
{
public:
    // Throws failure (STATUS_LOCAL).
    explicit copying_t(const spool_paths_t &paths);

    // Makes a hard link to `local`, or, where no link is possible, a copy of mode 0600. Returns its path; its
    // name and content are then on the disk. Throws failure (STATUS_LOCAL); nothing is left behind.
    std::string make(const std::string &local);

    // Keeps the copy; otherwise the destructor removes it.
    void keep() { made_.keep(); }

private:
    std::string files_;
    descriptor folder_;
    unfinished_file_t made_;
};

// Removes the copies that belong to no entry, left by commands that were killed before they had stored an
// entry or while they removed one. Does nothing while a copy is being made.
void copies_sweep(const store_t &store);
