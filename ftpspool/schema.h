// The tables of the store: making and recognising them.
#pragma once

#include "ftpspool/database.h"

struct spool_paths_t;

// Makes the database, of mode 0600, in a folder of mode 0700 that is made as well, unless it is there. It
// gets its name when it is complete: a file of that name that is empty or short has been damaged. What a
// database that is gone has left is kept: its log as "spool.db.left-wal", its copies as "files.left-N", which is
// told on standard error. Waits for others that make the same one. Throws failure (STATUS_LOCAL).
void schema_make(const spool_paths_t &paths);

// Throws damaged_t for a database that is not a spool's, failure (STATUS_LOCAL) for one of a later version.
void schema_check(const database_t &database);
