// Owns a heap string for one scope.
#pragma once

#include <cstdlib>
#include <memory>

struct free_deleter {
    void operator()(void *p) const { free(p); }
};
using heap_string = std::unique_ptr<char, free_deleter>;
