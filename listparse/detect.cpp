#include "listparse/layouts.h"
#include "listparse/listparse.h"
#include "listparse/values.h"

#include <cstring>

// Possible fields of the month when the link count has a field of its own, and one less when it is glued to
// the permissions; in the order of detection, with their shifts.
constexpr int NO_SHIFT = -3;
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
    return listparse_read_time(text, &hour, &minute) || is_year(text);
}

// A month's number, directly followed by the GB2312 character for month.
static bool is_chinese_month(field_t text)
{
    const int month = to_int(text);
    if (month < 1 || month > 12)
        return false;
    return behind(text, month < 10 ? 1 : 2).starts_with("\xd4\xc2");
}

// `month` is the field of the month in a line of month, day, year or time.
static bool is_month_first(fields_t &fields, int month, bool has_day)
{
    const int year = month + (has_day ? 1 : 2);
    return (has_day || is_day(field(fields, month + 1))) && is_year_or_time(field(fields, year)) &&
           has_field(fields, year + 1);
}

static bool is_year_first(fields_t &fields, int year)
{
    return is_day(field(fields, year + 2)) && is_year(field(fields, year)) &&
           is_chinese_month(field(fields, year + 1)) && has_field(fields, year + 3);
}

// has_day: the month's field holds a day.
static int unix_number(fields_t &fields, links_t links, int shift, bool has_day)
{
    const int date = (links == GLUED ? 4 : 5) + shift; // the first field of a date of three
    const date_order_t if_day_apart = is_month_first(fields, date, has_day) ? MONTH_FIRST : YEAR_FIRST;
    if (if_day_apart == YEAR_FIRST && !is_year_first(fields, has_day ? date - 1 : date))
        return -1;
    return listparse_unix_number(shift, links, has_day ? DAY_IN_MONTH : if_day_apart);
}

int CheckUnixType(const char *line, char *, int base, int shift, int day)
{
    if (shift < -2 || shift > 2)
        return -1;
    fields_t fields;
    begin_line(&fields, line);
    return unix_number(fields, base == 0 ? ALONE : GLUED, shift, day != 0);
}

static bool consists_of(field_t text, field_t letters)
{
    return text.find_first_not_of(letters) == field_t::npos;
}

// Removes the byte at position 1 when field 0 is only a type character and field 1 can be the permissions.
// Usually that is the blank between them; a line with leading blanks loses another byte. Returns whether it
// did.
static bool join_type(char *line, fields_t &fields)
{
    const field_t permissions = field(fields, 1);
    if (!consists_of(field(fields, 0), "-dDlL") || permissions.size() < 9)
        return false;
    if (permissions.size() > 9 && !is_digit(permissions[9]))
        return false;
    memmove(line + 1, line + 2, strlen(line + 2) + 1);
    return true;
}

// Type and permissions; the last permission may be missing.
static bool is_mode(field_t text)
{
    if (text.size() == 9)
        return (text[0] == '-' || text[0] == 'd') && consists_of(behind(text, 1), "-rwx");
    return text.size() > 9;
}

static list_format_t unix_format(char *line, fields_t *fields)
{
    list_format_t flags = LIST_FMT_FLAG_LNK;
    if (field(*fields, 0).size() == 1) {
        if (!join_type(line, *fields))
            return LIST_FMT_UNKNOWN;
        begin_line(fields, line);
        flags |= LIST_FMT_FLAG_NAME14;
    }
    const field_t mode = field(*fields, 0);
    if (!is_mode(mode))
        return LIST_FMT_UNKNOWN;
    const links_t links = mode.size() > 10 && is_digit(mode[10]) ? GLUED : ALONE;
    listparse_find(fields, MONTH_TRIES[0].month);
    for (const auto &attempt : MONTH_TRIES) {
        const int month = attempt.month - (links == GLUED ? 1 : 0);
        if (!has_field(*fields, month))
            continue;
        const month_day_t found = listparse_read_month(field(*fields, month));
        if (found.month == 0)
            continue;
        for (const int shift : attempt.shifts) {
            const int number = shift == NO_SHIFT ? -1 : unix_number(*fields, links, shift, found.day != 0);
            if (number != -1)
                return number | flags;
        }
    }
    return LIST_FMT_UNKNOWN;
}

list_format_t AnalizeFileInfo(char *line)
{
    fields_t fields;
    begin_line(&fields, line);
    const list_format_t format = unix_format(line, &fields);
    return format != LIST_FMT_UNKNOWN ? format : listparse_other_number(fields);
}
