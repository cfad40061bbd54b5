#include "model.h"

#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <strings.h>

namespace model
{

bool unsettled = false;

bool is_digit(char byte) { return byte >= '0' && byte <= '9'; }

std::vector<std::string> split(const std::string &line)
{
    std::vector<std::string> fields;
    size_t at = line.find_first_not_of(' ');
    if (at == std::string::npos)
        return {""};
    while (true) {
        size_t end = line.find(' ', at);
        fields.push_back(line.substr(at, end == std::string::npos ? end : end - at));
        if (end == std::string::npos)
            return fields;
        at = line.find_first_not_of(' ', end);
        if (at == std::string::npos) {
            fields.emplace_back(); // a line that ends in blanks has an empty last field
            return fields;
        }
    }
}

std::string at(const std::vector<std::string> &fields, int index)
{
    return index >= 0 && static_cast<size_t>(index) < fields.size() ? fields[static_cast<size_t>(index)] : "";
}

int full_year(int year) { return year + (year < 60 ? 2000 : 1900); }

bool rest_from(const std::string &line, size_t index, std::string *rest)
{
    rest->clear();
    if (split(line).size() <= index)
        return false;
    size_t at = line.find_first_not_of(' ');
    for (; index > 0 && at != std::string::npos; index--)
        at = line.find_first_not_of(' ', line.find(' ', at));
    if (at != std::string::npos)
        *rest = line.substr(at);
    return true;
}

int number(const std::string &text)
{
    size_t at = 0;
    while (at < text.size() && isspace(static_cast<unsigned char>(text[at])))
        at++;
    bool negative = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+'))
        at++;
    long long value = 0;
    for (; at < text.size() && is_digit(text[at]); at++) {
        value = value * 10 + (text[at] - '0');
        if (value > INT_MAX) {
            unsettled = true;
            return 0;
        }
    }
    return static_cast<int>(negative ? -value : value);
}

int64_t whole_number(const std::string &text)
{
    char *end = nullptr;
    long long value = strtoll(text.c_str(), &end, 10);
    return *end != '\0' || errno == ERANGE ? 0 : value;
}

uint32_t permissions(const std::string &text)
{
    constexpr std::array<uint32_t, 9> BITS = {0x400, 0x200, 0x100, 0x40, 0x20, 0x10, 4, 2, 1};
    std::string nine = text.substr(0, BITS.size());
    nine.resize(BITS.size(), '-');
    uint32_t value = 0;
    for (size_t i = 0; i < BITS.size(); i++) {
        if (nine[i] == '-')
            continue;
        char small = i == 8 ? 't' : 's';
        char capital = i == 8 ? 'T' : 'S';
        uint32_t special = i == 2 ? 0x4000 : i == 5 ? 0x2000 : i == 8 ? 0x1000 : 0;
        const bool is_special = nine[i] == small || nine[i] == capital;
        value |= is_special ? special : 0;
        value |= special != 0 && nine[i] == capital ? 0 : BITS[i];
    }
    return value;
}

// 'd' in the pattern is a digit or the symbol, 's' any byte but a digit.
static bool has_shape(const std::string &field, const char *pattern, unsigned char sym)
{
    for (size_t i = 0; i < field.size(); i++) {
        bool digit = is_digit(field[i]);
        bool symbol = sym != 0 && static_cast<unsigned char>(field[i]) == sym;
        if (pattern[i] == 'd' ? !digit && !symbol : digit)
            return false;
    }
    return true;
}

int date_shape(const std::string &field, unsigned char sym, bool allow9)
{
    if (field.size() == 8)
        return has_shape(field, "ddsddsdd", sym) ? 1 : 0;
    if (field.size() != 9 || !allow9)
        return 0;
    if (has_shape(field, "dddsddsdd", sym))
        return 2;
    return has_shape(field, "ddsddsddd", sym) ? 1 : 0;
}

static size_t behind_digits(const std::string &field)
{
    size_t at = 0;
    while (at < field.size() && is_digit(field[at]))
        at++;
    return at;
}

static void read_numeric_month(const std::string &field, uint16_t *month, uint16_t *day)
{
    const size_t at = behind_digits(field);
    if (at == field.size())
        return;
    // "7n" never matches: its 7 was read as part of the number.
    for (const std::string mark : {"\x8C\x8E", "7n", "\xB7\xEE", "\xD4\xC2", "\xE6\x9C\x88", "/"}) {
        if (field.compare(at, mark.size(), mark) != 0)
            continue;
        auto value = static_cast<uint16_t>(number(field));
        if (value < 1 || value > 12)
            return;
        *month = value;
        std::string behind = field.substr(at + mark.size());
        if (behind.empty())
            return;
        value = static_cast<uint16_t>(number(behind));
        if (value >= 1 && value <= 31)
            *day = value;
        return;
    }
}

void read_month(std::string *field, uint16_t *month, uint16_t *day)
{
    const std::string names = "JanFebMarAprMayJunJulAugSepOctNovDec";
    *month = 0;
    *day = 0;
    if (!field->empty() && is_digit((*field)[0]))
        return read_numeric_month(*field, month, day);
    const std::string as_it_came = *field;
    for (char &byte : *field)
        byte = byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
    if (!field->empty() && (*field)[0] >= 'a' && (*field)[0] <= 'z')
        (*field)[0] = static_cast<char>((*field)[0] - 'a' + 'A');
    size_t at = names.find(*field);
    if (at == std::string::npos)
        at = names.find(as_it_came);
    if (at != std::string::npos)
        *month = static_cast<uint16_t>(at / 3 + 1);
}

// The text of the minutes; false if the field has none.
static bool find_minutes(const std::string &field, std::string *minutes)
{
    size_t colon = field.find(':');
    if (colon != std::string::npos) {
        *minutes = field.substr(colon + 1);
        return !minutes->empty() && is_digit((*minutes)[0]);
    }
    const size_t at = behind_digits(field);
    for (const std::string mark : {"\x8E\x9E", ";~", "\xBB\xFE", "\xE6\x99\x82"})
        if (at < field.size() && field.compare(at, mark.size(), mark) == 0) {
            *minutes = field.substr(at + mark.size());
            return !minutes->empty();
        }
    return false;
}

bool read_time(const std::string &field, uint16_t *hour, uint16_t *minute)
{
    std::string minutes;
    if (field.size() > 2 && is_digit(field[0])) {
        *hour = static_cast<uint16_t>(number(field));
        if (*hour <= 24 && find_minutes(field, &minutes)) {
            *minute = static_cast<uint16_t>(number(minutes));
            if (*minute < 60)
                return true;
        }
    }
    *hour = 0;
    *minute = 0;
    return strcasecmp(field.c_str(), "a:m") == 0 || strcasecmp(field.c_str(), "p:m") == 0;
}

} // namespace model
