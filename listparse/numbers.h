// Numbers in decimal digits, as the C library reads them, out of spans that end without a terminator.
#pragma once

#include "listparse/fields.h"

struct number_t {
    int64_t value;
    size_t length; // bytes read, 0 when there is no number
};

// The number at the start of the text as strtoll reads it in base 10: white space, a sign, digits; cut to its
// range with errno ERANGE. So it is on every machine, also where long has 32 bits.
number_t listparse_read_number(field_t text);

// As atoi: the number cut to 32 bits, 0 when there is none. Up to nine digits, which always fit, take the
// short way.
static inline int to_int(field_t text)
{
    constexpr size_t SAFE_DIGITS = 9;
    const size_t most = text.size() < SAFE_DIGITS ? text.size() : SAFE_DIGITS;
    int value = 0;
    size_t digits = 0;
    for (; digits < most && is_digit(text[digits]); ++digits)
        value = value * 10 + (text[digits] - '0');
    if (digits == 0 || digits == SAFE_DIGITS)
        return static_cast<int>(listparse_read_number(text).value);
    return value;
}
static inline uint16_t to_u16(field_t text) { return static_cast<uint16_t>(to_int(text)); }

// A field as _atoi64 reads it.
int64_t listparse_read_size(const fields_t &fields, int index);

// The number of the two digits at `at`.
static inline int two_digits(field_t text, size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); }

// Eight bytes as the values of digits, the first one lowest, and whether each is one: 0x80 for a byte that is
// none.
static inline uint64_t digits_of_word(const char *bytes)
{
    constexpr uint64_t ZEROS = 0x3030303030303030;
    uint64_t word;
    memcpy(&word, bytes, sizeof word);
    return word ^ ZEROS;
}
static inline uint64_t other_than_digits(uint64_t digits)
{
    constexpr uint64_t LOW_BITS = 0x7f7f7f7f7f7f7f7f;
    constexpr uint64_t ABOVE_9 = 0x7676767676767676; // carries into the top bit from 10 on
    return (((digits & LOW_BITS) + ABOVE_9) | digits) & ~LOW_BITS;
}
