// Which failed uploads are tried again, and what pauses meanwhile: the table is in verdict.cpp.
#pragma once

#include <vector>

enum class verdict_t {
    FINAL,  // the entry fails: another try would fail too
    SERVER, // the server or the way to it: all its entries pause
    ENTRY,  // this entry alone: the server's others go before it
    DAEMON, // the daemon or the device: everything pauses, and the try does not count
};

// The verdict on a failed upload, given as an exit status of ftpctl (ftpctl/failure.h). An unknown status is
// blamed on the server.
verdict_t verdict_of(int status);

// The same for a try that could not begin, before the daemon was asked: STATUS_LOCAL then means the entry's
// own file, its profile or a password file.
verdict_t verdict_before(int status);

// All statuses of the table.
std::vector<int> verdict_statuses();
