#include "strutil/strutil.h"

#include <cctype>
#include <cstring>

// Removes the leading and trailing characters of a set and moves the rest to the start of s. `in_set` is
// never called for the terminator.
template <typename Predicate> static void keep_middle(char *s, Predicate in_set)
{
    if (s == nullptr)
        return;
    const char *first = s;
    while (*first != '\0' && in_set(*first))
        first++;
    const char *end = first; // behind the last character to keep
    for (const char *at = first; *at != '\0'; at++) {
        if (!in_set(*at))
            end = at + 1;
    }
    const auto length = static_cast<size_t>(end - first);
    memmove(s, first, length);
    s[length] = '\0';
}

void trim(char *s)
{
    keep_middle(s, [](char c) { return isspace(static_cast<unsigned char>(c)) != 0; });
}

void strip_char(char *s, char c)
{
    keep_middle(s, [c](char other) { return other == c; });
}

void replace_char(char *s, char from, char to)
{
    if (s == nullptr)
        return;
    for (; *s != '\0'; s++) {
        if (*s == from)
            *s = to;
    }
}
