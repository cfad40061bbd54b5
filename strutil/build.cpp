#include "strutil/strutil.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string_view>

namespace
{

// One string to be joined, measured once. A NULL string has no text.
struct piece_t {
    std::string_view text;
    piece_t(const char *s) : text(s == nullptr ? std::string_view() : std::string_view(s)) {}
    piece_t(std::string_view part) : text(part) {}
};
using pieces_t = std::initializer_list<piece_t>;

} // namespace

// Bytes of the whole, terminator included; 0 when a piece is NULL or the sum overflows.
static size_t joined_size(pieces_t pieces)
{
    size_t size = 1;
    for (const piece_t &piece : pieces) {
        if (piece.text.data() == nullptr || __builtin_add_overflow(size, piece.text.size(), &size))
            return 0;
    }
    return size;
}

static void join(char *dst, pieces_t pieces)
{
    for (const piece_t &piece : pieces) {
        memcpy(dst, piece.text.data(), piece.text.size());
        dst += piece.text.size();
    }
    *dst = '\0';
}

static char *malloc_joined(pieces_t pieces)
{
    const size_t size = joined_size(pieces);
    auto *whole = size == 0 ? nullptr : static_cast<char *>(malloc(size));
    if (whole != nullptr)
        join(whole, pieces);
    return whole;
}

static int copy_joined(char *dst, size_t capacity, pieces_t pieces)
{
    const size_t size = joined_size(pieces);
    if (dst == nullptr || size == 0 || size > capacity)
        return -1;
    join(dst, pieces);
    return 0;
}

char *malloc_str1(const char *s) { return malloc_joined({s}); }

char *malloc_str2(const char *a, const char *b) { return malloc_joined({a, b}); }

char *malloc_str3(const char *a, const char *b, const char *c) { return malloc_joined({a, b, c}); }

char *malloc_str4(const char *a, const char *b, const char *c, const char *d)
{
    return malloc_joined({a, b, c, d});
}

char *malloc_str5(const char *a, const char *b, const char *c, const char *d, const char *e)
{
    return malloc_joined({a, b, c, d, e});
}

char *malloc_str6(const char *a, const char *b, const char *c, const char *d, const char *e, const char *f)
{
    return malloc_joined({a, b, c, d, e, f});
}

void *malloc_data(const void *p, size_t size)
{
    void *copy = p == nullptr ? nullptr : malloc(size);
    if (copy != nullptr)
        memcpy(copy, p, size);
    return copy;
}

int copy_string(char *dst, size_t size, const char *s) { return copy_joined(dst, size, {s}); }

int copy_string2(char *dst, size_t size, const char *a, const char *b)
{
    return copy_joined(dst, size, {a, b});
}

int copy_string3(char *dst, size_t size, const char *a, const char *b, const char *c)
{
    return copy_joined(dst, size, {a, b, c});
}

int copy_string4(char *dst, size_t size, const char *a, const char *b, const char *c, const char *d)
{
    return copy_joined(dst, size, {a, b, c, d});
}

char *malloc_ins_str1(const char *s, size_t pos, const char *ins) { return malloc_ins_str2(s, pos, ins, ""); }

char *malloc_ins_str2(const char *s, size_t pos, const char *ins1, const char *ins2)
{
    if (s == nullptr)
        return nullptr;
    const std::string_view whole(s);
    const size_t at = pos < whole.size() ? pos : whole.size();
    const std::string_view head(s, at);
    const std::string_view tail(s + at, whole.size() - at);
    return malloc_joined({head, ins1, ins2, tail});
}
