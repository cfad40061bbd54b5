#include "listparse/listparse.h"
#include "listparse/values.h"

#include <cstring>
#include <iterator>

// --- the `ls -l` family

// The number for each shift from the common place of the month, for a link count that stands alone or is
// glued to the permissions: month first or year first, each with a day of its own or in the month field.
constexpr int SHIFT_LEAST = -2;
constexpr struct {
    int8_t month_first, month_first_with_day, year_first, year_first_with_day;
} UNIX_NUMBERS[][2] = {
    // alone             glued
    {{12, 13, 14, 13}, {12, 13, 14, 13}}, // shift -2
    {{6, 7, 10, 7}, {8, 9, 11, 9}},       // shift -1
    {{0, 1, 4, 1}, {2, 3, 5, 3}},         // shift 0
    {{42, 43, 46, 43}, {44, 45, 47, 45}}, // shift 1
    {{15, 16, 19, 16}, {17, 18, 20, 18}}, // shift 2
};

// Where the month may stand, counted from `base`, in the order of trial, and the shifts that go with it.
constexpr int NO_SHIFT = SHIFT_LEAST - 1;
constexpr struct {
    int month, shifts[2];
} MONTH_TRIES[] = {
    {7, {2, NO_SHIFT}}, {6, {0, 1}}, {5, {0, NO_SHIFT}}, {4, {-1, NO_SHIFT}}, {3, {-2, NO_SHIFT}}};

static bool is_day(field_t text)
{
    const int day = to_int(text);
    return day >= 1 && day <= 31;
}

static bool is_year(field_t text) { return to_int(text) >= 1900; }

static bool is_year_or_time(field_t text)
{
    uint16_t hour, minute;
    return is_year(text) || listparse_read_time(text, &hour, &minute);
}

// A month's number and, right behind it, the GB2312 character for month.
static bool is_chinese_month(field_t text)
{
    const int month = to_int(text);
    if (month < 1 || month > 12)
        return false;
    return behind(text, month < 10 ? 1 : 2).starts_with("\xd4\xc2");
}

// `month` is the field of the month in a line of month, day, year or time.
static bool is_month_first(const fields_t &fields, int month, bool has_day)
{
    const int year = month + (has_day ? 1 : 2);
    return (has_day || is_day(field(fields, month + 1))) && is_year_or_time(field(fields, year)) &&
           has_field(fields, year + 1);
}

static bool is_year_first(const fields_t &fields, int year)
{
    return is_day(field(fields, year + 2)) && is_year(field(fields, year)) &&
           is_chinese_month(field(fields, year + 1)) && has_field(fields, year + 3);
}

static int unix_number(const fields_t &fields, int base, int shift, bool has_day)
{
    const size_t row = static_cast<size_t>(shift - SHIFT_LEAST);
    if (row >= std::size(UNIX_NUMBERS))
        return -1;
    const auto &numbers = UNIX_NUMBERS[row][base == 0 ? 0 : 1];
    const int date = base + shift + 5; // the first field of a date of three
    if (is_month_first(fields, date, has_day))
        return has_day ? numbers.month_first_with_day : numbers.month_first;
    if (is_year_first(fields, has_day ? date - 1 : date))
        return has_day ? numbers.year_first_with_day : numbers.year_first;
    return -1;
}

int CheckUnixType(const char *line, char *, int base, int shift, int day)
{
    fields_t fields;
    listparse_begin_line(&fields, line);
    find_fields(&fields, FIELDS_MOST - 1);
    return unix_number(fields, base == 0 ? 0 : -1, shift, day != 0);
}

static bool consists_of(field_t text, field_t letters)
{
    return text.find_first_not_of(letters) == field_t::npos;
}

// Takes out the byte at position 1, a blank unless blanks stand in front, when field 0 is a type character by
// itself and field 1 can be the permissions. Returns whether it did.
static bool join_type(char *line, const fields_t &fields)
{
    const field_t permissions = field(fields, 1);
    if (!consists_of(field(fields, 0), "-dDlL") || permissions.size() < 9)
        return false;
    if (permissions.size() > 9 && !is_digit(permissions[9]))
        return false;
    memmove(line + 1, line + 2, strlen(line + 2) + 1);
    return true;
}

// Type and permissions, of which the last may be missing.
static bool is_mode(field_t text)
{
    if (text.size() == 9)
        return (text[0] == '-' || text[0] == 'd') && consists_of(behind(text, 1), "-rwx");
    return text.size() > 9;
}

static list_format_t unix_format(char *line, fields_t *fields)
{
    list_format_t flags = LIST_FMT_FLAG_LNK;
    find_fields(fields, 2);
    if (field(*fields, 0).size() == 1) {
        if (!join_type(line, *fields))
            return LIST_FMT_UNKNOWN;
        listparse_begin_line(fields, line);
        find_fields(fields, 1);
        flags |= LIST_FMT_FLAG_NAME14;
    }
    const field_t mode = field(*fields, 0);
    if (!is_mode(mode))
        return LIST_FMT_UNKNOWN;
    const int base = begins_with_digit(behind(mode, 10)) ? -1 : 0; // is the link count glued to it?
    for (const auto &attempt : MONTH_TRIES) {
        const int month = base + attempt.month;
        find_fields(fields, month + 1);
        if (!has_field(*fields, month))
            continue;
        const month_day_t found = read_month(field(*fields, month));
        if (found.month == 0)
            continue;
        find_fields(fields, month + 3);
        for (const int shift : attempt.shifts) {
            const int number = unix_number(*fields, base, shift, found.day != 0);
            if (number != -1)
                return number | flags;
        }
    }
    return LIST_FMT_UNKNOWN;
}

