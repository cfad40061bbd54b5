#include "listparse/resolve.h"

// Every layout of 26 to 39 as a row: which field holds what, and how that field is read. A date or time that
// is out of range is left out; the line still gives an entry.

constexpr int8_t NO_FIELD = -1;

namespace
{

struct three_numbers_t {
    int first, second, third;
};

struct columns_t {
    int number;
    int8_t name;
    name_extent_t extent;
    int8_t size;
    struct {
        int8_t at;
        bool (*read)(fields_t &fields, int at, date_t *date);
    } date;
    struct {
        int8_t at;
        bool (*read)(field_t text, uint16_t *hour, uint16_t *minute);
    } time;
    struct {
        int8_t at;
        bool (*is_directory)(field_t type);
    } type;
    int8_t owner = NO_FIELD;
    bool has_permissions = false;    // in field 0
    bool slash_is_directory = false; // a name that ends in '/' is a directory's; the slash is cut off
};

} // namespace

// --- dates

static bool read_three_numbers(field_t text, three_numbers_t *numbers)
{
    if (!is_date(text))
        return false;
    *numbers = {to_int(text), to_int(behind(text, 3)), to_int(behind(text, 6))};
    return true;
}

static bool read_year_first(fields_t &fields, int at, date_t *date)
{
    three_numbers_t numbers;
    if (!read_three_numbers(field(fields, at), &numbers))
        return false;
    *date = {full_year(numbers.first), numbers.second, numbers.third};
    return true;
}

static bool read_unless_masked(fields_t &fields, int at, date_t *date)
{
    return field(fields, at).find('*') == field_t::npos && read_year_first(fields, at, date);
}

// Guesses the order: "31.12.98" by its dots, "12/31/98" by the number that cannot be a month or day.
static bool read_guessed_order(fields_t &fields, int at, date_t *date)
{
    const field_t text = field(fields, at);
    three_numbers_t numbers;
    if (!read_three_numbers(text, &numbers))
        return false;
    const auto [first, second, third] = numbers;
    if (text[2] == '.')
        *date = {full_year(third), second, first};
    else if (second > 12 || third > 31)
        *date = {full_year(third), first, second};
    else
        *date = {full_year(first), second, third};
    return true;
}

static bool read_month_first(fields_t &fields, int at, date_t *date)
{
    return listparse_read_dos_date(field(fields, at), MONTH_FIRST, date);
}

static bool read_long_date(fields_t &fields, int at, date_t *date)
{
    const field_t text = field(fields, at);
    if (!listparse_has_shape(text, SHAPE_4_2_2))
        return false;
    *date = {to_int(text), to_int(behind(text, 5)), to_int(behind(text, 8))};
    return true;
}

static bool read_spread(fields_t &fields, int month_at, int year_at, date_t *date)
{
    const field_t year = field(fields, year_at);
    *date = {to_u16(year), listparse_read_month(field(fields, month_at)).month,
             to_u16(field(fields, month_at + 1))};
    return begins_with_digit(year);
}

static bool read_month_day_year(fields_t &fields, int at, date_t *date)
{
    return read_spread(fields, at, at + 2, date);
}

static bool read_month_day_time_year(fields_t &fields, int at, date_t *date)
{
    return read_spread(fields, at, at + 3, date);
}

// --- times

static bool is_time_of_day(int hour, int minute) { return hour <= 24 && minute < 60; }

// HH:MM:SS with any separators, or as GetHourAndMinute reads a time in digits.
static bool read_clock(field_t text, uint16_t *hour, uint16_t *minute)
{
    if (!is_date(text))
        return begins_with_digit(text) && listparse_read_time(text, hour, minute);
    *hour = to_u16(text);
    *minute = to_u16(behind(text, 3));
    return is_time_of_day(*hour, *minute);
}

static bool read_hhmm(field_t text, uint16_t *hour, uint16_t *minute)
{
    if (!listparse_has_shape(text, "9999"))
        return false;
    *hour = static_cast<uint16_t>(to_int(text) / 100);
    *minute = static_cast<uint16_t>(to_int(text) % 100);
    return is_time_of_day(*hour, *minute);
}

// --- directories

static bool begins_with_angle(field_t type) { return begins_with(type, '<'); }
static bool begins_with_d(field_t type) { return begins_with(type, 'd'); }
static bool begins_with_d_or_D(field_t type) { return begins_with(type, 'd') || begins_with(type, 'D'); }
static bool is_po(field_t type) { return type == "PO"; }
static bool begins_with_po(field_t type) { return type.starts_with("PO"); }

