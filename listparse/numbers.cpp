#include "listparse/listparse.h"
#include "listparse/values.h"

#include <cerrno>

static bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

number_t listparse_read_number(field_t text)
{
    size_t at = 0;
    while (at < text.size() && is_space(text[at]))
        ++at;
    const bool negative = at < text.size() && text[at] == '-';
    if (negative || (at < text.size() && text[at] == '+'))
        ++at;
    const size_t first_digit = at;
    uint64_t magnitude = 0;
    bool overflow = false;
    for (; at < text.size() && is_digit(text[at]); ++at) {
        overflow |= __builtin_mul_overflow(magnitude, uint64_t{10}, &magnitude);
        overflow |= __builtin_add_overflow(magnitude, static_cast<uint64_t>(text[at] - '0'), &magnitude);
    }
    if (at == first_digit)
        return {0, 0};
    const uint64_t most = uint64_t{INT64_MAX} + (negative ? 1 : 0);
    if (overflow || magnitude > most) {
        errno = ERANGE;
        magnitude = most;
    }
    return {static_cast<int64_t>(negative ? 0 - magnitude : magnitude), at};
}

// errno is not cleared first: an ERANGE left by an earlier call makes every size 0.
int64_t listparse_read_size(field_t text)
{
    const digits_t digits = read_digits(text);
    if (digits.count == text.size() && digits.count <= SAFE_DIGITS)
        return errno == ERANGE ? 0 : digits.value;
    const number_t number = listparse_read_number(text);
    return number.length < text.size() || errno == ERANGE ? 0 : number.value;
}

int64_t _atoi64(const char *str) { return listparse_read_size(str); }

int IsDigitSym(uint32_t ch, uint32_t sym)
{
    if (ch >= '0' && ch <= '9')
        return 1;
    return sym != 0 && sym == ch ? 1 : 0;
}
