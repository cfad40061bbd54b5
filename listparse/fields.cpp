#include "listparse/fields.h"
#include "listparse/listparse.h"

#include <bit>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "blanks_of takes the first byte for the lowest");

constexpr size_t BLOCK_BYTES = 64;
constexpr size_t WORD_BYTES = sizeof(uint64_t);

// One bit for each of the 8 bytes of `word`, the first one lowest: 1 = blank.
static uint64_t blanks_of_word(uint64_t word)
{
    constexpr uint64_t BLANKS = 0x2020202020202020;
    constexpr uint64_t LOW_BITS = 0x7f7f7f7f7f7f7f7f;
    constexpr uint64_t GATHER = 0x0102040810204080; // moves bit 8 * i to bit 56 + i
    const uint64_t differs = word ^ BLANKS;
    const uint64_t top_bits = ~(((differs & LOW_BITS) + LOW_BITS) | differs | LOW_BITS); // 0x80 for a blank
    return ((top_bits >> 7) * GATHER) >> 56;
}

// One bit for each of the n bytes, BLOCK_BYTES at most: 1 = blank.
static uint64_t blanks_of(const char *bytes, size_t n)
{
    uint64_t blanks = 0;
    size_t at = 0;
    uint64_t word;
    for (; at + WORD_BYTES <= n; at += WORD_BYTES) {
        memcpy(&word, bytes + at, WORD_BYTES);
        blanks |= blanks_of_word(word) << at;
    }
    if (at < n) {
        word = 0;
        memcpy(&word, bytes + at, n - at);
        blanks |= blanks_of_word(word) << at;
    }
    return blanks;
}

void find_fields(fields_t *fields, const char *line, int most)
{
    const char **edge = fields->edges;
    const char *const *const last_edge = edge + 2 * most;
    const char *const end = line + strlen(line);
    uint64_t after_blank = 1; // blanks in front end where the first field begins
    fields->end = end;
    fields->count = most;
    for (const char *block = line; block < end; block += BLOCK_BYTES) {
        const size_t left = static_cast<size_t>(end - block);
        const uint64_t inside = left < BLOCK_BYTES ? (uint64_t{1} << left) - 1 : ~uint64_t{0};
        const uint64_t blanks = blanks_of(block, left < BLOCK_BYTES ? left : BLOCK_BYTES);
        uint64_t changes = (blanks ^ (blanks << 1 | after_blank)) & inside;
        for (; changes != 0; changes &= changes - 1) {
            *edge++ = block + std::countr_zero(changes);
            if (edge == last_edge)
                return;
        }
        after_blank = blanks >> (BLOCK_BYTES - 1);
    }
    const bool within_field = (edge - fields->edges) % 2 != 0;
    if (!within_field)
        *edge++ = end; // behind the last blanks, or in an empty line: an empty field
    *edge++ = end;
    fields->count = static_cast<int>(edge - fields->edges) / 2;
}

int FindField(const char *line, char *out, int index, int to_end)
{
    *out = '\0';
    if (line == nullptr)
        return 0;
    if (index >= 0)
        line += strspn(line, " ");
    for (; index > 0; --index) {
        line = strchr(line, ' ');
        if (line == nullptr)
            return 0;
        line += strspn(line, " ");
    }
    const size_t length = to_end == 1 ? strlen(line) : strcspn(line, " ");
    memcpy(out, line, length);
    out[length] = '\0';
    return 1;
}
