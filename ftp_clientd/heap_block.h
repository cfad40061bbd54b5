// A malloc'ed block that is freed at the end of its scope.
#pragma once

#include <cstdlib>
#include <memory>

struct heap_free {
    void operator()(void *block) const { free(block); }
};
using heap_block = std::unique_ptr<void, heap_free>;
