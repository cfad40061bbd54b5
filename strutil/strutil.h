// String, hex and number helpers over NUL-terminated byte strings. The set is fixed: a few have no caller in
// the daemon (malloc_str5, malloc_str6, hex_dump, the numbers among them) and exist for those who link the
// library.
//
// None keeps state, blocks or logs (but hex_dump, whose output is the log). Results named malloc_* come from
// malloc and belong to the caller, who releases them with free.
#pragma once

#include <cstddef>

// A new string: the arguments joined. NULL when an argument is NULL or memory is exhausted.
char *malloc_str1(const char *s);
char *malloc_str2(const char *a, const char *b);
char *malloc_str3(const char *a, const char *b, const char *c);
char *malloc_str4(const char *a, const char *b, const char *c, const char *d);
char *malloc_str5(const char *a, const char *b, const char *c, const char *d, const char *e);
char *malloc_str6(const char *a, const char *b, const char *c, const char *d, const char *e, const char *f);

// A new buffer with the `size` bytes at p; no terminator is added. NULL when p is NULL or memory is
// exhausted.
void *malloc_data(const void *p, size_t size);

// The arguments joined into dst, which holds `size` bytes: 0, or -1 with dst untouched when dst or an
// argument is NULL or the whole, terminator included, does not fit.
int copy_string(char *dst, size_t size, const char *s);
int copy_string2(char *dst, size_t size, const char *a, const char *b);
int copy_string3(char *dst, size_t size, const char *a, const char *b, const char *c);
int copy_string4(char *dst, size_t size, const char *a, const char *b, const char *c, const char *d);

// A new string: s with `ins` put in before byte `pos`, or behind its end when pos is at or past it. NULL when
// s or ins is NULL or memory is exhausted.
char *malloc_ins_str1(const char *s, size_t pos, const char *ins);
// The same with ins1, then ins2; a NULL ins2 gives NULL too.
char *malloc_ins_str2(const char *s, size_t pos, const char *ins1, const char *ins2);

// In place: white space (as isspace has it in the C locale) off both ends. NULL is ignored.
void trim(char *s);
// In place: runs of c off both ends. NULL is ignored.
void strip_char(char *s, char c);
// In place: every `from` becomes `to`. NULL is ignored.
void replace_char(char *s, char from, char to);

// Where the last component of `path` begins: behind its last '/', or path itself without one. NULL gives
// NULL. The result points into path; a path ending in '/' gives the empty string at its end.
const char *basename_of(const char *path);

// A new string: `path` up to its last '/' (excluded; the whole path when it has none), then the character
// `ch` unless it is negative. NULL when path is NULL or memory is exhausted.
char *malloc_directory_of(const char *path, int ch);

// n bytes as upper-case hex pairs with `sep` between them, in a new buffer stored in *out. Returns its size,
// n * 3; 0 with *out NULL when data is NULL, n is 0, n * 3 overflows or memory is exhausted.
size_t malloc_bin_to_hex(const void *data, size_t n, char sep, char **out);
// The same into dst, which holds at least n * 3 bytes. NULL data or n 0 gives the empty string; NULL dst is
// ignored.
void bin_to_hex(const void *data, size_t n, char sep, char *dst);

// Logs n bytes at LOG_INFO, sixteen a line. NULL data is ignored.
void hex_dump(const void *data, size_t n);

// The value of one hex digit, or of two (high one first): -1 for anything else.
int hex1_to_num(char c);
int hex2_to_num(const char *text);

// The value of exactly n decimal digits. Anything else among them gives 0 and adds one to *error_count (may
// be NULL), so that several calls can share one check. n 0 gives 0. A value above 2^32-1 is cut to 32 bits.
unsigned asc_to_num(const char *text, size_t n, int *error_count);
