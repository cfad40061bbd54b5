#include "support/failing_heap.h"

#include <cstdint>
#include <gtest/gtest.h>

static int left_; // calls up to the one that fails; 0 = none will
static size_t asked_;

failing_heap::failing_heap(int nth) { left_ = nth; }

failing_heap::~failing_heap()
{
    EXPECT_EQ(left_, 0) << "calls short of the one that should have failed";
    left_ = 0;
}

static bool fails() { return left_ > 0 && --left_ == 0; }

size_t bytes_asked_for() { return asked_; }

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *p, size_t size);

// AddressSanitizer ends the program at a size that the C library refuses.
void *__wrap_malloc(size_t size)
{
    asked_ = size;
    return fails() || size > PTRDIFF_MAX ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size) { return fails() ? nullptr : __real_calloc(count, size); }

void *__wrap_realloc(void *p, size_t size) { return fails() ? nullptr : __real_realloc(p, size); }
}
