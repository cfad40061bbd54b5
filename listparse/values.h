// Readers of one field: numbers, dates, times and permissions. The public helpers do the same for
// NUL-terminated strings. None of them blocks, allocates or keeps the text.
#pragma once

#include "listparse/fields.h"

// --- numbers

struct number_t {
    int64_t value;
    size_t length; // bytes read, 0 when there is no number
};

// The number at the start of the text as strtoll reads it in base 10: white space, a sign, digits; limited to
// its range with errno ERANGE. The same on every machine, also where long has 32 bits.
number_t listparse_read_number(field_t text);

// The number of digits at the start of a text, and their value, which is correct for at most
// SAFE_DIGITS digits.
constexpr size_t SAFE_DIGITS = 9;
struct digits_t {
    size_t count;
    int value;
};
static inline digits_t read_digits(field_t text)
{
    unsigned value = 0;
    size_t at = 0;
    for (; at < text.size() && is_digit(text[at]); ++at)
        value = value * 10 + static_cast<unsigned>(text[at] - '0');
    return {at, static_cast<int>(value)};
}

// As atoi: the number at the start of the text truncated to 32 or 16 bits, 0 when there is none.
static inline int to_int(field_t text)
{
    const digits_t digits = read_digits(text);
    if (digits.count == 0 || digits.count > SAFE_DIGITS)
        return static_cast<int>(listparse_read_number(text).value);
    return digits.value;
}
static inline uint16_t to_u16(field_t text) { return static_cast<uint16_t>(to_int(text)); }

// A size in bytes, or any whole number, as _atoi64 reads it: 0 when anything follows the number, when it does
// not fit, or when errno is ERANGE before the call.
int64_t listparse_read_size(field_t text);

// --- dates

enum date_order_t : int8_t {
    MONTH_FIRST,  // month, day, year or time
    DAY_IN_MONTH, // the same with the day inside the month field
    YEAR_FIRST,   // year, month, day; no time
};

struct date_t {
    int year, month, day; // the year with its century
};

struct month_day_t {
    uint16_t month; // 0 = none
    uint16_t day;   // 0 = none
};

// The parts of listparse_read_month; a month of 0 means none.
// For a text that begins with `digits` digits, at least one.
month_day_t listparse_read_marked_month(field_t text, size_t digits);
// For a name, searched in the twelve joined names.
uint16_t listparse_search_month(field_t text);
// For exactly "Jan" to "Dec".
uint16_t listparse_read_month_name(const char *three_letters);

// As GetMonth, but does not change the text. Nearly every text is a day, a year, a time or "Jan".
static inline month_day_t listparse_read_month(field_t text)
{
    const size_t digits = count_digits(text);
    if (digits > 0) {
        if (digits == text.size() || text[digits] == ':')
            return {0, 0};
        return listparse_read_marked_month(text, digits);
    }
    const uint16_t month = text.size() == 3 ? listparse_read_month_name(text.data()) : uint16_t{0};
    return {month != 0 ? month : listparse_search_month(text), 0};
}

// True if the text is as long as `shape`, with a digit (or `sym`, unless it is 0) where that has '9' and
// anything except a digit where it has '-'.
bool listparse_has_shape(field_t text, field_t shape, char sym = '\0');

constexpr field_t SHAPE_4_2_2 = "9999-99-99";

// True for "98-12-31" and the like, with any separators: dates, and times with seconds.
static inline bool is_date(field_t text)
{
    return text.size() == 8 && are_digits(text, 0) && !is_digit(text[2]) && are_digits(text, 3) &&
           !is_digit(text[5]) && are_digits(text, 6);
}

// The value of the two digits at `at`, which are not checked.
static inline int two_digits(field_t text, size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); }

// As CheckYYMMDDformat with allow9: 2-2-2 and 2-2-3 digits give 1, 3-2-2 give 2, anything else 0.
int listparse_date_shape9(field_t text, char sym); // of nine characters
static inline int date_shape(field_t text) { return is_date(text) ? 1 : listparse_date_shape9(text, '\0'); }

// The year of two digits, or of three counted from 1900 ("112" is 2012): below 60 it is 2000 + year,
// else 1900 + year.
static inline int full_year(int year) { return year + (year < 60 ? 2000 : 1900); }

// The three numbers of a date field in DOS style, MONTH_FIRST or YEAR_FIRST, with the full year; false, with
// *date unchanged, when it is not a date.
bool listparse_read_dos_date(field_t text, date_order_t order, date_t *date);

// --- times and permissions

// True if the text begins with "12:34" without a third digit, as nearly every time does.
static inline bool begins_with_time(field_t text)
{
    return text.size() >= 5 && are_digits(text, 0) && text[2] == ':' && are_digits(text, 3) &&
           (text.size() == 5 || !is_digit(text[5]));
}

// As GetHourAndMinute: true, or false with both outputs 0. The first takes any text; the second is the same
// and quick for the usual ones.
bool listparse_read_any_time(field_t text, uint16_t *hour, uint16_t *minute);
static inline bool listparse_read_time(field_t text, uint16_t *hour, uint16_t *minute)
{
    if (begins_with_time(text)) {
        const int hours = two_digits(text, 0);
        const int minutes = two_digits(text, 3);
        if (hours <= 24 && minutes < 60) {
            *hour = static_cast<uint16_t>(hours);
            *minute = static_cast<uint16_t>(minutes);
            return true;
        }
    }
    if (text.size() == 4 && are_digits(text, 0) && are_digits(text, 2)) { // a year
        *hour = 0;
        *minute = 0;
        return false;
    }
    return listparse_read_any_time(text, hour, minute);
}

// As AttrString2Value: the nine characters after the type, as hexadecimal digits; missing ones count as '-'.
uint32_t listparse_read_permissions(field_t text);
