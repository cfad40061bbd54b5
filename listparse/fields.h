// What detection and resolution share: the fields of a line, found in one pass and only as far as they are
// asked for.
//
// A field is a span of the line's own bytes; nothing is copied.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

using field_t = std::string_view;

constexpr int FIELDS_MOST = 11; // no layout looks past field 10

// A line is looked at in blocks, and every edge of a block is taken.
constexpr size_t BLOCK_BYTES = 64;
constexpr size_t EDGES_MOST = 2 * FIELDS_MOST + BLOCK_BYTES + 2; // and an empty last field

struct fields_t {
    int found = 0;             // edges so far
    uint64_t behind_blank = 1; // does the next block follow a blank? blanks in front belong to no field
    const char *next;          // the next block
    const char *end;           // of the line

    const char *edges[EDGES_MOST]; // where each field begins and ends, in turn

    explicit fields_t(const char *line) : next(line), end(line + strlen(line)) {}
};

// Finds edges until `wanted` of them are known, 2 * FIELDS_MOST at most, or the line is at its end.
void find_edges(fields_t *fields, int wanted);

inline bool has_edges(fields_t &fields, int wanted)
{
    if (fields.found < wanted)
        find_edges(&fields, wanted);
    return fields.found >= wanted;
}

// Fields are numbered as FindField numbers them, from 0 up.
inline bool has_field(fields_t &fields, int index) { return has_edges(fields, 2 * index + 1); }

// Empty when the line has fewer fields.
inline field_t field(fields_t &fields, int index)
{
    if (!has_edges(fields, 2 * index + 2))
        return {fields.end, 0};
    const char *begin = fields.edges[2 * index];
    return {begin, static_cast<size_t>(fields.edges[2 * index + 1] - begin)};
}

// From where the field begins to the end of the line.
inline field_t field_to_end(fields_t &fields, int index)
{
    const char *begin = has_field(fields, index) ? fields.edges[2 * index] : fields.end;
    return {begin, static_cast<size_t>(fields.end - begin)};
}

inline bool is_digit(char c) { return c >= '0' && c <= '9'; }
inline bool begins_with(field_t text, char c) { return !text.empty() && text.front() == c; }
inline bool begins_with_digit(field_t text) { return !text.empty() && is_digit(text.front()); }

inline size_t find_colon(field_t text)
{
    size_t at = 0;
    while (at < text.size() && text[at] != ':')
        ++at;
    return at;
}

// What lies behind the first n bytes; empty when there are no more.
inline field_t behind(field_t text, size_t n)
{
    text.remove_prefix(n < text.size() ? n : text.size());
    return text;
}
