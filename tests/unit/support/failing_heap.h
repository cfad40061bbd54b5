// Makes one chosen allocation fail. Wrap malloc, calloc and realloc.
#pragma once

#include "support/not_copied.h"

#include <cstddef>

// While one exists, the nth call of malloc, calloc or realloc by the code under test fails, once. Strings and
// containers of the test itself do not count: they use operator new.
class failing_heap : not_copied
{
public:
    explicit failing_heap(int nth);
    ~failing_heap(); // fails the test if there were fewer than n calls
};

// The size requested by the last malloc, successful or not.
size_t bytes_asked_for();
