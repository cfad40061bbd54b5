// The command line.
#pragma once

#include "ftpctl/options.h"

#include <optional>

// Fills `options`. Returns an exit status when there is nothing to run: help was asked for and printed, or
// the command line is wrong, which is printed on standard error.
std::optional<int> cli_parse(int argc, const char *const *argv, options_t &options);
