#include "listparse/numbers.h"
#include "listparse/listparse.h"

#include <cerrno>

int IsDigitSym(uint32_t ch, uint32_t sym)
{
    if (ch >= '0' && ch <= '9')
        return 1;
    return sym != 0 && sym == ch ? 1 : 0;
}

static bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

static size_t count_spaces(field_t text)
{
    size_t n = 0;
    while (n < text.size() && is_space(text[n]))
        ++n;
    return n;
}

number_t listparse_read_number(field_t text)
{
    const size_t sign_at = count_spaces(text);
    const field_t signed_number = behind(text, sign_at);
    const bool negative = begins_with(signed_number, '-');
    const size_t first_digit = sign_at + (negative || begins_with(signed_number, '+') ? 1 : 0);
    uint64_t magnitude = 0;
    bool overflow = false;
    size_t at = first_digit;
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

// The number of eight digits, the first one lowest.
static int64_t join_digits(uint64_t digits)
{
    digits = (digits * 10 + (digits >> 8)) & 0x00ff00ff00ff00ff;
    digits = (digits * 100 + (digits >> 16)) & 0x0000ffff0000ffff;
    return static_cast<uint32_t>(digits * 10000 + (digits >> 32));
}

static int64_t read_any_size(field_t text)
{
    const number_t number = listparse_read_number(text);
    return number.length < text.size() || errno == ERANGE ? 0 : number.value;
}

// Reads a field of one to sixteen digits, the last eight as one word, those in front of them as another with
// zeros for what lacks. Sizes differ in length, and a loop over them ends where no processor expects it.
static bool read_plain_number(const fields_t &fields, int index, int64_t *value)
{
    constexpr size_t WORD_BYTES = sizeof(uint64_t);
    const field_t text = field(fields, index);
    const size_t n = text.size();
    if (n == 0 || n > 2 * WORD_BYTES || static_cast<size_t>(fields.end - text.data()) < WORD_BYTES)
        return false;
    const uint64_t first = digits_of_word(text.data());
    if (n <= WORD_BYTES) {
        const uint64_t digits = first << 8 * (WORD_BYTES - n);
        *value = join_digits(digits);
        return other_than_digits(digits) == 0;
    }
    const uint64_t high = first << 8 * (2 * WORD_BYTES - n);
    const uint64_t low = digits_of_word(text.data() + n - WORD_BYTES);
    *value = join_digits(high) * 100'000'000 + join_digits(low);
    return (other_than_digits(high) | other_than_digits(low)) == 0;
}

// No conversion clears errno, so a stale ERANGE decides before it as well as behind it.
int64_t listparse_read_size(const fields_t &fields, int index)
{
    if (errno == ERANGE)
        return 0;
    int64_t value;
    return read_plain_number(fields, index, &value) ? value : read_any_size(field(fields, index));
}

int64_t _atoi64(const char *str) { return read_any_size(str); }
