// How a service takes over a spool.
#pragma once

#include "ftpspool/store.h"
#include "strutil/guards.h"

// Takes the lock that a service holds while it runs. Throws failure: STATUS_BUSY when another service has it.
descriptor takeover_lock(const spool_paths_t &paths);

// Opens the spool and reads all of it. Throws failure. A damaged database is renamed, with its log, to
// "spool.db.damaged-N", and the folder of the copies to "files.damaged-N"; the failure names both.
store_t takeover_open(const spool_paths_t &paths);
