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
// *size is in bytes, -1 when the line gives none and 0 for a bad number. *attributes are permissions as
// hexadecimal digits, rwxr-xr-x is 0x755, 0 when not given; *is_link is 1 or 0; *valid has FILE_INFO_ bits.
int ResolvFileInfo(const char *line, list_format_t format, char *name, int64_t *size, file_time_t *time,
                   uint32_t *attributes, char *owner, uint32_t *is_link, uint32_t *valid);

// --- The helpers that both are made of. Text is bytes; character classes are ASCII's; a field lies between
// runs of the blank ' ' (a tab is part of a field).

// 1 when ch is an ASCII digit, or equals a sym that is not 0; else 0.
int IsDigitSym(uint32_t ch, uint32_t sym);

// Reads a month: a name ("Jan", any case), "3/15", or a number and the CJK character for month, with a day
// behind it or not. *month is 0 when there is none; *day is 0 when the field holds none. A name is folded in
// place ("JAN" becomes "Jan"). Names are searched as a substring of the twelve joined: "an" is January, so is
// an empty field.
void GetMonth(char *field, uint16_t *month, uint16_t *day);

// Copies field `index` (0 = first; blanks in front of it are skipped) into `out`, which is as long as the
// line. With to_end 1 the field runs to the end of the line. Returns 1; or 0 with an empty `out` when the
// line has fewer fields. A line that ends in blanks has an empty last field. A negative index copies from the
// line's first byte.
int FindField(const char *line, char *out, int index, int to_end);

// The nine permission characters at `str` (the type character is not among them) as hexadecimal digits:
// rwxr-xr-x is 0x755; s, S, t and T count 0x4000, 0x2000 and 0x1000. A shorter string is filled up with '-'.
uint32_t AttrString2Value(const char *str);

// The whole string as a decimal number. 0 when anything follows it, when it does not fit, or when errno was
// ERANGE before the call: errno is not cleared first.
int64_t _atoi64(const char *str);

// Reads "12:34", an hour and minutes around the CJK character for hour, or "a:m" and "p:m", which are 00:00.
// Returns 1; or 0 with both outputs 0. 24 is an hour.
int GetHourAndMinute(const char *field, uint16_t *hour, uint16_t *minute);

// Is the field three numbers with a separator between (any byte but a digit)? 1 for 2-2-2 digits; with allow9
// 1 also 1 for 2-2-3 and 2 for 3-2-2; else 0. A sym that is not 0 may stand for any digit.
int CheckYYMMDDformat(const char *field, unsigned char sym, int allow9);

// The number in the `ls -l` family of a line whose month was found `shift` fields (-2 to 2) from its common
// place, or -1. base is -1 when the link count is glued to the permissions, else 0; day is the day that the
// month field holds, 0 for none. buf is scratch as long as the line; it is not used. Nobody here calls this:
// it is for those who drive the parser from outside.
int CheckUnixType(const char *line, char *buf, int base, int shift, int day);