static bool is_container(field_t type)
{
    return type == "*DIR" || type == "*LIB" || type == "*FLR" || type == "*DDIR";
}

constexpr decltype(columns_t::time) NO_TIME{NO_FIELD, nullptr};
constexpr decltype(columns_t::type) ALL_FILES{NO_FIELD, nullptr};

// number, name, extent, size, date, time, type, owner, has_permissions, slash_is_directory
constexpr columns_t COLUMNS[] = {
    {26, 5, TO_END, 1, {2, read_guessed_order}, {3, read_clock}, {4, is_container}, 0, false, true},
    {27, 6, TO_END, NO_FIELD, {5, read_unless_masked}, NO_TIME, {4, is_po}},
    {28, 0, ONE_FIELD, 1, {2, read_month_day_year}, {5, read_clock}, {1, begins_with_angle}},
    {29, 6, TO_END, 5, {1, read_year_first}, {2, read_clock}, {0, begins_with_d_or_D}},
    {30, 4, TO_END, 1, {2, read_month_first}, {3, read_clock}, ALL_FILES},
    {32, 3, TO_END, NO_FIELD, {1, read_year_first}, {2, read_clock}, {0, begins_with_d}, NO_FIELD, true},
    {33, 5, TO_END, 2, {3, read_year_first}, {4, read_clock}, {0, begins_with_d}, 1, true},
    {37, 7, TO_END, 0, {3, read_month_day_time_year}, {5, read_clock}, {0, begins_with_angle}},
    {38, 6, TO_END, 5, {1, read_year_first}, {2, read_hhmm}, {3, begins_with_d_or_D}, 0},
    {39, 9, TO_END, NO_FIELD, {2, read_long_date}, NO_TIME, {8, begins_with_po}},
};

// --- one line

static void take_date(fields_t &fields, const columns_t &layout, line_entry_t *entry)
{
    date_t date;
    if (!layout.date.read(fields, layout.date.at, &date))
        return;
    if (date.month < 1 || date.month > 12 || date.day < 1 || date.day > 31)
        return;
    set_date(date, entry->time);
    *entry->valid |= FILE_INFO_DATE;
}

static void take_time(fields_t &fields, const columns_t &layout, line_entry_t *entry)
{
    uint16_t hour, minute;
    if (layout.time.read == nullptr || !layout.time.read(field(fields, layout.time.at), &hour, &minute))
        return;
    entry->time->hour = hour;
    entry->time->minute = minute;
    *entry->valid |= FILE_INFO_TIME;
}

static void take_size_and_permissions(fields_t &fields, const columns_t &layout, line_entry_t *entry)
{
    if (layout.size != NO_FIELD && has_field(fields, layout.size)) {
        *entry->size = listparse_read_size(field(fields, layout.size));
        *entry->valid |= FILE_INFO_SIZE;
    }
    if (layout.has_permissions) {
        *entry->attributes = listparse_read_permissions(behind(field(fields, 0), 1));
        *entry->valid |= FILE_INFO_ATTR;
    }
}

static int take_type(fields_t &fields, const columns_t &layout, line_entry_t *entry)
{
    bool directory =
        layout.type.is_directory != nullptr && layout.type.is_directory(field(fields, layout.type.at));
    if (layout.slash_is_directory && entry->name.ends_with('/')) {
        entry->name.remove_suffix(1);
        directory = true;
    }
    return directory ? FILE_TYPE_DIRECTORY : FILE_TYPE_FILE;
}

static int resolve_by(const columns_t &layout, fields_t &fields, line_entry_t *entry)
{
    // The size first: an overlong number that was read earlier would leave errno at ERANGE, which makes a
    // size 0.
    take_size_and_permissions(fields, layout, entry);
    take_date(fields, layout, entry);
    take_time(fields, layout, entry);
    if (layout.owner != NO_FIELD)
        entry->owner = field(fields, layout.owner);
    if (!take_name(fields, layout.name, layout.extent, entry))
        return FILE_TYPE_NONE;
    return take_type(fields, layout, entry);
}

int listparse_resolve_other(fields_t &fields, int number, line_entry_t *entry)
{
    for (const auto &layout : COLUMNS) {
        if (layout.number == number)
            return resolve_by(layout, fields, entry);
    }
    return FILE_TYPE_NONE;
}
