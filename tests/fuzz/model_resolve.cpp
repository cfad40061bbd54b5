#include "model.h"

#include <algorithm>
#include <cctype>

namespace model
{

static constexpr uint32_t DATE = 1;
static constexpr uint32_t TIME = 2;
static constexpr uint32_t SIZE = 4;
static constexpr uint32_t ATTR = 8;

static std::string field_of(const std::string &line, int index) { return at(split(line), index); }

static int number_at(const std::string &text, size_t at)
{
    return number(text.substr(std::min(at, text.size())));
}
static bool one_of(int number, std::initializer_list<int> numbers)
{
    return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

static void take_date(entry_t *entry, int year, int month, int day)
{
    entry->year = static_cast<uint16_t>(year);
    entry->month = static_cast<uint16_t>(month);
    entry->day = static_cast<uint16_t>(day);
}

// --- The Unix family

static int offset_of(int f)
{
    if (one_of(f, {2, 3, 5, 6, 7, 10}))
        return -1;
    if (one_of(f, {8, 9, 11, 12, 13, 14}))
        return -2;
    if (one_of(f, {17, 18, 20, 42, 43, 46}))
        return 1;
    return one_of(f, {15, 16, 19}) ? 2 : 0;
}

static void read_western_date(const std::string &line, int o, int d, entry_t *entry)
{
    std::string month = field_of(line, o + 5);
    std::string time = field_of(line, o + 7 + d);
    bool timed = read_time(time, &entry->hour, &entry->minute);
    if (timed)
        entry->valid |= TIME;
    if (date_shape(month, 0, false) == 1)
        return take_date(entry, full_year(number(month)), number_at(month, 3), number_at(month, 6));
    read_month(&month, &entry->month, &entry->day);
    if (d == 0)
        entry->day = static_cast<uint16_t>(number(field_of(line, o + 6)));
    entry->year = timed ? 0 : static_cast<uint16_t>(number(time));
}

// The byte after the fourteen of a name that is cut there; 0 if there is none.
static char apply_name_flags(int format, entry_t *entry)
{
    std::string &name = entry->name;
    char behind = 0;
    if ((format & 0x100) != 0) {
        behind = name.size() > 14 ? name[14] : '\0';
        name = name.substr(0, 14);
        while (name.size() > 1 && name.back() == ' ')
            name.pop_back();
    } else if ((format & 0x200) != 0) {
        if (name.size() >= 4 && name.substr(name.size() - 4) == ".lnk") {
            name.resize(name.size() - 4);
            entry->is_link = 1;
        }
    } else if (name.find(" -> ") != std::string::npos) {
        name.resize(name.find(" -> "));
    }
    return behind;
}

static int type_of(const std::string &line, int format, char behind, entry_t *entry)
{
    char type = line.empty() ? '\0' : line[0];
    std::string &name = entry->name;
    if (type == 'd' || type == 'l') {
        if (!name.empty() && (name.back() == '/' || name.back() == '\\'))
            name.pop_back();
        if (type == 'l')
            entry->is_link = 1;
        return 0;
    }
    if (type == '-' || type == '+' || type == 'f')
        return (format & 0x100) != 0 && behind != 'B' ? -1 : 1;
    return -1;
}

static entry_t resolve_unix(const std::string &line, int format)
{
    int f = format & 0xFF;
    int o = offset_of(f);
    int d = one_of(f, {1, 3, 7, 9, 13, 16, 18, 43, 45}) ? -1 : 0;
    entry_t entry;
    entry.valid = DATE | SIZE | ATTR;
    std::string first = field_of(line, 0);
    entry.attributes = permissions(first.empty() ? "" : first.substr(1));
    bool owner_first = one_of(f, {2, 3, 5, 8, 9, 11, 12, 13, 17, 18, 20, 44, 45, 47});
    entry.owner = field_of(line, owner_first ? 1 : 2).substr(0, 40);
    entry.size = whole_number(field_of(line, o + 4));
    if (one_of(f, {4, 5, 10, 11, 14, 19, 20, 46, 47}))
        take_date(&entry, number(field_of(line, o + 5)), number(field_of(line, o + 6)),
                  number(field_of(line, o + 7)));
    else
        read_western_date(line, o, d, &entry);
    if (!rest_from(line, static_cast<size_t>(o + 8 + d), &entry.name))
        return entry;
    char behind = apply_name_flags(format, &entry);
    entry.type = type_of(line, format, behind, &entry);
    return entry;
}

// --- The other layouts

static void read_size(const std::string &field, entry_t *entry)
{
    entry->valid |= SIZE;
    entry->size = whole_number(field);
}

static void read_dos_time(const std::string &field, entry_t *entry)
{
    size_t colon = field.find(':');
    if (colon == std::string::npos)
        return;
    entry->valid |= TIME;
    int hour = static_cast<uint16_t>(number(field));
    entry->minute = static_cast<uint16_t>(number_at(field, colon + 1));
    char marker = field.size() - colon > 3
                      ? static_cast<char>(tolower(static_cast<unsigned char>(field[colon + 3])))
                      : 0;
    if (marker == 'a' && hour == 12)
        hour = 0;
    if (marker == 'p' && hour != 12)
        hour += 12;
    entry->hour = static_cast<uint16_t>(hour);
}

static entry_t resolve_dos(const std::string &line, int f)
{
    entry_t entry;
    entry.valid = DATE | SIZE;
    read_dos_time(field_of(line, f == 23 ? 3 : 1), &entry);
    std::string date = field_of(line, f == 23 ? 2 : 0);
    int shape = date_shape(date, 0, true);
    if (shape == 0)
        return entry;
    size_t second = shape == 1 ? 3 : 4; // the places of the second and third number
    size_t third = shape == 1 ? 6 : 7;
    if (f == 21)
        take_date(&entry, full_year(number(date)), number_at(date, second), number_at(date, third));
    else
        take_date(&entry, full_year(number_at(date, third)), number(date), number_at(date, second));
    std::string size = field_of(line, f == 23 ? 1 : 2);
    read_size(size, &entry);
    if (f == 23)
        entry.name = field_of(line, 0);
    else if (!rest_from(line, 3, &entry.name))
        return entry;
    entry.type = size.starts_with('<') ? 0 : 1;
    return entry;
}

static entry_t resolve_seconds(const std::string &line)
{
    entry_t entry;
    entry.valid = DATE | TIME | SIZE;
    std::string date = field_of(line, 0);
    take_date(&entry, number(date), number_at(date, 5), number_at(date, 8));
    entry.hour = static_cast<uint16_t>(number(field_of(line, 1)));
    entry.minute = static_cast<uint16_t>(number_at(field_of(line, 1), 3));
    std::string size = field_of(line, 2);
    read_size(size, &entry);
    if (rest_from(line, 3, &entry.name))
        entry.type = size.starts_with('<') ? 0 : 1;
    return entry;
}

entry_t resolve(const std::string &line, int format)
{
    int f = format & 0xFF;
    entry_t entry;
    if (f < 21 || f > 41)
        entry = resolve_unix(line, format);
    else if (f == 24)
        entry = resolve_seconds(line);
    else if (f >= 21 && f <= 23)
        entry = resolve_dos(line, f);
    else
        entry = resolve_table(line, f);
    if (entry.name == "." || entry.name == "..")
        entry.type = -1;
    return entry;
}

} // namespace model
