#include "model.h"

#include <algorithm>

namespace model
{

using fields_t = std::vector<std::string>;

static bool has(const fields_t &fields, int index)
{
    return index >= 0 && fields.size() > static_cast<size_t>(index);
}

static bool is_day(const fields_t &fields, int index)
{
    int day = number(at(fields, index));
    return day >= 1 && day <= 31;
}

static bool is_year(const fields_t &fields, int index) { return number(at(fields, index)) >= 1900; }

static bool is_gb_month(const fields_t &fields, int index)
{
    std::string field = at(fields, index);
    int month = number(field);
    if (month < 1 || month > 12)
        return false;
    return field.size() > 1 && field.compare(month < 10 ? 1 : 2, 2, "\xD4\xC2") == 0;
}

struct column_t {
    int western;
    int western_day;
    int chinese;
    int chinese_day;
};

static column_t numbers_of(int base, int shift)
{
    bool glued = base == -1;
    switch (shift) {
    case 0:
        return glued ? column_t{2, 3, 5, 3} : column_t{0, 1, 4, 1};
    case -1:
        return glued ? column_t{8, 9, 11, 9} : column_t{6, 7, 10, 7};
    case -2:
        return {12, 13, 14, 13};
    case 2:
        return glued ? column_t{17, 18, 20, 18} : column_t{15, 16, 19, 16};
    default:
        return glued ? column_t{44, 45, 47, 45} : column_t{42, 43, 46, 43};
    }
}

int unix_number(const std::string &line, int base, int shift, int day)
{
    fields_t fields = split(line);
    column_t numbers = numbers_of(base, shift);
    int d = day != 0 ? -1 : 0;
    int s = base + shift;
    bool day_fits = day != 0 || is_day(fields, s + 6);
    uint16_t ignored;
    if (day_fits && (is_year(fields, s + 7 + d) || read_time(at(fields, s + 7 + d), &ignored, &ignored)) &&
        has(fields, s + 8 + d))
        return day != 0 ? numbers.western_day : numbers.western;
    if (is_day(fields, s + 7 + d) && is_year(fields, s + 5 + d) && is_gb_month(fields, s + 6 + d) &&
        has(fields, s + 8 + d))
        return day != 0 ? numbers.chinese_day : numbers.chinese;
    return -1;
}

static bool is_permissions(const std::string &nine)
{
    return (nine[0] == '-' || nine[0] == 'd') && nine.find_first_not_of("-rwx", 1) == std::string::npos;
}

// A number of the Unix family with its flags, or -1.
static int detect_unix(std::string *line)
{
    std::string first = at(split(*line), 0);
    bool detached = false;
    if (first.size() == 1) {
        if (first.find_first_of("-dDlL") == std::string::npos)
            return -1;
        std::string second = at(split(*line), 1);
        if (second.size() != 9 && !(second.size() > 9 && is_digit(second[9])))
            return -1;
        line->erase(1, 1);
        first = at(split(*line), 0);
        detached = true;
    }
    if (first.size() == 9) {
        if (!is_permissions(first))
            return -1;
        first += '-';
    }
    if (first.size() <= 9)
        return -1;
    int base = first.size() > 10 && is_digit(first[10]) ? -1 : 0;
    struct {
        int field;
        int shift;
    } const tries[] = {{7, 2}, {6, 0}, {6, 1}, {5, 0}, {4, -1}, {3, -2}};
    fields_t fields = split(*line);
    for (const auto &one : tries) {
        if (!has(fields, base + one.field))
            continue;
        std::string field = at(fields, base + one.field);
        uint16_t month;
        uint16_t day;
        read_month(&field, &month, &day);
        int found = month == 0 ? -1 : unix_number(*line, base, one.shift, day);
        if (found != -1)
            return found | 0x200 | (detached ? 0x100 : 0);
    }
    return -1;
}

static bool digit_first(const std::string &field) { return !field.empty() && is_digit(field[0]); }
static bool size_or_mark(const std::string &field)
{
    return digit_first(field) || (!field.empty() && field[0] == '<');
}
static bool shape8(const std::string &field) { return date_shape(field, 0, false) != 0; }
static bool shape9(const std::string &field) { return date_shape(field, 0, true) != 0; }

static bool loose_time(const std::string &field)
{
    return field.size() > 2 && is_digit(field[0]) && field.find(':') != std::string::npos;
}

static bool strict_time(const std::string &field)
{
    if (!loose_time(field))
        return false;
    if (!digit_first(field.substr(field.find(':') + 1)) && std::count(field.begin(), field.end(), ':') > 1)
        unsettled = true; // the rules do not say which of them is meant
    return digit_first(field.substr(field.find(':') + 1));
}

static bool digits_or_stars(const std::string &field)
{
    return digit_first(field) || field.find_first_not_of('*') == std::string::npos;
}

static bool is_long_date(const std::string &field)
{
    return field.size() == 10 && std::all_of(field.begin(), field.begin() + 4, is_digit) &&
           !is_digit(field[4]) && is_digit(field[5]) && is_digit(field[6]) && !is_digit(field[7]) &&
           is_digit(field[8]) && is_digit(field[9]);
}

static bool names_month(std::string field, bool with_day)
{
    uint16_t month;
    uint16_t day;
    read_month(&field, &month, &day);
    return month != 0 && (with_day || day == 0);
}

int detect(std::string *line)
{
    int format = detect_unix(line);
    if (format != -1)
        return format;
    fields_t all = split(*line);
    auto f = [&all](int index) { return at(all, index); };
    auto there = [&all](int index) { return has(all, index); };
    if (shape8(f(2)) && shape8(f(3)) && digit_first(f(1)) && there(5))
        return 26;
    if (date_shape(f(5), '*', false) != 0 && digits_or_stars(f(2)) && digits_or_stars(f(3)) &&
        f(0).size() == 4 && there(6))
        return 27;
    if (shape8(f(1)) && shape8(f(2)) && digit_first(f(5)) && there(6))
        return 29;
    if (strict_time(f(1)) && size_or_mark(f(2)) && there(3) && shape9(f(0)))
        return number(f(0)) >= 1 && number(f(0)) <= 12 ? 22 : 21;
    if (loose_time(f(3)) && size_or_mark(f(1)) && shape9(f(2)))
        return 23;
    if (is_long_date(f(0)) && shape8(f(1)) && size_or_mark(f(2)) && there(3))
        return 24;
    if (there(2) && names_month(f(2), false) && size_or_mark(f(1)) && strict_time(f(5)))
        return 28;
    if (strict_time(f(3)) && digit_first(f(1)) && shape9(f(2)) && there(4))
        return 30;
    if (f(0).size() == 10 && shape8(f(3)) && shape8(f(4)) && digit_first(f(2)) && there(5))
        return 33;
    if (f(0).size() == 10 && !shape8(f(3)) && shape8(f(1)) && shape8(f(2)) && there(3))
        return 32;
    if (size_or_mark(f(0)) && strict_time(f(5)) && there(3) && names_month(f(3), true) && digit_first(f(6)))
        return 37;
    if (shape8(f(1)) && digit_first(f(2)) && f(2).size() == 4 && digit_first(f(5)) && there(6))
        return 38;
    if (is_long_date(f(2)) && digit_first(f(1)) && digit_first(f(7)) && there(9))
        return 39;
    return -1;
}

} // namespace model
