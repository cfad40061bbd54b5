// Catches the log of the code under test in place of syslog. Linked into every unit test.
#pragma once

#include <string>
#include <vector>

struct log_line {
    int priority; // LOG_ERR, LOG_INFO
    std::string text;
    bool operator==(const log_line &) const = default;
};
void PrintTo(const log_line &line, std::ostream *out);

using lines = std::vector<std::string>;

// The texts logged since the last call, of any priority.
lines logged();

// The same with priorities.
std::vector<log_line> logged_with_priority();
