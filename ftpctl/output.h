// Standard output, a line at a time.
#pragma once

#include "ftpctl/failure.h"

#include <cstdio>
#include <string>

// Prints the line and its newline at once. Throws failure when it cannot be written.
inline void output_line(const std::string &line)
{
    if (fprintf(stdout, "%s\n", line.c_str()) < 0 || fflush(stdout) != 0)
        throw failure(STATUS_LOCAL, "cannot write to standard output");
}
