// How one line is resolved: each family reads the line into an entry, the entry point hands it out.
#pragma once

#include "listparse/listparse.h"
#include "listparse/values.h"

// What a line gave: the caller's storage, and name and owner as spans of the line.
struct line_entry_t {
    int64_t *size; // bytes
    file_time_t *time;
    uint32_t *attributes;
    uint32_t *is_link;
    uint32_t *valid;
    field_t name;
    field_t owner;
};

// The layout's number without the flags, 0 to 255.
static inline int format_number(list_format_t format) { return format & 0xff; }

// Each returns the entry type. A line that cannot be read gives FILE_TYPE_NONE and an empty name.
int listparse_resolve_unix(const char *line, list_format_t format, line_entry_t *entry);
int listparse_resolve_dos(const char *line, int number, line_entry_t *entry);   // 21 to 23
int listparse_resolve_dos24(const char *line, line_entry_t *entry);             // 24
int listparse_resolve_other(const char *line, int number, line_entry_t *entry); // 26 to 41

// A name ends at the longest that the caller's buffer holds.
static inline field_t cut_name(field_t name)
{
    return name.size() < FILE_INFO_NAME_SIZE ? name : field_t(name.data(), FILE_INFO_NAME_SIZE - 1);
}

// A year of two digits (or three, "112"): below 60 it lies after 2000.
static inline int full_year(int year) { return year + (year < 60 ? 2000 : 1900); }

// The three numbers of a date field as DOS writes them, the year full; false when it is no date.
struct date_t {
    int year, month, day;
};
bool listparse_read_dos_date(field_t text, bool year_first, date_t *date);
