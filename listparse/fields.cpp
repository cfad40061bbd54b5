#include "listparse/fields.h"
#include "listparse/listparse.h"

#include <bit>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "a word's first byte is taken for its lowest");

constexpr size_t BLOCK_BYTES = 64;
constexpr size_t WORD_BYTES = sizeof(uint64_t);

// One bit for each of the first 8 bytes, the first one lowest: 1 = blank.
static uint64_t blanks_of_word(const char *bytes)
{
    constexpr uint64_t BLANKS = 0x2020202020202020;
    constexpr uint64_t LOW_BITS = 0x7f7f7f7f7f7f7f7f;
    constexpr uint64_t GATHER = 0x0002040810204081; // moves bit 8 * i + 7 to bit 56 + i
    uint64_t word;
    memcpy(&word, bytes, WORD_BYTES);
    const uint64_t differs = word ^ BLANKS;
    const uint64_t same = ~(((differs & LOW_BITS) + LOW_BITS) | differs) & ~LOW_BITS; // 0x80 for a blank
    return (same * GATHER) >> 56;
}

// One bit for each of the block's n bytes, BLOCK_BYTES at most: 1 = blank. All past them count as blanks.
static uint64_t blanks_of(const char *block, size_t n)
{
    uint64_t blanks = 0;
    if (n == BLOCK_BYTES) {
        for (size_t at = 0; at < BLOCK_BYTES; at += WORD_BYTES)
            blanks |= blanks_of_word(block + at) << at;
        return blanks;
    }
    const uint64_t past_end = ~uint64_t{0} << n;
    if (n < WORD_BYTES) {
        char bytes[WORD_BYTES] = {};
        memcpy(bytes, block, n);
        return blanks_of_word(bytes) | past_end;
    }
    for (size_t at = 0; at + WORD_BYTES < n; at += WORD_BYTES)
        blanks |= blanks_of_word(block + at) << at;
    const size_t last = n - WORD_BYTES; // may overlap the word in front of it
    return blanks | blanks_of_word(block + last) << last | past_end;
}

static void begin_block(fields_t *fields, const char *block)
{
    const size_t left = static_cast<size_t>(fields->end - block);
    const uint64_t blanks = blanks_of(block, left < BLOCK_BYTES ? left : BLOCK_BYTES);
    fields->block = block;
    fields->changes = blanks ^ (blanks << 1 | fields->behind_blank);
    fields->behind_blank = blanks >> (BLOCK_BYTES - 1);
}

fields_t::fields_t(const char *line) : end(line + strlen(line)) { begin_block(this, line); }

// The end of the line: behind its last blanks, or in a line without any field, lies an empty field.
static void end_line(fields_t *fields)
{
    int &found = fields->found;
    if (found == 0 || fields->edges[found - 1] != fields->end) {
        fields->edges[found++] = fields->end;
        fields->edges[found++] = fields->end;
    }
    fields->complete = true;
}

// Takes edges from the block until `last` is reached or it holds no more. Returns behind the last one taken.
static const char **take_edges(fields_t *fields, const char **edge, const char *const *last)
{
    uint64_t changes = fields->changes;
    while (changes != 0) {
        *edge++ = fields->block + static_cast<unsigned>(std::countr_zero(changes));
        changes &= changes - 1;
        if (edge == last)
            break;
    }
    fields->changes = changes;
    return edge;
}

void find_edges(fields_t *fields, int wanted)
{
    const char **edge = fields->edges + fields->found;
    const char *const *last = fields->edges + wanted;
    for (;;) {
        edge = take_edges(fields, edge, last);
        fields->found = static_cast<int>(edge - fields->edges);
        if (edge == last)
            return;
        if (static_cast<size_t>(fields->end - fields->block) < BLOCK_BYTES)
            return end_line(fields);
        begin_block(fields, fields->block + BLOCK_BYTES);
    }
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
