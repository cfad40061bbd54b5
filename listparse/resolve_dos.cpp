#include "listparse/resolve.h"

// Where a DOS line of formats 21, 22 and 23 keeps what.
struct dos_layout_t {
    int time, date, size, name; // fields
    bool name_to_end;
    bool year_first;
};
constexpr int FIRST_DOS_FORMAT = 21;
constexpr dos_layout_t DOS_LAYOUTS[] = {
    {1, 0, 2, 3, true, true},   // 21
    {1, 0, 2, 3, true, false},  // 22
    {3, 2, 1, 0, false, false}, // 23
};

// Where the numbers of a date begin, by what comes first and by the shape of the field, 1 or 2.
struct date_positions_t {
    size_t year, month, day;
};
constexpr date_positions_t MONTH_FIRST_DATE[] = {{6, 0, 3}, {7, 0, 4}};
constexpr date_positions_t YEAR_FIRST_DATE[] = {{0, 3, 6}, {0, 4, 7}};

bool listparse_read_dos_date(field_t text, bool year_first, date_t *date)
{
    const int shape = date_shape(text);
    if (shape == 0)
        return false;
    const date_positions_t &at = (year_first ? YEAR_FIRST_DATE : MONTH_FIRST_DATE)[shape - 1];
    if (text.size() == SHAPE_2_2_2.size())
        *date = {two_digits(text, at.year), two_digits(text, at.month), two_digits(text, at.day)};
    else
        *date = {to_int(behind(text, at.year)), to_int(behind(text, at.month)), to_int(behind(text, at.day))};
    date->year = full_year(date->year);
    return true;
}

static void set_date(const date_t &date, file_time_t *time)
{
    time->year = static_cast<uint16_t>(date.year);
    time->month = static_cast<uint16_t>(date.month);
    time->day = static_cast<uint16_t>(date.day);
}

// "03:04PM": the byte behind two digits of minutes may be the marker of a 12-hour clock. Nothing is checked.
static void read_dos_time(field_t text, line_entry_t *entry)
{
    constexpr size_t MARKER = 3; // from the colon
    const size_t colon = find_colon(text);
    if (colon == text.size())
        return;
    *entry->valid |= FILE_INFO_TIME;
    const uint16_t hour = to_u16(text);
    const field_t behind_colon = behind(text, colon);
    const char marker = behind_colon.size() > MARKER ? behind_colon[MARKER] : '\0';
    entry->time->minute = to_u16(behind(behind_colon, 1));
    const bool noon = hour == 12;
    const bool to_midnight = noon & (marker == 'a' || marker == 'A');
    const bool to_afternoon = !noon & (marker == 'p' || marker == 'P');
    entry->time->hour = to_midnight ? 0 : static_cast<uint16_t>(hour + (to_afternoon ? 12 : 0));
}

// "<DIR>" reads as 0.
static int read_size_or_dir(const fields_t &fields, int at, line_entry_t *entry)
{
    *entry->size = listparse_read_size(fields, at);
    return begins_with(field(fields, at), '<') ? FILE_TYPE_DIRECTORY : FILE_TYPE_FILE;
}

int listparse_resolve_dos(const char *line, int number, line_entry_t *entry)
{
    const dos_layout_t &layout = DOS_LAYOUTS[number - FIRST_DOS_FORMAT];
    fields_t fields;
    listparse_begin_line(&fields, line);
    find_fields(&fields, layout.name_to_end ? layout.name : 4);

    *entry->valid = FILE_INFO_DATE | FILE_INFO_SIZE;
    read_dos_time(field(fields, layout.time), entry);
    date_t date;
    if (!listparse_read_dos_date(field(fields, layout.date), layout.year_first, &date))
        return FILE_TYPE_NONE;
    set_date(date, entry->time);
    const int type = read_size_or_dir(fields, layout.size, entry);
    if (!has_field(fields, layout.name))
        return FILE_TYPE_NONE;
    entry->name =
        cut_name(layout.name_to_end ? field_to_end(fields, layout.name) : field(fields, layout.name));
    return type;
}

int listparse_resolve_dos24(const char *line, line_entry_t *entry)
{
    fields_t fields;
    listparse_begin_line(&fields, line);
    find_fields(&fields, 3);

    *entry->valid = FILE_INFO_DATE | FILE_INFO_TIME | FILE_INFO_SIZE;
    const field_t date = field(fields, 0);
    const field_t time = field(fields, 1);
    set_date({to_int(date), to_int(behind(date, 5)), to_int(behind(date, 8))}, entry->time);
    entry->time->hour = to_u16(time);
    entry->time->minute = to_u16(behind(time, 3));
    const int type = read_size_or_dir(fields, 2, entry);
    if (!has_field(fields, 3))
        return FILE_TYPE_NONE;
    entry->name = cut_name(field_to_end(fields, 3));
    return type;
}
