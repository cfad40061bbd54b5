// A temporary directory for one scope.
#pragma once

#include "support/scratch.h"

struct temp_dir : scratch_t {
    // Writes a file; returns its path.
    std::string file(const std::string &name, const std::string &content) const
    {
        fill(*this / name, content);
        return *this / name;
    }
};
