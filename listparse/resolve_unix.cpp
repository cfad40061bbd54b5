#include "listparse/resolve.h"

#include <iterator>

enum date_order_t : int8_t {
    MONTH_FIRST,  // month, day, year or time
    DAY_IN_MONTH, // the same with the day inside the month field
    YEAR_FIRST,   // year, month, day; no time
};

// What a number of the `ls -l` family says about its lines: how far the fields from the size on lie from
// their common places, how the date stands, and which field is the owner.
struct unix_layout_t {
    int8_t offset;
    date_order_t order;
    int8_t owner;
};

constexpr unix_layout_t COMMON_LAYOUT = {0, MONTH_FIRST, 2};

constexpr unix_layout_t LAYOUTS_FROM_0[] = {
    {0, MONTH_FIRST, 2},   // 0
    {0, DAY_IN_MONTH, 2},  // 1
    {-1, MONTH_FIRST, 1},  // 2
    {-1, DAY_IN_MONTH, 1}, // 3
    {0, YEAR_FIRST, 2},    // 4
    {-1, YEAR_FIRST, 1},   // 5
    {-1, MONTH_FIRST, 2},  // 6
    {-1, DAY_IN_MONTH, 2}, // 7
    {-2, MONTH_FIRST, 1},  // 8
    {-2, DAY_IN_MONTH, 1}, // 9
    {-1, YEAR_FIRST, 2},   // 10
    {-2, YEAR_FIRST, 1},   // 11
    {-2, MONTH_FIRST, 1},  // 12
    {-2, DAY_IN_MONTH, 1}, // 13
    {-2, YEAR_FIRST, 2},   // 14
    {2, MONTH_FIRST, 2},   // 15
    {2, DAY_IN_MONTH, 2},  // 16
    {1, MONTH_FIRST, 1},   // 17
    {1, DAY_IN_MONTH, 1},  // 18
    {2, YEAR_FIRST, 2},    // 19
    {1, YEAR_FIRST, 1},    // 20
};

constexpr int SECOND_RANGE = 42;
constexpr unix_layout_t LAYOUTS_FROM_42[] = {
    {1, MONTH_FIRST, 2},  // 42
    {1, DAY_IN_MONTH, 2}, // 43
    {0, MONTH_FIRST, 1},  // 44
    {0, DAY_IN_MONTH, 1}, // 45
    {1, YEAR_FIRST, 2},   // 46
    {0, YEAR_FIRST, 1},   // 47
};

static const unix_layout_t &layout_of(int number)
{
    const size_t first = static_cast<size_t>(number);
    if (first < std::size(LAYOUTS_FROM_0))
        return LAYOUTS_FROM_0[first];
    const size_t second = first - SECOND_RANGE; // wraps below 42
    return second < std::size(LAYOUTS_FROM_42) ? LAYOUTS_FROM_42[second] : COMMON_LAYOUT;
}

static void read_year_first(const fields_t &fields, int year_at, file_time_t *time)
{
    time->year = to_u16(field(fields, year_at));
    time->month = to_u16(field(fields, year_at + 1));
    time->day = to_u16(field(fields, year_at + 2));
}

// The month's field may hold a whole date, "12-01-15". A line with a time has no year otherwise.
static void read_month_first(const fields_t &fields, int month_at, bool day_in_month, line_entry_t *entry)
{
    file_time_t &time = *entry->time;
    const field_t month_field = field(fields, month_at);
    const field_t time_field = field(fields, month_at + (day_in_month ? 1 : 2));
    const bool has_time = listparse_read_time(time_field, &time.hour, &time.minute);
    if (has_time)
        *entry->valid |= FILE_INFO_TIME;
    if (is_date(month_field)) {
        time.year = static_cast<uint16_t>(full_year(to_int(month_field)));
        time.month = to_u16(behind(month_field, 3));
        time.day = to_u16(behind(month_field, 6));
        return;
    }
    const month_day_t found = read_month(month_field);
    time.month = found.month;
    time.day = day_in_month ? found.day : to_u16(field(fields, month_at + 1));
    time.year = has_time ? 0 : to_u16(time_field);
}

// Cuts what the format's flags tell to cut. Returns the byte that stood behind 14 characters, NUL when there
// is none.
static char apply_name_flags(list_format_t format, line_entry_t *entry)
{
    constexpr size_t SHORT_NAME = 14;
    constexpr field_t LNK = ".lnk";
    field_t &name = entry->name;
    char byte14 = '\0';
    if ((format & LIST_FMT_FLAG_NAME14) != 0) {
        if (name.size() > SHORT_NAME) {
            byte14 = name[SHORT_NAME];
            name.remove_suffix(name.size() - SHORT_NAME);
        }
        while (name.size() > 1 && name.back() == ' ')
            name.remove_suffix(1);
    } else if ((format & LIST_FMT_FLAG_LNK) != 0) {
        if (name.ends_with(LNK)) {
            name.remove_suffix(LNK.size());
            *entry->is_link = 1;
        }
    } else if (const size_t arrow = name.find(" -> "); arrow != field_t::npos) {
        name.remove_suffix(name.size() - arrow);
    }
    return byte14;
}

static int type_of(char type, list_format_t format, char byte14, line_entry_t *entry)
{
    field_t &name = entry->name;
    switch (type) {
    case 'l':
        *entry->is_link = 1;
        [[fallthrough]];
    case 'd':
        if (name.ends_with('/') || name.ends_with('\\'))
            name.remove_suffix(1);
        return FILE_TYPE_DIRECTORY;
    case '-':
    case '+':
    case 'f':
        return (format & LIST_FMT_FLAG_NAME14) != 0 && byte14 != 'B' ? FILE_TYPE_NONE : FILE_TYPE_FILE;
    default:
        return FILE_TYPE_NONE;
    }
}

int listparse_resolve_unix(const char *line, list_format_t format, line_entry_t *entry)
{
    const unix_layout_t &layout = layout_of(format_number(format));
    const bool day_in_month = layout.order == DAY_IN_MONTH;
    const int size_at = layout.offset + 4;
    const int name_at = layout.offset + (day_in_month ? 7 : 8);
    fields_t fields;
    listparse_begin_line(&fields, line);
    find_fields(&fields, name_at);

    *entry->valid = FILE_INFO_DATE | FILE_INFO_SIZE | FILE_INFO_ATTR;
    *entry->attributes = listparse_read_permissions(behind(field(fields, 0), 1));
    entry->owner = field(fields, layout.owner);
    *entry->size = listparse_read_size(fields, size_at);
    if (layout.order == YEAR_FIRST)
        read_year_first(fields, size_at + 1, entry->time);
    else
        read_month_first(fields, size_at + 1, day_in_month, entry);
    if (!has_field(fields, name_at))
        return FILE_TYPE_NONE;
    entry->name = cut_name(field_to_end(fields, name_at));
    const char byte14 = apply_name_flags(format, entry);
    return type_of(*line, format, byte14, entry);
}
