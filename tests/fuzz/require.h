// What a fuzzer states about the code it drives. A statement that does not hold ends the run and keeps the
// input.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void require(bool holds, const char *statement)
{
    if (holds)
        return;
    fprintf(stderr, "does not hold: %s\n", statement);
    abort();
}
