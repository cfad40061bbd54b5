// The exit statuses: their names for programs, and what they mean and what to do for people. The help prints
// this table; the manual page and docs/operations.md are compared with it.
#pragma once

#include "ftpctl/failure.h"

#include <string>
#include <vector>

struct status_t {
    int status = 0;
    std::string name;    // short and stable, "login-refused"; what "error" is in JSON
    std::string meaning; // begins small, no full stop
    std::string remedy;  // the same
};

// All that have a meaning, STATUS_DONE first, in their order.
const std::vector<status_t> &status_table();

// The row of a status; one that is not in the table has the name "unknown-result".
const status_t &status_find(int status);

// What ftpctl exits with for an ftpclient_error or ftpclient_result. `cause`, an ftpclient_cause, counts for
// results. A result that this version does not know gives 120.
int status_of(int code, int cause);

// Meaning and remedy of a status, then `details` in brackets where there are any.
std::string status_sentence(int status, const std::string &details = "");

// The end of --help.
std::string status_help();
