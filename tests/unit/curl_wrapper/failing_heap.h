// Memory that runs out at a chosen moment.
#pragma once

// While one lives, the nth call of malloc, calloc or realloc by the code under test fails, once. Strings and
// containers of the test itself do not count: they are allocated by operator new.
class failing_heap
{
public:
    explicit failing_heap(int nth);
    ~failing_heap(); // the test fails when it has not come so far
    failing_heap(const failing_heap &) = delete;
    failing_heap &operator=(const failing_heap &) = delete;
};
