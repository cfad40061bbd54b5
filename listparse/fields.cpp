#include "listparse/fields.h"
#include "listparse/listparse.h"

#include <bit>

#if defined(__SSE2__) && !defined(LISTPARSE_PORTABLE)
#include <emmintrin.h>

constexpr size_t STEP_BYTES = 16;

// One bit for each of the first STEP_BYTES bytes, the first one lowest: 1 = blank.
static uint64_t blanks_of_step(const char *bytes)
{
    const __m128i step = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(step, _mm_set1_epi8(' '))));
}
#else
static_assert(std::endian::native == std::endian::little, "a step's first byte is taken for its lowest");

constexpr size_t STEP_BYTES = sizeof(uint64_t);

static uint64_t blanks_of_step(const char *bytes)
{
    constexpr uint64_t BLANKS = 0x2020202020202020;
    constexpr uint64_t LOW_BITS = 0x7f7f7f7f7f7f7f7f;
    constexpr uint64_t GATHER = 0x0002040810204081; // moves bit 8 * i + 7 to bit 56 + i
    uint64_t step;
    memcpy(&step, bytes, STEP_BYTES);
    const uint64_t differs = step ^ BLANKS;
    const uint64_t same = ~(((differs & LOW_BITS) + LOW_BITS) | differs) & ~LOW_BITS; // 0x80 for a blank
    return (same * GATHER) >> 56;
}
#endif

// One bit for each of the block's first n bytes, fewer than BLOCK_BYTES: 1 = blank. All past them count as
// blanks.
static uint64_t blanks_of_part(const char *block, size_t n)
{
    uint64_t blanks = ~uint64_t{0} << n;
    if (n < STEP_BYTES) {
        for (size_t at = 0; at < n; ++at)
            blanks |= uint64_t{block[at] == ' '} << at;
        return blanks;
    }
    for (size_t at = 0; at + STEP_BYTES < n; at += STEP_BYTES)
        blanks |= blanks_of_step(block + at) << at;
    const size_t last = n - STEP_BYTES; // may overlap the step in front of it
    return blanks | blanks_of_step(block + last) << last;
}

static uint64_t blanks_of_block(const char *block)
{
    uint64_t blanks = 0;
    for (size_t at = 0; at < BLOCK_BYTES; at += STEP_BYTES)
        blanks |= blanks_of_step(block + at) << at;
    return blanks;
}

// Adds the place of every bit that is set.
static int add_places(const char **places, int count, const char *block, uint64_t bits)
{
    const char **place = places + count;
    for (; bits != 0; bits &= bits - 1)
        *place++ = block + std::countr_zero(bits);
    return static_cast<int>(place - places);
}

// Behind the last blanks of a line, and in a line without any field, lies an empty field.
static void end_line(fields_t *fields)
{
    if (fields->ended == 0 || fields->ends[fields->ended - 1] != fields->end) {
        fields->begins[fields->begun++] = fields->end;
        fields->ends[fields->ended++] = fields->end;
    }
    fields->next = nullptr;
}

void take_block(fields_t *fields)
{
    const char *block = fields->next;
    const size_t left = static_cast<size_t>(fields->end - block);
    const uint64_t blanks = left < BLOCK_BYTES ? blanks_of_part(block, left) : blanks_of_block(block);
    const uint64_t behind_blanks = blanks << 1 | fields->behind_blank;
    fields->begun = add_places(fields->begins, fields->begun, block, ~blanks & behind_blanks);
    fields->ended = add_places(fields->ends, fields->ended, block, blanks & ~behind_blanks);
    fields->behind_blank = blanks >> (BLOCK_BYTES - 1);
    fields->next = block + BLOCK_BYTES;
    if (left < BLOCK_BYTES)
        end_line(fields);
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
