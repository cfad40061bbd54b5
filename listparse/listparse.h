// The FTP listing parser: one line of a LIST reply becomes one directory entry.
//
// Pure functions over bytes: no I/O, no allocation, no log. AnalizeFileInfo detects a line's layout, and
// ResolvFileInfo reads the line accordingly.
#pragma once

#include <cstddef>
#include <cstdint>

// A layout: its number in the low byte, flags above. 21 to 41 are the non-Unix layouts; all other numbers
// belong to the `ls -l` family.
using list_format_t = int32_t;

constexpr list_format_t LIST_FMT_UNKNOWN = -1;
constexpr list_format_t LIST_FMT_FLAG_NAME14 = 0x100; // the name ends at 14 characters
// A name ending in ".lnk" is a link, " -> " is part of a name.
constexpr list_format_t LIST_FMT_FLAG_LNK = 0x200;

constexpr size_t FILE_INFO_NAME_SIZE = 1025; // bytes of a name buffer, terminator included
constexpr size_t FILE_INFO_OWNER_SIZE = 41;  // bytes of an owner buffer, terminator included

// The date and time of a line. Missing members are 0; day_of_week, second and milliseconds always are.
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
constexpr int FILE_TYPE_DIRECTORY = 0; // or a link
constexpr int FILE_TYPE_FILE = 1;
constexpr int FILE_TYPE_NONE = -1; // not an entry

// The layout of `line`, or LIST_FMT_UNKNOWN. The line has no line end and must be writable: a blank after a
// separate type character is removed, and ResolvFileInfo needs the line in this form.
list_format_t AnalizeFileInfo(char *line);

// Reads `line` by `format` into the caller's storage: name[FILE_INFO_NAME_SIZE], owner[FILE_INFO_OWNER_SIZE],
// and one object each. Returns the entry type. An empty name means that the line could not be read. *size is
// in bytes, -1 when the line has none and 0 for a bad number. *attributes are permissions as hexadecimal
// digits (rwxr-xr-x is 0x755), 0 when missing; *is_link is 1 or 0; *valid has FILE_INFO_ bits.
int ResolvFileInfo(const char *line, list_format_t format, char *name, int64_t *size, file_time_t *time,
                   uint32_t *attributes, char *owner, uint32_t *is_link, uint32_t *valid);

// --- The helpers of both. Text is bytes; character classes are those of ASCII; fields are separated by runs
// of blanks ' ' (a tab is part of a field).

// 1 when ch is an ASCII digit, or equals a sym that is not 0; else 0.
int IsDigitSym(uint32_t ch, uint32_t sym);

// Reads a month: a name ("Jan", in any case), "3/15", or a number and the CJK character for month, optionally
// followed by a day. *month is 0 when there is none; *day is 0 when the field has none. A name is normalised
// in place ("JAN" becomes "Jan"). The field is searched as a substring of the twelve joined names, so "an"
// and an empty field are January.
void GetMonth(char *field, uint16_t *month, uint16_t *day);

// Copies field `index` (0 = first; leading blanks are skipped) into `out`, which must be as long as the line.
// With to_end 1 the field extends to the end of the line. Returns 1; or 0 with an empty `out` when the line
// has fewer fields. A line that ends in blanks has an empty last field. A negative index copies from the
// line's first byte.
int FindField(const char *line, char *out, int index, int to_end);

// The nine permission characters at `str` (without the type character) as hexadecimal digits: rwxr-xr-x is
// 0x755; s, S, t and T count 0x4000, 0x2000 and 0x1000. A shorter string is padded with '-'.
uint32_t AttrString2Value(const char *str);

// The whole string as a decimal number. 0 when anything follows the number, when it does not fit, or when
// errno was ERANGE before the call, because errno is not cleared first.
int64_t _atoi64(const char *str);

// Reads "12:34", an hour and minutes around the CJK character for hour, or "a:m" and "p:m", which are 00:00.
// Returns 1; or 0 with both outputs 0. 24 is an hour.
int GetHourAndMinute(const char *field, uint16_t *hour, uint16_t *minute);

// Checks whether the field is three numbers with separators (any byte except a digit): 1 for 2-2-2 digits;
// with allow9 1 also 1 for 2-2-3 and 2 for 3-2-2; otherwise 0. A sym that is not 0 counts as a digit.
int CheckYYMMDDformat(const char *field, unsigned char sym, int allow9);

// The number in the `ls -l` family of a line whose month was found `shift` fields (-2 to 2) from its usual
// place, or -1. base is -1 when the link count is attached to the permissions, otherwise 0; day is the day in
// the month field, 0 for none. buf, as long as the line, is not used. The daemon does not call this function;
// it is part of the parser's interface for other callers.
int CheckUnixType(const char *line, char *buf, int base, int shift, int day);
