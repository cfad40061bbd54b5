#include "listparse/values.h"
#include "listparse/listparse.h"

#include <array>
#include <iterator>

// The CJK character behind a month's number in Shift_JIS, EUC-JP, GB2312 and UTF-8. (ISO-2022-JP's begins
// with the digit 7, which belongs to the number.) A slash does the same.
constexpr field_t MONTH_MARKS[] = {"\x8c\x8e", "\xb7\xee", "\xd4\xc2", "\xe6\x9c\x88", "/"};

// The one behind an hour in Shift_JIS, ISO-2022-JP, EUC-JP and UTF-8.
constexpr field_t HOUR_MARKS[] = {"\x8e\x9e", ";~", "\xbb\xfe", "\xe6\x99\x82"};

constexpr field_t MONTH_NAMES = "JanFebMarAprMayJunJulAugSepOctNovDec";

static bool is_ascii(char c) { return (c & 0x80) == 0; }
static char to_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
static char to_upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

static size_t count_digits(field_t text)
{
    size_t n = 0;
    while (n < text.size() && is_digit(text[n]))
        ++n;
    return n;
}

// How long the mark is that the text begins with, 0 for none.
template <size_t N> static size_t mark_length(field_t text, const field_t (&marks)[N])
{
    for (const field_t mark : marks) {
        if (text.starts_with(mark))
            return mark.size();
    }
    return 0;
}

// --- dates

[[gnu::noinline]] static month_day_t read_marked_month(field_t text, field_t mark)
{
    const size_t length = mark_length(mark, MONTH_MARKS);
    const uint16_t month = length != 0 ? to_u16(text) : 0;
    if (month < 1 || month > 12)
        return {0, 0};
    const uint16_t day = to_u16(behind(mark, length));
    return {month, day <= 31 ? day : uint16_t{0}};
}

// Nearly every number that is looked at is a day, a year or a time.
month_day_t listparse_read_numbered_month(field_t text)
{
    const field_t mark = behind(text, count_digits(text));
    const bool may_be_mark = begins_with(mark, '/') || (!mark.empty() && !is_ascii(mark[0]));
    return may_be_mark ? read_marked_month(text, mark) : month_day_t{0, 0};
}

static void fold_month_name(field_t text, char *folded)
{
    for (size_t at = 0; at < text.size(); ++at)
        folded[at] = at == 0 ? to_upper(text[at]) : to_lower(text[at]);
}

// Three letters in lower case as one number.
static constexpr uint32_t month_key(const char *letters)
{
    uint32_t key = 0x202020; // the bit that tells lower case
    for (int at = 0; at < 3; ++at)
        key |= static_cast<uint32_t>(static_cast<unsigned char>(letters[at])) << 8 * at;
    return key;
}

constexpr uint32_t MONTH_SPREAD = 26597; // the least that gives each month a slot of its own
static constexpr uint32_t month_slot(uint32_t key) { return (key * MONTH_SPREAD) >> 28; }

struct month_slot_t {
    uint32_t key;
    uint16_t month;
};

constexpr std::array<month_slot_t, 16> MONTH_SLOTS = [] {
    std::array<month_slot_t, 16> slots{};
    for (uint16_t month = 1; month <= 12; ++month) {
        const uint32_t key = month_key(MONTH_NAMES.data() + size_t{3} * (month - 1u));
        slots[month_slot(key)] = {key, month};
    }
    return slots;
}();

// The month whose three letters the text is, which is how servers write it; 0 when it is not that plain.
static uint16_t read_plain_month(field_t text)
{
    if (text.size() != 3)
        return 0;
    const uint32_t key = month_key(text.data());
    const month_slot_t &slot = MONTH_SLOTS[month_slot(key)];
    return slot.key == key ? slot.month : uint16_t{0};
}

// The month in whose name the text, folded or else as it came, is found. Parts of names count, and an empty
// text.
[[gnu::noinline]] static month_day_t search_month(field_t text)
{
    char folded[MONTH_NAMES.size()];
    if (text.size() > sizeof folded)
        return {0, 0};
    fold_month_name(text, folded);
    size_t at = MONTH_NAMES.find({folded, text.size()});
    if (at == field_t::npos)
        at = MONTH_NAMES.find(text);
    return {at == field_t::npos ? uint16_t{0} : static_cast<uint16_t>(at / 3 + 1), 0};
}

month_day_t listparse_read_named_month(field_t text)
{
    const uint16_t plain = read_plain_month(text);
    return plain != 0 ? month_day_t{plain, 0} : search_month(text);
}

void GetMonth(char *field, uint16_t *month, uint16_t *day)
{
    const month_day_t found = read_month(field);
    if (!is_digit(field[0]))
        fold_month_name(field, field);
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
    if (listparse_has_shape(text, SHAPE_3_2_2, sym))
        return 2;
    return listparse_has_shape(text, SHAPE_2_2_3, sym) ? 1 : 0;
}

int CheckYYMMDDformat(const char *field, unsigned char sym, int allow9)
{
    const char digit = static_cast<char>(sym);
    if (listparse_has_shape(field, SHAPE_2_2_2, digit))
        return 1;
    return allow9 == 1 ? listparse_date_shape9(field, digit) : 0;
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

[[gnu::noinline]] static bool read_any_time(field_t text, uint16_t *hour, uint16_t *minute)
{
    if (read_hour_and_minute(text, hour, minute))
        return true;
    *hour = 0;
    *minute = 0;
    return is_half_day_token(text);
}

// "12:34", which nearly every time is.
static bool is_plain_time(field_t text)
{
    return text.size() == 5 && text[2] == ':' && is_digit(text[0]) && is_digit(text[1]) &&
           is_digit(text[3]) && is_digit(text[4]);
}

bool listparse_read_time(field_t text, uint16_t *hour, uint16_t *minute)
{
    if (!is_plain_time(text) || two_digits(text, 0) > 24 || two_digits(text, 3) >= 60)
        return read_any_time(text, hour, minute);
    *hour = static_cast<uint16_t>(two_digits(text, 0));
    *minute = static_cast<uint16_t>(two_digits(text, 3));
    return true;
}

int GetHourAndMinute(const char *field, uint16_t *hour, uint16_t *minute)
{
    return listparse_read_time(field, hour, minute) ? 1 : 0;
}

// --- permissions

// Owner, group and others: which hexadecimal digit is theirs, and the letter that in place of 'x' adds a bit.
// In upper case it stands for that bit without 'x'.
constexpr struct {
    int shift;
    char letter;
    uint32_t special;
} PERMISSIONS[] = {{8, 's', 0x4000}, {4, 's', 0x2000}, {0, 't', 0x1000}};

static bool is_set(field_t text, size_t at) { return at < text.size() && text[at] != '-'; }

uint32_t listparse_read_permissions(field_t text)
{
    uint32_t value = 0;
    for (const auto &who : PERMISSIONS) {
        const char execute = text.size() > 2 ? text[2] : '-';
        const bool special = to_lower(execute) == who.letter;
        const uint32_t digit = (is_set(text, 0) ? 4u : 0u) | (is_set(text, 1) ? 2u : 0u) |
                               (execute != '-' && !(special && execute != who.letter) ? 1u : 0u);
        value |= digit << who.shift | (special ? who.special : 0u);
        text = behind(text, 3);
    }
    return value;
}

uint32_t AttrString2Value(const char *str) { return listparse_read_permissions(str); }
