// Catches the log of the code under test in place of syslog. Linked into every unit test.
#pragma once

#include <string>
#include <vector>

using lines = std::vector<std::string>;

// The texts logged since the last call. Those that begin with "error: " come as LOG_ERR, all others as LOG_INFO; a line
// of another priority has that in front. A line left at the end of a test fails it.
lines logged();
