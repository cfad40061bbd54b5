// Which failed uploads are tried again, and what pauses meanwhile: the table is in verdict.cpp.
#pragma once

#include <vector>

enum class verdict_t {
    FINAL,  // the entry has failed: nothing changes by itself
    SERVER, // the server or the way to it: all its entries pause
    ENTRY,  // this entry alone: the server's others go before it
    DAEMON, // the daemon or the device: everything pauses, and the try does not count
};

// For an exit status of ftpctl, by which a failed upload is known (ftpctl/failure.h). An unknown status is
// held against the server.
verdict_t verdict_of(int status);

// The same for what kept a try from beginning, before the daemon was asked: there STATUS_LOCAL means the
// entry's own file, its profile or a password's file.
verdict_t verdict_before(int status);

// All statuses of the table.
std::vector<int> verdict_statuses();
