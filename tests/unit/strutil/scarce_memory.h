// Memory that runs out: malloc of the code under test fails while one of these lives.
#pragma once

#include <cstddef>

struct scarce_memory {
    scarce_memory();
    ~scarce_memory();
    scarce_memory(const scarce_memory &) = delete;
    scarce_memory &operator=(const scarce_memory &) = delete;
};

// The bytes that the last call of malloc asked for, granted or not.
size_t bytes_asked_for();
