// Resolving one line: each family reads the line into an entry, which ResolvFileInfo returns.
#pragma once

#include "listparse/listparse.h"
#include "listparse/values.h"

#include <algorithm>

// The contents of a line: the storage passed to ResolvFileInfo, and name and owner as spans of the line.
struct line_entry_t {
    int64_t *size; // bytes
    file_time_t *time;
    uint32_t *attributes;
    uint32_t *is_link;
    uint32_t *valid;
    field_t name;
    field_t owner;
};

// Each reads a line from its first field by a given layout, which it does not check, and returns the entry
// type. Before the call *size is -1 and everything else in `entry` 0 or empty; `type` is the line's first
// byte. A line that cannot be read gives FILE_TYPE_NONE and an empty name.
int listparse_resolve_unix(fields_t &fields, list_format_t format, char type, line_entry_t *entry);
int listparse_resolve_dos(fields_t &fields, int number, line_entry_t *entry);   // 21 to 23
int listparse_resolve_dos24(fields_t &fields, line_entry_t *entry);             // 24
int listparse_resolve_other(fields_t &fields, int number, line_entry_t *entry); // 26 to 41

// How far a name extends: to the end of its field, or of the line.
enum name_extent_t : bool { ONE_FIELD, TO_END };

// Takes the name from field `at`, truncated to the size of the caller's buffer. False when the line has
// no such field.
static inline bool take_name(fields_t &fields, int at, name_extent_t extent, line_entry_t *entry)
{
    if (!has_field(fields, at))
        return false;
    const field_t name = extent == TO_END ? field_to_end(fields, at) : field(fields, at);
    entry->name = {name.data(), std::min(name.size(), FILE_INFO_NAME_SIZE - 1)};
    return true;
}

// Sets the date without checking its range, each number truncated to 16 bits.
static inline void set_date(const date_t &date, file_time_t *time)
{
    time->year = static_cast<uint16_t>(date.year);
    time->month = static_cast<uint16_t>(date.month);
    time->day = static_cast<uint16_t>(date.day);
}
