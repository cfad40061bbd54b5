// The FTP listing parser: one line of a LIST reply becomes one directory entry.
//
// Pure functions over bytes: no I/O, no allocation, no log. AnalizeFileInfo tells a line's layout,
// ResolvFileInfo reads the line by it.
#pragma once

#include <cstddef>
#include <cstdint>

// A layout: its number in the low byte, flags above. 21 to 41 are the non-Unix layouts, every other number is
// one of the `ls -l` family.
using list_format_t = int32_t;

constexpr list_format_t LIST_FMT_UNKNOWN = -1;
constexpr list_format_t LIST_FMT_FLAG_NAME14 = 0x100; // the name ends at 14 characters
constexpr list_format_t LIST_FMT_FLAG_LNK =
    0x200; // a name ending in ".lnk" is a link, " -> " is part of a name

constexpr size_t FILE_INFO_NAME_SIZE = 1025; // bytes of a name buffer, terminator included
constexpr size_t FILE_INFO_OWNER_SIZE = 41;  // bytes of an owner buffer, terminator included

// What a line gave. A member it did not give is 0; day_of_week, second and milliseconds always are.
struct file_time_t {
    uint16_t year;
    uint16_t month; // 1 to 12
    uint16_t day_of_week;
    uint16_t day;  // 1 to 31
    uint16_t hour; // 0 to 24
    uint16_t minute;
    uint16_t second;
    uint16_t milliseconds;
};
static_assert(sizeof(file_time_t) == 16);

// Bits of `valid`: which members were taken from the line.
constexpr uint32_t FILE_INFO_DATE = 1; // year, month, day
constexpr uint32_t FILE_INFO_TIME = 2; // hour, minute
constexpr uint32_t FILE_INFO_SIZE = 4;
constexpr uint32_t FILE_INFO_ATTR = 8;

// Entry types, as ResolvFileInfo returns them.
constexpr int FILE_TYPE_DIRECTORY = 0; // a link too
constexpr int FILE_TYPE_FILE = 1;
constexpr int FILE_TYPE_NONE = -1; // not an entry

// The layout of `line`, or LIST_FMT_UNKNOWN. The line has no line end and must be writable: a blank behind a
// detached type character is taken out, and ResolvFileInfo must see the line as it is left.
list_format_t AnalizeFileInfo(char *line);

// Reads `line` by `format` into the caller's storage: name[FILE_INFO_NAME_SIZE], owner[FILE_INFO_OWNER_SIZE],
// and one object each. Returns the entry type. An empty name means that the line could not be read.
// Permissions come as hexadecimal digits: rwxr-xr-x is 0x755.
int ResolvFileInfo(const char *line, list_format_t format, char *name, int64_t *size, file_time_t *time,
                   uint32_t *attributes, char *owner, uint32_t *is_link, uint32_t *valid);
