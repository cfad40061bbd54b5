// A listing parser in place of the real one, whose results the test chooses. A line that begins with '?' has
// no known layout, one with '!' cannot be read; of every other line the name is the whole line.
#pragma once

#include "listparse/listparse.h"
#include "support/not_copied.h"

#include <string>
#include <vector>

struct fake_parser : not_copied {
    fake_parser();
    ~fake_parser();

    list_format_t format = 5;
    int type = FILE_TYPE_FILE;
    int64_t size = 0;
    file_time_t time{};
    uint32_t attributes = 0;
    std::string owner;
    uint32_t is_link = 0;
    uint32_t valid = 0;
    bool takes_blank_out = false; // removes a blank at position 1, as the real one after a detached type

    std::vector<list_format_t> resolved;
};
