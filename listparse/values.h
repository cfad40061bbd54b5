// Readers of one field: numbers, dates, times and permissions. The public helpers are the same over
// NUL-terminated strings.
#pragma once

#include "listparse/fields.h"

#include <cstdint>
#include <cstring>

struct month_day_t {
    uint16_t month; // 0 = none
    uint16_t day;   // 0 = none
};

// The number at the start of the text as strtoll reads it in base 10: white space, a sign, digits; cut to its
// range with errno ERANGE.
struct number_t {
    int64_t value;
    size_t length; // bytes read, 0 when there is no number
};
number_t read_number(field_t text);

// As atoi: the number cut to 32 bits, 0 when there is none. Up to nine digits, which always fit, take the
// short way.
inline int to_int(field_t text)
{
    constexpr size_t SAFE_DIGITS = 9;
    int value = 0;
    size_t digits = 0;
    for (; digits < text.size() && is_digit(text[digits]); ++digits) {
        if (digits == SAFE_DIGITS)
            return static_cast<int>(read_number(text).value);
        value = value * 10 + (text[digits] - '0');
    }
    return digits != 0 ? value : static_cast<int>(read_number(text).value);
}
inline uint16_t to_u16(field_t text) { return static_cast<uint16_t>(to_int(text)); }

// As _atoi64, GetMonth (which folds, this does not), GetHourAndMinute and AttrString2Value.
int64_t read_size(field_t text);
month_day_t read_month(field_t text);
bool read_time(field_t text, uint16_t *hour, uint16_t *minute);
uint32_t read_permissions(field_t text);

// Is the text as long as `shape`, with digits (or `sym`, unless it is 0) where that has '9' and anything but
// a digit where it has '-'?
bool has_shape(field_t text, field_t shape, char sym = '\0');

constexpr field_t SHAPE_2_2_2 = "99-99-99";
constexpr field_t SHAPE_2_2_3 = "99-99-999";
constexpr field_t SHAPE_3_2_2 = "999-99-99";
constexpr field_t SHAPE_4_2_2 = "9999-99-99";

// Has the text SHAPE_2_2_2, the commonest one? Tests its 8 bytes at once.
inline bool is_date(field_t text)
{
    constexpr uint64_t ZEROS = 0x3030303030303030;
    constexpr uint64_t LOW_BITS = 0x7f7f7f7f7f7f7f7f;
    constexpr uint64_t ABOVE_9 = 0x7676767676767676; // carries into the top bit from 10 on
    constexpr uint64_t SEPARATORS = 0x0000800000800000;
    uint64_t word;
    if (text.size() != sizeof word)
        return false;
    memcpy(&word, text.data(), sizeof word);
    const uint64_t digits = word ^ ZEROS;
    const uint64_t others =
        (((digits & LOW_BITS) + ABOVE_9) | digits) & ~LOW_BITS; // 0x80 for what is no digit
    return others == SEPARATORS;
}

// The number of the two digits at `at`.
inline int two_digits(field_t text, size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); }

// As CheckYYMMDDformat with allow9: 0, 1 or 2.
int date_shape(field_t text);
