// Result codes in words, and as exit statuses.
#pragma once

#include "wire/result_codes.h"

#include <cstdint>
#include <string>

// The code's name, e.g. "FTPCD_ERR_NETWORK"; "unknown result" for a code that has none.
const char *result_name(uint32_t code);

// One sentence: what happened and what to do about it.
const char *result_advice(uint32_t code);

// Name, number and advice: "FTPCD_ERR_BUSY (3): Another job is running; ...".
std::string result_text(uint32_t code);

// What ftpctl exits with when a job or call ended with `code`: 0, 4 for FTPCD_ERR_BUSY, 20 + code for the
// others, 120 for a code above 99.
int result_exit_status(uint32_t code);

// The end of --help: every exit status.
std::string result_help();
