// A fuzzer's assertion. If it fails, the run ends and the input is kept.
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
