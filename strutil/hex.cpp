#include "strutil/log.h"
#include "strutil/strutil.h"

#include <cstdint>
#include <cstdlib>

constexpr char DIGITS[] = "0123456789ABCDEF";
constexpr char RULE[] = "---------------------------------";
constexpr size_t GROUP = 8;              // bytes between two gaps of a dump
constexpr size_t LINE = 2 * GROUP;       // bytes of a dump's line
constexpr size_t GROUP_TEXT = GROUP * 3; // pairs, the blanks between them, terminator

void bin_to_hex(const void *data, size_t n, char sep, char *dst)
{
    if (dst == nullptr)
        return;
    *dst = '\0';
    if (data == nullptr || n == 0)
        return;
    const auto *bytes = static_cast<const uint8_t *>(data);
    for (size_t i = 0; i < n; i++) {
        *dst++ = DIGITS[bytes[i] >> 4];
        *dst++ = DIGITS[bytes[i] & 0x0F];
        *dst++ = sep;
    }
    dst[-1] = '\0';
}

size_t malloc_bin_to_hex(const void *data, size_t n, char sep, char **out)
{
    *out = nullptr;
    size_t size = 0;
    if (data == nullptr || n == 0 || __builtin_mul_overflow(n, size_t{3}, &size))
        return 0;
    *out = static_cast<char *>(malloc(size));
    if (*out == nullptr)
        return 0;
    bin_to_hex(data, n, sep, *out);
    return size;
}

static void dump_line(const uint8_t *line, size_t count, size_t offset)
{
    const size_t left_count = count < GROUP ? count : GROUP;
    char left[GROUP_TEXT];
    char right[GROUP_TEXT];
    bin_to_hex(line, left_count, ' ', left);
    bin_to_hex(line + left_count, count - left_count, ' ', right);
    log_text("%08X %-23s  %-23s", static_cast<unsigned>(offset), left, right);
}

void hex_dump(const void *data, size_t n)
{
    if (data == nullptr)
        return;
    // The low 32 bits are enough to tell dumps apart.
    const auto first = static_cast<unsigned>(reinterpret_cast<uintptr_t>(data));
    const auto count = static_cast<unsigned>(n);
    log_text("%s", RULE);
    log_text("Dump: 0x%08X - 0x%08X (%u bytes)", first, first + count - 1, count);
    for (size_t offset = 0; offset < n; offset += LINE)
        dump_line(static_cast<const uint8_t *>(data) + offset, n - offset < LINE ? n - offset : LINE, offset);
    log_text("%s", RULE);
}
