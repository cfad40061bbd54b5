#include "model.h"

#include <algorithm>

namespace model
{

static bool begins(const std::string &field, const char *letters)
{
    return !field.empty() && std::string(letters).find(field[0]) != std::string::npos;
}

// A number of up to four digits; -1 for anything else, where the rules do not say whether it is a number.
static int plain_number(const std::string &text)
{
    // Always called, for its side effect: after a number too large the result is unsettled, because it sets
    // errno and the rules leave open whether the size was read before.
    int value = number(text);
    return text.empty() || text.size() > 4 || !std::all_of(text.begin(), text.end(), is_digit) ? -1 : value;
}

static void give_date(int year, int month, int day, entry_t *entry)
{
    entry->date_open = year < 0 || month < 0 || day < 0;
    if (month < 1 || month > 12 || day < 1 || day > 31)
        return;
    entry->year = static_cast<uint16_t>(year);
    entry->month = static_cast<uint16_t>(month);
    entry->day = static_cast<uint16_t>(day);
    entry->valid |= 1;
}

static void give_time(int hour, int minute, entry_t *entry)
{
    entry->time_open = hour < 0 || minute < 0;
    if (hour > 24 || minute > 59)
        return;
    entry->hour = static_cast<uint16_t>(hour);
    entry->minute = static_cast<uint16_t>(minute);
    entry->valid |= 2;
}

struct numbers_t {
    int first;
    int second;
    int third;
};

static numbers_t three_numbers(const std::string &eight)
{
    return {plain_number(eight.substr(0, 2)), plain_number(eight.substr(3, 2)),
            plain_number(eight.substr(6, 2))};
}

static void year_month_day(const std::string &eight, entry_t *entry)
{
    numbers_t n = three_numbers(eight);
    give_date(full_year(n.first), n.second, n.third, entry);
}

// Separator and numbers give the order.
static void date_of_any_order(const std::string &eight, entry_t *entry)
{
    numbers_t n = three_numbers(eight);
    if (eight[2] == '.')
        give_date(full_year(n.third), n.second, n.first, entry);
    else if (n.second > 12 || n.third > 31)
        give_date(full_year(n.third), n.first, n.second, entry);
    else
        give_date(full_year(n.first), n.second, n.third, entry);
}

static void named_date(std::string month_field, const std::string &day, const std::string &year,
                       entry_t *entry)
{
    uint16_t month;
    uint16_t ignored;
    read_month(&month_field, &month, &ignored);
    give_date(plain_number(year), month, plain_number(day), entry);
}

static void time_with_seconds(const std::string &eight, entry_t *entry)
{
    give_time(plain_number(eight.substr(0, 2)), plain_number(eight.substr(3, 2)), entry);
}

static void short_time(const std::string &field, entry_t *entry)
{
    size_t colon = field.find(':');
    give_time(plain_number(field.substr(0, colon)), plain_number(field.substr(colon + 1)), entry);
}

static void four_digit_time(const std::string &field, entry_t *entry)
{
    give_time(plain_number(field.substr(0, 2)), plain_number(field.substr(2)), entry);
}

static void give_size(const std::string &field, entry_t *entry)
{
    entry->size = begins(field, "<") ? 0 : whole_number(field);
    entry->valid |= 4;
}

static void give_permissions(const std::string &first, entry_t *entry)
{
    entry->attributes = permissions(first.substr(1));
    entry->valid |= 8;
}

static bool is_starred_directory(const std::string &type)
{
    return type == "*DIR" || type == "*LIB" || type == "*FLR" || type == "*DDIR";
}

// Reads all but the name; true if the line is a directory.
static bool read_columns(const std::vector<std::string> &f, int format, entry_t *entry)
{
    switch (format) {
    case 26:
        entry->owner = at(f, 0).substr(0, 40);
        give_size(at(f, 1), entry);
        date_of_any_order(at(f, 2), entry);
        time_with_seconds(at(f, 3), entry);
        return is_starred_directory(at(f, 4));
    case 27:
        if (at(f, 5).find('*') == std::string::npos)
            year_month_day(at(f, 5), entry);
        return at(f, 4) == "PO";
    case 28:
        give_size(at(f, 1), entry);
        named_date(at(f, 2), at(f, 3), at(f, 4), entry);
        short_time(at(f, 5), entry);
        return begins(at(f, 1), "<");
    case 29:
        give_size(at(f, 5), entry);
        year_month_day(at(f, 1), entry);
        time_with_seconds(at(f, 2), entry);
        return begins(at(f, 0), "dD");
    case 32:
        year_month_day(at(f, 1), entry);
        time_with_seconds(at(f, 2), entry);
        give_permissions(at(f, 0), entry);
        return begins(at(f, 0), "d");
    case 33:
        entry->owner = at(f, 1).substr(0, 40);
        give_size(at(f, 2), entry);
        year_month_day(at(f, 3), entry);
        time_with_seconds(at(f, 4), entry);
        give_permissions(at(f, 0), entry);
        return begins(at(f, 0), "d");
    case 37:
        give_size(at(f, 0), entry);
        named_date(at(f, 3), at(f, 4), at(f, 6), entry);
        short_time(at(f, 5), entry);
        return begins(at(f, 0), "<");
    case 38:
        entry->owner = at(f, 0).substr(0, 40);
        give_size(at(f, 5), entry);
        year_month_day(at(f, 1), entry);
        four_digit_time(at(f, 2), entry);
        return begins(at(f, 3), "dD");
    default: // 39
        give_date(number(at(f, 2)), plain_number(at(f, 2).substr(5, 2)), plain_number(at(f, 2).substr(8, 2)),
                  entry);
        return at(f, 8).starts_with("PO");
    }
}

// A layout of detection other than those of the Unix family and 21 to 24.
entry_t resolve_table(const std::string &line, int format)
{
    // of 26 to 39
    constexpr size_t NAME_FIELDS[] = {5, 6, 0, 6, 0, 0, 3, 5, 0, 0, 0, 7, 6, 9};
    std::vector<std::string> fields = split(line);
    entry_t entry;
    bool directory = read_columns(fields, format, &entry);
    if (format == 28)
        entry.name = fields[0];
    else if (!rest_from(line, NAME_FIELDS[format - 26], &entry.name))
        return entry;
    if (format == 26 && entry.name.ends_with('/')) {
        entry.name.pop_back();
        directory = true;
    }
    if (entry.name.empty())
        unsettled = true; // an empty name: missing or not
    entry.type = directory ? 0 : 1;
    return entry;
}

} // namespace model
