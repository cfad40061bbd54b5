#include "listparse/values.h"
#include "listparse/listparse.h"

#include <cstring>

// The CJK character behind a month's number in Shift_JIS, EUC-JP, GB2312 and UTF-8. (ISO-2022-JP's begins
// with the digit 7, which belongs to the number.) A slash does the same.
constexpr field_t MONTH_MARKS[] = {"\x8c\x8e", "\xb7\xee", "\xd4\xc2", "\xe6\x9c\x88", "/"};

// The CJK character behind an hour in Shift_JIS, ISO-2022-JP, EUC-JP and UTF-8.
constexpr field_t HOUR_MARKS[] = {"\x8e\x9e", ";~", "\xbb\xfe", "\xe6\x99\x82"};

constexpr field_t MONTH_NAMES = "JanFebMarAprMayJunJulAugSepOctNovDec";

static char to_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
static char to_upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// The length of the mark at the start of the text, 0 if there is none.
template <size_t N> static size_t mark_length(field_t text, const field_t (&marks)[N])
{
    for (const field_t mark : marks) {
        if (begins_with(text, mark[0]) && text.starts_with(mark))
            return mark.size();
    }
    return 0;
}

// --- dates

// "3/15", or a number and the mark of the month, with a day behind it or not.
month_day_t listparse_read_marked_month(field_t text, size_t digits)
{
    const field_t mark = behind(text, digits);
    const size_t length = mark_length(mark, MONTH_MARKS);
    const uint16_t month = length != 0 ? to_u16(text) : 0;
    if (month < 1 || month > 12)
        return {0, 0};
    const uint16_t day = to_u16(behind(mark, length));
    return {month, day <= 31 ? day : uint16_t{0}};
}

uint16_t listparse_read_month_name(const char *three_letters)
{
    for (const char *name = MONTH_NAMES.data(); *name != '\0'; name += 3) {
        if (*name == three_letters[0] && name[1] == three_letters[1] && name[2] == three_letters[2])
            return static_cast<uint16_t>((name - MONTH_NAMES.data()) / 3 + 1);
    }
    return 0;
}

static char fold(field_t name, size_t at) { return at == 0 ? to_upper(name[at]) : to_lower(name[at]); }

// Searches the text in normalised form, then unchanged. Parts of names and an empty text match.
uint16_t listparse_search_month(field_t text)
{
    char name[MONTH_NAMES.size()];
    if (text.size() > sizeof name)
        return 0;
    for (size_t at = 0; at < text.size(); ++at)
        name[at] = fold(text, at);
    size_t found = MONTH_NAMES.find({name, text.size()});
    if (found == field_t::npos)
        found = MONTH_NAMES.find(text);
    return found == field_t::npos ? uint16_t{0} : static_cast<uint16_t>(found / 3 + 1);
}

void GetMonth(char *field, uint16_t *month, uint16_t *day)
{
    const field_t text = field;
    const month_day_t found = listparse_read_month(text);
    if (!begins_with_digit(text)) {
        for (size_t at = 0; at < text.size(); ++at)
            field[at] = fold(text, at);
    }
    *month = found.month;
    *day = found.day;
}

bool listparse_has_shape(field_t text, field_t shape, char sym)
{
    if (text.size() != shape.size())
        return false;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool fits =
            shape[at] == '-' ? !is_digit(text[at]) : is_digit(text[at]) || (sym != '\0' && text[at] == sym);
        if (!fits)
            return false;
    }
    return true;
}

int listparse_date_shape9(field_t text, char sym)
{
    if (listparse_has_shape(text, "999-99-99", sym))
        return 2;
    return listparse_has_shape(text, "99-99-999", sym) ? 1 : 0;
}

int CheckYYMMDDformat(const char *field, unsigned char sym, int allow9)
{
    const char digit = static_cast<char>(sym);
    if (listparse_has_shape(field, "99-99-99", digit))
        return 1;
    return allow9 == 1 ? listparse_date_shape9(field, digit) : 0;
}

bool listparse_read_dos_date(field_t text, date_order_t order, date_t *date)
{
    const int shape = date_shape(text);
    if (shape == 0)
        return false;
    const size_t second = shape == 2 ? 4 : 3;
    const int first_number = shape == 2 ? to_int(text) : two_digits(text, 0);
    const int second_number = two_digits(text, second);
    const int third_number = text.size() == 8 ? two_digits(text, 6) : to_int(behind(text, second + 3));
    if (order == YEAR_FIRST)
        *date = {full_year(first_number), second_number, third_number};
    else
        *date = {full_year(third_number), first_number, second_number};
    return true;
}

// --- times

static field_t find_minutes(field_t text)
{
    const size_t colon = find_colon(text);
    if (colon < text.size()) {
        const field_t minutes = behind(text, colon + 1);
        return begins_with_digit(minutes) ? minutes : field_t();
    }
    const field_t mark = behind(text, count_digits(text));
    const size_t length = mark_length(mark, HOUR_MARKS);
    return length != 0 ? behind(mark, length) : field_t();
}

static bool is_half_day_token(field_t text)
{
    return text.size() == 3 && (to_lower(text[0]) == 'a' || to_lower(text[0]) == 'p') && text[1] == ':' &&
           to_lower(text[2]) == 'm';
}

static bool read_hour_and_minute(field_t text, uint16_t *hour, uint16_t *minute)
{
    if (text.size() <= 2 || !is_digit(text[0]))
        return false;
    *hour = to_u16(text);
    if (*hour > 24)
        return false;
    const field_t minutes = find_minutes(text);
    *minute = to_u16(minutes);
    return !minutes.empty() && *minute < 60;
}

bool listparse_read_any_time(field_t text, uint16_t *hour, uint16_t *minute)
{
    if (read_hour_and_minute(text, hour, minute))
        return true;
    *hour = 0;
    *minute = 0;
    return is_half_day_token(text);
}

int GetHourAndMinute(const char *field, uint16_t *hour, uint16_t *minute)
{
    return listparse_read_time(field, hour, minute) ? 1 : 0;
}

// --- permissions

static uint32_t bit_unless_dash(char c, uint32_t bit) { return c != '-' ? bit : 0; }

// In place of 'x' the letter adds a bit; an upper-case letter means that bit without 'x'.
static uint32_t execute_bits(char c, uint32_t bit, char letter, uint32_t special)
{
    if (c == letter)
        return bit | special;
    return c == to_upper(letter) ? special : bit_unless_dash(c, bit);
}

uint32_t listparse_read_permissions(field_t text)
{
    constexpr field_t NOTHING = "---------";
    char filled_up[NOTHING.size()];
    const char *at = text.data();
    if (text.size() < NOTHING.size()) {
        memcpy(filled_up, NOTHING.data(), NOTHING.size());
        memcpy(filled_up, at, text.size());
        at = filled_up;
    }
    const auto read_write = [](const char *triplet, uint32_t read) {
        return bit_unless_dash(triplet[0], read) | bit_unless_dash(triplet[1], read / 2);
    };
    return read_write(at, 0x400) | execute_bits(at[2], 0x100, 's', 0x4000) | read_write(at + 3, 0x040) |
           execute_bits(at[5], 0x010, 's', 0x2000) | read_write(at + 6, 0x004) |
           execute_bits(at[8], 0x001, 't', 0x1000);
}

uint32_t AttrString2Value(const char *str) { return listparse_read_permissions(str); }
