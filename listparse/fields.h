// The fields of a line, for detection and resolution. They are found from left to right and only as far as
// needed, so the name, the longest field, is rarely scanned.
//
// A field is a span of the line's own bytes, without a terminator: it is valid until the line is changed or
// freed. No function here fails, blocks or allocates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

using field_t = std::string_view;

constexpr int FIELDS_MOST = 11; // no layout looks past field 10

struct fields_t {
    int found;        // number of entries set below; a field that the line does not have is empty
    int begun;        // number of the line's fields whose start is known
    const char *next; // the start of the next field, or the end of the line
    const char *begins[FIELDS_MOST];
    const char *ends[FIELDS_MOST];
};

// Begins with a NUL-terminated line, which the caller keeps. Its fields are those of FindField: a line that
// ends in blanks has an empty last field, and an empty line has one field.
static inline void begin_line(fields_t *fields, const char *line)
{
    while (*line == ' ')
        ++line;
    fields->found = 0;
    fields->begun = 1;
    fields->next = line;
}

// Finds the fields up to index `last`, FIELDS_MOST - 1 at most, after those that were found before; field()
// and has_field() call it when needed.
void listparse_find(fields_t *fields, int last);

// Field `index`, 0 to FIELDS_MOST - 1; empty when the line has fewer.
static inline field_t field(fields_t &fields, int index)
{
    if (index >= fields.found)
        listparse_find(&fields, index);
    return {fields.begins[index], static_cast<size_t>(fields.ends[index] - fields.begins[index])};
}

// True when the line has a field `index`, 0 to FIELDS_MOST; it may be the empty one at its end.
static inline bool has_field(fields_t &fields, int index)
{
    if (index > fields.found)
        listparse_find(&fields, index - 1);
    return index < fields.begun;
}

// From the start of field `index` to the end of the line, including blanks. The line must have the field.
static inline field_t field_to_end(fields_t &fields, int index)
{
    return index < fields.found ? fields.begins[index] : fields.next;
}

// Digits are those of ASCII. are_digits() examines the two bytes from `at` on, which the text must have;
// begins_with() and begins_with_digit() are false for an empty text.
static inline bool is_digit(char c) { return c >= '0' && c <= '9'; }
static inline bool are_digits(field_t text, size_t at)
{
    return is_digit(text[at]) && is_digit(text[at + 1]);
}
static inline bool begins_with(field_t text, char c) { return !text.empty() && text.front() == c; }
static inline bool begins_with_digit(field_t text) { return !text.empty() && is_digit(text.front()); }

// The number of digits at the start of the text.
static inline size_t count_digits(field_t text)
{
    size_t n = 0;
    while (n < text.size() && is_digit(text[n]))
        ++n;
    return n;
}

// The position of the first colon; the length of the text when there is none.
static inline size_t find_colon(field_t text)
{
    size_t at = 0;
    while (at < text.size() && text[at] != ':')
        ++at;
    return at;
}

// The text after the first n bytes; empty when there are no more.
static inline field_t behind(field_t text, size_t n)
{
    text.remove_prefix(n < text.size() ? n : text.size());
    return text;
}
