// The spool's own copies of files: what `add --copy` makes, so that the producer may delete its file.
#pragma once

#include "ftpspool/disk.h"
#include "ftpspool/store.h"
#include "strutil/guards.h"

#include <string>

// Held from before a copy is made until its entry is on the disk: meanwhile copies_sweep() removes nothing.
class copying_t
{
public:
    // Throws failure (STATUS_LOCAL).
    explicit copying_t(const spool_paths_t &paths);

    // Makes a hard link to `local`, or a copy of mode 0600 where the file system is another one or forbids
    // the link. Returns its path. Name and content are on the disk then. Throws failure (STATUS_LOCAL), and
    // leaves nothing behind.
    std::string make(const std::string &local);

    // Keeps the copy; otherwise the destructor removes it.
    void keep() { made_.keep(); }

private:
    std::string files_;
    descriptor folder_;
    unfinished_file_t made_;
};

// Removes the copies that belong to no entry: those of commands that ended before they had an entry, and of
// entries whose removal ended early. Does nothing while a copy is being made.
void copies_sweep(const store_t &store);
