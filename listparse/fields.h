// What detection and resolution share: the fields of a line, found in one pass.
//
// A field is a span of the line's own bytes; nothing is copied.
#pragma once

#include <cstddef>
#include <string_view>

using field_t = std::string_view;

constexpr int FIELDS_MOST = 11; // no layout looks past field 10

struct fields_t {
    const char *edges[2 * FIELDS_MOST]; // where each field begins and ends, in turn
    const char *end;                    // of the line
    int count;
};

// Finds the first `most` fields of the line, FIELDS_MOST at most. They are numbered as FindField numbers
// them.
void find_fields(fields_t *fields, const char *line, int most);

inline bool has_field(const fields_t &fields, int index) { return index >= 0 && index < fields.count; }

// Empty when the line has fewer fields.
inline field_t field(const fields_t &fields, int index)
{
    if (!has_field(fields, index))
        return {fields.end, 0};
    const char *begin = fields.edges[2 * index];
    return {begin, static_cast<size_t>(fields.edges[2 * index + 1] - begin)};
}

// From where the field begins to the end of the line.
inline field_t field_to_end(const fields_t &fields, int index)
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
