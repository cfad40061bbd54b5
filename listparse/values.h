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
    const size_t most = text.size() < SAFE_DIGITS ? text.size() : SAFE_DIGITS;
    int value = 0;
    size_t digits = 0;
    for (; digits < most && is_digit(text[digits]); ++digits)
        value = value * 10 + (text[digits] - '0');
    if (digits == 0 || digits == SAFE_DIGITS)
        return static_cast<int>(read_number(text).value);
    return value;
}
inline uint16_t to_u16(field_t text) { return static_cast<uint16_t>(to_int(text)); }

// A field as _atoi64 reads it.
int64_t read_size(const fields_t &fields, int index);

// As GetMonth (which folds, this does not), GetHourAndMinute and AttrString2Value.
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

// Eight bytes as the values of digits, the first one lowest, and whether each is one: 0x80 for a byte that is
// none.
inline uint64_t digits_of_word(const char *bytes)
{
    constexpr uint64_t ZEROS = 0x3030303030303030;
    uint64_t word;
    memcpy(&word, bytes, sizeof word);
    return word ^ ZEROS;
}
inline uint64_t other_than_digits(uint64_t digits)
{
    constexpr uint64_t LOW_BITS = 0x7f7f7f7f7f7f7f7f;
    constexpr uint64_t ABOVE_9 = 0x7676767676767676; // carries into the top bit from 10 on
    return (((digits & LOW_BITS) + ABOVE_9) | digits) & ~LOW_BITS;
}

// Has the text SHAPE_2_2_2, the commonest one?
inline bool is_date(field_t text)
{
    constexpr uint64_t SEPARATORS = 0x0000800000800000;
    return text.size() == SHAPE_2_2_2.size() && other_than_digits(digits_of_word(text.data())) == SEPARATORS;
}

// The number of the two digits at `at`.
inline int two_digits(field_t text, size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); }

// As CheckYYMMDDformat with allow9: 0, 1 or 2.
int date_shape9(field_t text, char sym); // of nine characters
inline int date_shape(field_t text) { return is_date(text) ? 1 : date_shape9(text, '\0'); }
