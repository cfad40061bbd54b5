// String, hex and number helpers for NUL-terminated byte strings. The set is fixed: some (malloc_str5,
// malloc_str6, hex_dump and the number readers among them) have no caller in the daemon and exist for other
// users of the library.
//
// None keeps state, blocks or logs, except hex_dump, which writes to the log. Results of malloc_* functions
// come from malloc; the caller releases them with free.
#pragma once

#include <cstddef>

// A new string: the arguments joined. NULL when an argument is NULL or memory is exhausted.
char *malloc_str1(const char *s);
char *malloc_str2(const char *a, const char *b);
char *malloc_str3(const char *a, const char *b, const char *c);
char *malloc_str4(const char *a, const char *b, const char *c, const char *d);
char *malloc_str5(const char *a, const char *b, const char *c, const char *d, const char *e);
char *malloc_str6(const char *a, const char *b, const char *c, const char *d, const char *e, const char *f);

// A new buffer with the `size` bytes at p, without a terminator. NULL when p is NULL or memory is exhausted.
void *malloc_data(const void *p, size_t size);

// Join the arguments into dst, which has `size` bytes: 0, or -1 with dst unchanged when dst or an argument is
// NULL or the result with its terminator does not fit.
int copy_string(char *dst, size_t size, const char *s);
int copy_string2(char *dst, size_t size, const char *a, const char *b);
int copy_string3(char *dst, size_t size, const char *a, const char *b, const char *c);
int copy_string4(char *dst, size_t size, const char *a, const char *b, const char *c, const char *d);

// A new string: s with `ins` inserted before byte `pos`, or appended when pos is at or past its end. NULL
// when s or ins is NULL or memory is exhausted.
char *malloc_ins_str1(const char *s, size_t pos, const char *ins);
// The same with ins1, then ins2; a NULL ins2 gives NULL too.
char *malloc_ins_str2(const char *s, size_t pos, const char *ins1, const char *ins2);

// Removes white space (isspace in the C locale) from both ends, in place. NULL is ignored.
void trim(char *s);
// Removes all c from both ends, in place. NULL is ignored.
void strip_char(char *s, char c);
// Replaces every `from` by `to`, in place. NULL is ignored.
void replace_char(char *s, char from, char to);

// The last component of `path`: the part after its last '/', or path itself without one. NULL gives NULL. The
// result points into path; a path that ends in '/' gives the empty string at its end.
const char *basename_of(const char *path);

// A new string: `path` up to but excluding its last '/' (the whole path if it has none), followed by the
// character `ch` unless that is negative. NULL when path is NULL or memory is exhausted.
char *malloc_directory_of(const char *path, int ch);

// n bytes as upper-case hex pairs with `sep` between them and a terminator, in a new buffer stored in
// *out. Returns its size, n * 3; 0 with *out NULL when data is NULL, n is 0, n * 3 overflows or
// memory is exhausted.
size_t malloc_bin_to_hex(const void *data, size_t n, char sep, char **out);
// The same into dst, which has at least n * 3 bytes. NULL data or n 0 gives the empty string; NULL
// dst is ignored.
void bin_to_hex(const void *data, size_t n, char sep, char *dst);

// Logs n bytes at LOG_INFO: a rule, a line with their addresses, sixteen bytes a line in hex, a rule. NULL
// data is ignored.
void hex_dump(const void *data, size_t n);

// The value of one hex digit, or of two (high digit first), upper or lower case; -1 for anything else.
int hex1_to_num(char c);
int hex2_to_num(const char *text);

// The value of exactly n decimal digits. Any other character gives 0 and adds one to *error_count
// (may be NULL), so that several calls can share one check. n 0 gives 0. A value above 2^32-1 is
// truncated to 32 bits.
unsigned asc_to_num(const char *text, size_t n, int *error_count);
