// What detection and resolution share: the fields of a line, found in one pass and only as far as they are
// asked for.
//
// A field is a span of the line's own bytes; nothing is copied.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

using field_t = std::string_view;

static_assert(std::endian::native == std::endian::little,
              "of bytes that are read as a word, the first is lowest");

constexpr int FIELDS_MOST = 11; // no layout looks past field 10

// A line is looked at in blocks, and every field of a block is taken: every second byte may begin one, and
// behind the line's last blank begins one more.
constexpr size_t BLOCK_BYTES = 64;
constexpr size_t FIELDS_KEPT = FIELDS_MOST + BLOCK_BYTES / 2 + 1;

struct fields_t {
    int begun;             // fields whose beginning is known
    int ended;             // fields whose end is known
    uint64_t behind_blank; // does the next block follow a blank? blanks in front belong to no field
    const char *next;      // the next block; NULL when the line is at its end
    const char *line;
    const char *end; // of the line
    const char *begins[FIELDS_KEPT];
    const char *ends[FIELDS_KEPT];
};

// Takes the fields of the line's first block, and of each further one.
void listparse_begin_line(fields_t *fields, const char *line);
void listparse_take_next_block(fields_t *fields);

// Makes the fields in front of field `last` known, and where that begins; it may be FIELDS_MOST - 1 at most.
// Fields are numbered as FindField numbers them. What follows sees nothing behind it.
static inline void find_fields(fields_t *fields, int last)
{
    while (fields->begun <= last && fields->next != nullptr)
        listparse_take_next_block(fields);
}

static inline bool has_field(const fields_t &fields, int index) { return index < fields.begun; }

// Empty when the line has fewer fields.
static inline field_t field(const fields_t &fields, int index)
{
    if (index >= fields.ended)
        return "";
    return {fields.begins[index], static_cast<size_t>(fields.ends[index] - fields.begins[index])};
}

// From where the field begins to the end of the line.
static inline field_t field_to_end(const fields_t &fields, int index)
{
    const char *begin = has_field(fields, index) ? fields.begins[index] : fields.end;
    return {begin, static_cast<size_t>(fields.end - begin)};
}

static inline bool is_digit(char c) { return c >= '0' && c <= '9'; }
static inline bool begins_with(field_t text, char c) { return !text.empty() && text.front() == c; }
static inline bool begins_with_digit(field_t text) { return !text.empty() && is_digit(text.front()); }

static inline size_t find_colon(field_t text)
{
    size_t at = 0;
    while (at < text.size() && text[at] != ':')
        ++at;
    return at;
}

// What lies behind the first n bytes; empty when there are no more.
static inline field_t behind(field_t text, size_t n)
{
    text.remove_prefix(n < text.size() ? n : text.size());
    return text;
}
