// Makes one chosen allocation fail.
#pragma once

// While one exists, the nth call of malloc, calloc or realloc by the code under test fails, once. Strings and
// containers of the test itself do not count: they use operator new.
class failing_heap
{
public:
    explicit failing_heap(int nth);
    ~failing_heap(); // fails the test if there were fewer than n calls
    failing_heap(const failing_heap &) = delete;
    failing_heap &operator=(const failing_heap &) = delete;
};