// --- the other layouts

static bool is_date9(field_t text) { return date_shape(text) != 0; }
static bool is_long_date(field_t text) { return listparse_has_shape(text, SHAPE_4_2_2); }
static bool is_size_or_dir(field_t text) { return begins_with(text, '<') || begins_with_digit(text); }
static bool is_masked_number(field_t text) { return begins_with_digit(text) || consists_of(text, "*"); }

static bool has_hour_and_colon(field_t text)
{
    return text.size() > 2 && is_digit(text[0]) && find_colon(text) < text.size();
}

static bool is_time(field_t text)
{
    return text.size() > 2 && is_digit(text[0]) && begins_with_digit(behind(text, find_colon(text) + 1));
}

static bool is_26(const fields_t &f)
{
    return is_date(field(f, 2)) && is_date(field(f, 3)) && begins_with_digit(field(f, 1)) && has_field(f, 5);
}

static bool is_27(const fields_t &f)
{
    return field(f, 0).size() == 4 && listparse_has_shape(field(f, 5), SHAPE_2_2_2, '*') &&
           is_masked_number(field(f, 2)) && is_masked_number(field(f, 3)) && has_field(f, 6);
}

static bool is_29(const fields_t &f)
{
    return is_date(field(f, 1)) && is_date(field(f, 2)) && begins_with_digit(field(f, 5)) && has_field(f, 6);
}

static bool is_21_or_22(const fields_t &f)
{
    return is_time(field(f, 1)) && is_size_or_dir(field(f, 2)) && is_date9(field(f, 0)) && has_field(f, 3);
}

static bool is_22(const fields_t &f)
{
    if (!is_21_or_22(f))
        return false;
    const int first = to_int(field(f, 0));
    return first >= 1 && first <= 12;
}

static bool is_23(const fields_t &f)
{
    return has_hour_and_colon(field(f, 3)) && is_size_or_dir(field(f, 1)) && is_date9(field(f, 2));
}

static bool is_24(const fields_t &f)
{
    return is_long_date(field(f, 0)) && is_date(field(f, 1)) && is_size_or_dir(field(f, 2)) &&
           has_field(f, 3);
}

static bool is_28(const fields_t &f)
{
    if (!has_field(f, 2))
        return false;
    const month_day_t found = read_month(field(f, 2));
    return found.month != 0 && found.day == 0 && is_size_or_dir(field(f, 1)) && is_time(field(f, 5));
}

static bool is_30(const fields_t &f)
{
    return is_time(field(f, 3)) && begins_with_digit(field(f, 1)) && is_date9(field(f, 2)) && has_field(f, 4);
}

static bool is_33(const fields_t &f)
{
    return field(f, 0).size() == 10 && is_date(field(f, 3)) && is_date(field(f, 4)) &&
           begins_with_digit(field(f, 2)) && has_field(f, 5);
}

static bool is_32(const fields_t &f)
{
    return field(f, 0).size() == 10 && !is_date(field(f, 3)) && is_date(field(f, 1)) &&
           is_date(field(f, 2)) && has_field(f, 3);
}

static bool is_37(const fields_t &f)
{
    return is_size_or_dir(field(f, 0)) && is_time(field(f, 5)) && read_month(field(f, 3)).month != 0 &&
           begins_with_digit(field(f, 6));
}

static bool is_38(const fields_t &f)
{
    return is_date(field(f, 1)) && begins_with_digit(field(f, 2)) && field(f, 2).size() == 4 &&
           begins_with_digit(field(f, 5)) && has_field(f, 6);
}

static bool is_39(const fields_t &f)
{
    return is_long_date(field(f, 2)) && begins_with_digit(field(f, 1)) && begins_with_digit(field(f, 7)) &&
           has_field(f, 9);
}

// The first that holds is the line's layout. (23 takes every line that 30 would.)
static list_format_t other_format(const fields_t &f)
{
    return is_26(f)         ? 26
           : is_27(f)       ? 27
           : is_29(f)       ? 29
           : is_22(f)       ? 22
           : is_21_or_22(f) ? 21
           : is_23(f)       ? 23
           : is_24(f)       ? 24
           : is_28(f)       ? 28
           : is_30(f)       ? 30
           : is_33(f)       ? 33
           : is_32(f)       ? 32
           : is_37(f)       ? 37
           : is_38(f)       ? 38
           : is_39(f)       ? 39
                            : LIST_FMT_UNKNOWN;
}

list_format_t AnalizeFileInfo(char *line)
{
    fields_t fields;
    listparse_begin_line(&fields, line);
    const list_format_t format = unix_format(line, &fields);
    if (format != LIST_FMT_UNKNOWN)
        return format;
    find_fields(&fields, FIELDS_MOST - 1);
    return other_format(fields);
}
