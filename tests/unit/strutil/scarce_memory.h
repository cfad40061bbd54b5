// While one exists, malloc by the code under test fails.
#pragma once

#include <cstddef>

struct scarce_memory {
    scarce_memory();
    ~scarce_memory();
    scarce_memory(const scarce_memory &) = delete;
    scarce_memory &operator=(const scarce_memory &) = delete;
};

// The size requested by the last malloc, successful or not.
size_t bytes_asked_for();
