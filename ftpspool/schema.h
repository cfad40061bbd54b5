// Creates and recognises the database of the store.
#pragma once

#include "ftpspool/database.h"

struct spool_paths_t;

// Makes the database (mode 0600) and its folder (mode 0700) unless they exist. The file gets its name only
// when it is complete, so an empty or short one has been damaged. What remains of a lost database is kept:
// its log as "spool.db.left-wal", its copies as "files.left-N", which is reported on standard error. Waits
// while another process makes the same database. Throws failure (STATUS_LOCAL).
void schema_make(const spool_paths_t &paths);

// Throws damaged_t for a database that is not a spool's, failure (STATUS_LOCAL) for one of another version.
void schema_check(const database_t &database);
