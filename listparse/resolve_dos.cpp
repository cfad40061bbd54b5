#include "listparse/resolve.h"

namespace
{

// The fields of DOS lines of formats 21, 22 and 23.
struct dos_layout_t {
    int time, date, size, name; // fields
    name_extent_t extent;
    date_order_t order;
};

} // namespace

constexpr int FIRST_DOS_FORMAT = 21;
constexpr dos_layout_t DOS_LAYOUTS[] = {
    {1, 0, 2, 3, TO_END, YEAR_FIRST},     // 21
    {1, 0, 2, 3, TO_END, MONTH_FIRST},    // 22
    {3, 2, 1, 0, ONE_FIELD, MONTH_FIRST}, // 23
};

// The hour of a 12-hour clock, according to the marker after the minutes. Nothing is checked.
static uint16_t full_hour(int hour, char marker)
{
    if (hour == 12)
        return marker == 'a' || marker == 'A' ? 0 : 12;
    return static_cast<uint16_t>(hour + (marker == 'p' || marker == 'P' ? 12 : 0));
}

// "03:04PM": the byte behind two digits of minutes may be the marker of a 12-hour clock.
static void read_dos_time(field_t text, line_entry_t *entry)
{
    const bool usual = begins_with_time(text);
    const size_t colon = usual ? 2 : find_colon(text);
    if (colon == text.size())
        return;
    const char marker = text.size() > colon + 3 ? text[colon + 3] : '\0';
    *entry->valid |= FILE_INFO_TIME;
    entry->time->hour = full_hour(usual ? two_digits(text, 0) : to_u16(text), marker);
    entry->time->minute =
        usual ? static_cast<uint16_t>(two_digits(text, 3)) : to_u16(behind(text, colon + 1));
}

// "<DIR>" reads as 0.
static int read_size_or_dir(field_t text, line_entry_t *entry)
{
    *entry->size = listparse_read_size(text);
    return begins_with(text, '<') ? FILE_TYPE_DIRECTORY : FILE_TYPE_FILE;
}

int listparse_resolve_dos(fields_t &fields, int number, line_entry_t *entry)
{
    const dos_layout_t &layout = DOS_LAYOUTS[number - FIRST_DOS_FORMAT];
    listparse_find(&fields, layout.time + 1);
    *entry->valid = FILE_INFO_DATE | FILE_INFO_SIZE;
    read_dos_time(field(fields, layout.time), entry);
    date_t date;
    if (!listparse_read_dos_date(field(fields, layout.date), layout.order, &date))
        return FILE_TYPE_NONE;
    set_date(date, entry->time);
    const int type = read_size_or_dir(field(fields, layout.size), entry);
    return take_name(fields, layout.name, layout.extent, entry) ? type : FILE_TYPE_NONE;
}

int listparse_resolve_dos24(fields_t &fields, line_entry_t *entry)
{
    const field_t date = field(fields, 0);
    const field_t time = field(fields, 1);
    *entry->valid = FILE_INFO_DATE | FILE_INFO_TIME | FILE_INFO_SIZE;
    set_date({to_int(date), to_int(behind(date, 5)), to_int(behind(date, 8))}, entry->time);
    entry->time->hour = to_u16(time);
    entry->time->minute = to_u16(behind(time, 3));
    const int type = read_size_or_dir(field(fields, 2), entry);
    return take_name(fields, 3, TO_END, entry) ? type : FILE_TYPE_NONE;
}
