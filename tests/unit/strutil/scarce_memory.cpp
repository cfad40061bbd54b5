#include "scarce_memory.h"

#include <cstdint>

static bool scarce_;
static size_t asked_;

extern "C" void *__real_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size)
{
    asked_ = size;
    // AddressSanitizer ends the program at a size that the C library refuses.
    return scarce_ || size > PTRDIFF_MAX ? nullptr : __real_malloc(size);
}

scarce_memory::scarce_memory() { scarce_ = true; }

scarce_memory::~scarce_memory() { scarce_ = false; }

size_t bytes_asked_for() { return asked_; }
