#include "listparse/layouts.h"
#include "listparse/resolve.h"

static date_t read_year_first(fields_t &fields, int year_at)
{
    return {to_int(field(fields, year_at)), to_int(field(fields, year_at + 1)),
            to_int(field(fields, year_at + 2))};
}

// The month's field may hold a whole date, "12-01-15". A line with a time has no year otherwise.
static date_t read_month_first(fields_t &fields, int month_at, bool day_in_month, line_entry_t *entry)
{
    const field_t month_field = field(fields, month_at);
    const field_t time_field = field(fields, month_at + (day_in_month ? 1 : 2));
    const bool has_time = listparse_read_time(time_field, &entry->time->hour, &entry->time->minute);
    if (has_time)
        *entry->valid |= FILE_INFO_TIME;
    if (is_date(month_field))
        return {full_year(to_int(month_field)), to_int(behind(month_field, 3)),
                to_int(behind(month_field, 6))};
    const month_day_t found = listparse_read_month(month_field);
    const int day = day_in_month ? found.day : to_int(field(fields, month_at + 1));
    return {has_time ? 0 : to_int(time_field), found.month, day};
}

// Truncates the name according to the format's flags. Returns the byte after 14 characters, NUL if
// there is none.
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

int listparse_resolve_unix(fields_t &fields, list_format_t format, char type, line_entry_t *entry)
{
    const unix_layout_t &layout = listparse_unix_layout(format & 0xff);
    const bool day_in_month = layout.order == DAY_IN_MONTH;
    const int size_at = 4 + layout.shift - (layout.links == GLUED ? 1 : 0);
    const int name_at = size_at + (day_in_month ? 3 : 4);

    listparse_find(&fields, name_at - 1);
    *entry->valid = FILE_INFO_DATE | FILE_INFO_SIZE | FILE_INFO_ATTR;
    *entry->attributes = listparse_read_permissions(behind(field(fields, 0), 1));
    entry->owner = field(fields, layout.owner);
    *entry->size = listparse_read_size(field(fields, size_at));
    set_date(layout.order == YEAR_FIRST ? read_year_first(fields, size_at + 1)
                                        : read_month_first(fields, size_at + 1, day_in_month, entry),
             entry->time);
    if (!take_name(fields, name_at, TO_END, entry))
        return FILE_TYPE_NONE;
    const char byte14 = apply_name_flags(format, entry);
    return type_of(type, format, byte14, entry);
}
