#include "listparse/fields.h"
#include "listparse/listparse.h"

#if defined(__SSE2__) && !defined(LISTPARSE_PORTABLE)
#include <emmintrin.h>
#define VECTORS 1
constexpr size_t STEP_BYTES = sizeof(__m128i);
#else
#define VECTORS 0
constexpr size_t STEP_BYTES = sizeof(uint64_t);
#endif

// One bit for each of the first STEP_BYTES bytes, the first one lowest: 1 = blank.
static uint64_t blanks_of_step(const char *bytes)
{
#if VECTORS
    const __m128i step = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(step, _mm_set1_epi8(' '))));
#else
    constexpr uint64_t BLANKS = 0x2020202020202020;
    constexpr uint64_t LOW_BITS = 0x7f7f7f7f7f7f7f7f;
    constexpr uint64_t GATHER = 0x0002040810204081; // moves bit 8 * i + 7 to bit 56 + i
    uint64_t step;
    memcpy(&step, bytes, STEP_BYTES);
    const uint64_t differs = step ^ BLANKS;
    const uint64_t same = ~(((differs & LOW_BITS) + LOW_BITS) | differs) & ~LOW_BITS; // 0x80 for a blank
    return (same * GATHER) >> 56;
#endif
}

// One bit for each of the n bytes, fewer than STEP_BYTES, that end the line: 1 = blank. All past them count
// as blanks.
static uint64_t blanks_of_tail(const fields_t &fields, size_t n)
{
    uint64_t blanks = ~uint64_t{0} << n;
    if (static_cast<size_t>(fields.end - fields.line) >= STEP_BYTES)
        return blanks | blanks_of_step(fields.end - STEP_BYTES) >> (STEP_BYTES - n);
    for (size_t at = 0; at < n; ++at)
        blanks |= uint64_t{fields.line[at] == ' '} << at;
    return blanks;
}

// Adds the place of every bit that is set.
[[gnu::always_inline]] inline static int add_places(const char **places, int count, const char *bytes,
                                                    uint64_t bits)
{
    const char **place = places + count;
    for (; bits != 0; bits &= bits - 1)
        *place++ = bytes + std::countr_zero(bits);
    return static_cast<int>(place - places);
}

[[gnu::always_inline]] inline static void add_fields(fields_t *fields, const char *bytes, uint64_t begins,
                                                     uint64_t ends)
{
    fields->begun = add_places(fields->begins, fields->begun, bytes, begins);
    fields->ended = add_places(fields->ends, fields->ended, bytes, ends);
}

// Takes as many whole steps as are left, a block of them at most. That no bit of theirs is computed from the
// length of the line lets the processor run ahead of strlen.
[[gnu::always_inline]] inline static const char *take_steps(fields_t *fields, const char *bytes)
{
    const size_t left = static_cast<size_t>(fields->end - bytes);
    uint64_t blanks = 0;
    size_t taken = 0;
    for (; taken < BLOCK_BYTES && taken + STEP_BYTES <= left; taken += STEP_BYTES)
        blanks |= blanks_of_step(bytes + taken) << taken;
    if (taken == 0)
        return bytes;
    const uint64_t inside = ~uint64_t{0} >> (BLOCK_BYTES - taken);
    const uint64_t behind_blanks = blanks << 1 | fields->behind_blank;
    add_fields(fields, bytes, ~blanks & behind_blanks & inside, blanks & ~behind_blanks & inside);
    fields->behind_blank = blanks >> (taken - 1);
    return bytes + taken;
}

// The end of the line ends a field; behind a blank it is an empty one.
[[gnu::always_inline]] inline static void take_tail(fields_t *fields, const char *tail)
{
    const size_t n = static_cast<size_t>(fields->end - tail);
    const uint64_t blanks = blanks_of_tail(*fields, n);
    const uint64_t behind_blanks = blanks << 1 | fields->behind_blank;
    const uint64_t empty_field = behind_blanks & uint64_t{1} << n;
    add_fields(fields, tail, (~blanks & behind_blanks) | empty_field,
               (blanks & ~behind_blanks) | empty_field);
}

[[gnu::always_inline]] inline static void take_block(fields_t *fields, const char *block)
{
    const char *bytes = take_steps(fields, block);
    const bool more = static_cast<size_t>(bytes - block) == BLOCK_BYTES;
    fields->next = more ? bytes : nullptr;
    if (!more)
        take_tail(fields, bytes);
}

void listparse_begin_line(fields_t *fields, const char *line)
{
    fields->line = line;
    fields->end = line + strlen(line);
    fields->begun = 0;
    fields->ended = 0;
    fields->behind_blank = 1;
    take_block(fields, line);
}

void listparse_take_next_block(fields_t *fields) { take_block(fields, fields->next); }

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
