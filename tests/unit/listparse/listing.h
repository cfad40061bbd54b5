// Drives the listing parser as the listing capture does, and guards what it writes.
#pragma once

#include "listparse/listparse.h"

#include <iosfwd>
#include <string>
#include <string_view>

// The marks of Japanese and Chinese dates, byte by byte. A literal behind one is joined to it, so "1"
// MONTH_UTF8 "15" is a month field.
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

struct date_given {
    int year;
    int month;
    int day;
    bool operator==(const date_given &) const = default;
};

struct time_given {
    int hour;
    int minute;
    bool operator==(const time_given &) const = default;
};

// What ResolvFileInfo made of a line. The defaults are what it leaves of a member that the line does not
// give.
struct entry_t {
    int type = FILE_TYPE_FILE;
    std::string name{};
    int64_t size = -1;
    date_given date{};
    time_given time{};
    uint32_t attributes = 0;
    std::string owner{};
    uint32_t is_link = 0;
    uint32_t valid = 0;
    bool operator==(const entry_t &) const = default;
};
void PrintTo(const entry_t &entry, std::ostream *out);

// Resolves a copy of the line that ends with its heap block, into outputs full of rubbish. A byte written
// behind name or owner, or a member left as it was found, fails the test. Starts with errno 0 unless told
// otherwise.
entry_t resolve(std::string_view line, list_format_t format, int stale_errno = 0);

// The layout of a copy of the line; *left gets the line as detection leaves it.
list_format_t detect(std::string_view line, std::string *left = nullptr);

// The permission string of most lines, and its value.
constexpr uint32_t RW_R_R = 0x644;

constexpr uint32_t ALL_GIVEN = FILE_INFO_DATE | FILE_INFO_TIME | FILE_INFO_SIZE | FILE_INFO_ATTR;
constexpr uint32_t ALL_BUT_TIME = FILE_INFO_DATE | FILE_INFO_SIZE | FILE_INFO_ATTR;
constexpr uint32_t DATE_TIME_SIZE = FILE_INFO_DATE | FILE_INFO_TIME | FILE_INFO_SIZE;
