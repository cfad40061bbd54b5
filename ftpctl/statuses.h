// The exit statuses: a name for programs; a meaning and a remedy for people. The help prints this table;
// tests compare the manual page and docs/operations.md with it.
#pragma once

#include "ftpctl/failure.h"

#include <string>
#include <vector>

struct status_t {
    int status = 0;
    std::string name;    // short and stable, e.g. "login-refused"; "error" in JSON
    std::string meaning; // no capital at the start, no full stop
    std::string remedy;  // the same
};

// All known statuses in order, STATUS_DONE first.
const std::vector<status_t> &status_table();

// The row of a status; for an unknown status the row with the name "unknown-result".
const status_t &status_find(int status);

// The exit status for an ftpclient_error or ftpclient_result; `cause`, an ftpclient_cause, is used for
// results. An unknown result gives 120.
int status_of(int code, int cause);

// Meaning and remedy of a status, followed by `details` in brackets if not empty.
std::string status_sentence(int status, const std::string &details = "");

// The end of --help: one line for each status, each with a newline.
std::string status_help();
