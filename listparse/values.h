// Readers of one field: dates, times and permissions. The public helpers are the same over
// NUL-terminated strings.
#pragma once

#include "listparse/numbers.h"

struct month_day_t {
    uint16_t month; // 0 = none
    uint16_t day;   // 0 = none
};

// As GetMonth, which folds, while this does not: "3/15" and the like, and names.
month_day_t listparse_read_numbered_month(field_t text);
month_day_t listparse_read_named_month(field_t text);
static inline month_day_t read_month(field_t text)
{
    return begins_with_digit(text) ? listparse_read_numbered_month(text) : listparse_read_named_month(text);
}

// As GetHourAndMinute and AttrString2Value.
bool listparse_read_time(field_t text, uint16_t *hour, uint16_t *minute);
uint32_t listparse_read_permissions(field_t text);

// Is the text as long as `shape`, with digits (or `sym`, unless it is 0) where that has '9' and anything but
// a digit where it has '-'?
bool listparse_has_shape(field_t text, field_t shape, char sym = '\0');

constexpr field_t SHAPE_2_2_2 = "99-99-99";
constexpr field_t SHAPE_2_2_3 = "99-99-999";
constexpr field_t SHAPE_3_2_2 = "999-99-99";
constexpr field_t SHAPE_4_2_2 = "9999-99-99";

// Has the text SHAPE_2_2_2, the commonest one?
static inline bool is_date(field_t text)
{
    constexpr uint64_t SEPARATORS = 0x0000800000800000;
    return text.size() == SHAPE_2_2_2.size() && other_than_digits(digits_of_word(text.data())) == SEPARATORS;
}

// As CheckYYMMDDformat with allow9: 0, 1 or 2.
int listparse_date_shape9(field_t text, char sym); // of nine characters
static inline int date_shape(field_t text) { return is_date(text) ? 1 : listparse_date_shape9(text, '\0'); }
