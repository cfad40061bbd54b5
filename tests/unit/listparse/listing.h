// Calls the listing parser as the listing capture does and checks its writes.
#pragma once

#include "listparse/listparse.h"

#include <array>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <string_view>

// The marks of Japanese and Chinese dates, byte by byte, to be joined with literals: "1" MONTH_UTF8 "15" is a
// month field.
#define MONTH_SJIS "\x8C\x8E"
#define MONTH_JIS "7n" // its first byte is a digit
#define MONTH_EUC "\xB7\xEE"
#define MONTH_GB "\xD4\xC2"
#define MONTH_UTF8 "\xE6\x9C\x88"
#define DAY_SJIS "\x93\xFA"
#define DAY_EUC "\xC6\xFC"
#define DAY_GB "\xC8\xD5"
#define DAY_UTF8 "\xE6\x97\xA5"
#define HOUR_SJIS "\x8E\x9E"
#define HOUR_JIS ";~"
#define HOUR_EUC "\xBB\xFE"
#define HOUR_GB "\xCA\xB1"
#define HOUR_UTF8 "\xE6\x99\x82"
#define MINUTE_SJIS "\x95\xAA"
#define MINUTE_EUC "\xCA\xAC"
#define MINUTE_UTF8 "\xE5\x88\x86"

// The result of ResolvFileInfo. A new one has the values of members that the line does not give; each method
// sets one and its bit of `valid`: file("a").bytes(5).dated(2012, 1, 15).
struct entry_t {
    int type;
    std::string name;
    int64_t size = -1;
    std::array<int, 3> date{}; // year, month, day
    std::array<int, 2> time{}; // hour, minute
    uint32_t attributes = 0;
    std::string owner{};
    uint32_t is_link = 0;
    uint32_t valid = 0;

    bool operator==(const entry_t &) const = default;
    template <typename Value> entry_t with(Value entry_t::*member, Value value, uint32_t bit = 0) const
    {
        entry_t changed = *this;
        changed.*member = value;
        changed.valid |= bit;
        return changed;
    }
    entry_t bytes(int64_t given) const { return with(&entry_t::size, given, FILE_INFO_SIZE); }
    entry_t dated(int year, int month, int day) const
    {
        return with(&entry_t::date, {year, month, day}, FILE_INFO_DATE);
    }
    entry_t at(int hour, int minute) const { return with(&entry_t::time, {hour, minute}, FILE_INFO_TIME); }
    entry_t mode(uint32_t given) const { return with(&entry_t::attributes, given, FILE_INFO_ATTR); }
    entry_t owned(const std::string &by) const { return with(&entry_t::owner, by); }
    entry_t linked() const { return with(&entry_t::is_link, 1u); }
};
void PrintTo(const entry_t &entry, std::ostream *out);

inline entry_t file(const std::string &name) { return {FILE_TYPE_FILE, name}; }
inline entry_t directory(const std::string &name) { return {FILE_TYPE_DIRECTORY, name}; }
inline entry_t no_entry(const std::string &name = "") { return {FILE_TYPE_NONE, name}; }

// Resolves a copy of the line, which ends with its heap block, into outputs full of rubbish. A byte written
// past name or owner, or a member not set, fails the test. errno is `stale_errno` before.
entry_t resolve(std::string_view line, list_format_t format, int stale_errno = 0);

// The layout of a copy of the line; *left gets the line after detection.
list_format_t detect(std::string_view line, std::string *left = nullptr);

struct entry_row {
    const char *name;
    std::string line;
    list_format_t format;
    entry_t entry;
};
using entry_rows = std::initializer_list<entry_row>;

// Each line, resolved by its format, gives its entry.
void expect_entries(entry_rows rows);
// The same; each line is first detected as its format.
void expect_read(entry_rows rows);

using text_list = std::initializer_list<const char *>;

// Each line is detected as this format and not changed.
void expect_format(list_format_t format, text_list lines);
