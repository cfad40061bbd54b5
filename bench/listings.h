// Listings of random but usual lines, and the two programs that read them: the parser, and the least that any
// reader of listings does.
#pragma once

#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <vector>

// The lines lie behind each other, as in the buffer that a listing is captured in.
struct listing_t {
    std::vector<char> text;
    std::vector<size_t> starts;
};

// A stretch of lines is one folder: one owner, names of one kind, files of one age.
struct random_t {
    std::mt19937 engine{20240115};
    size_t folder = 0;
    size_t below(size_t n) { return engine() % n; }
    bool one_in(size_t n) { return below(n) == 0; }
    template <size_t N> const char *of_folder(const char *const (&texts)[N]) const
    {
        return texts[folder % N];
    }
};

// printf's text, 511 bytes at most.
std::string text(const char *format, ...) __attribute__((format(printf, 1, 2)));

std::string unix_line(random_t *random);
std::string dos_line(random_t *random);
std::string mixed_line(random_t *random);

// One line of every other layout that is recognised, and one that is none.
const std::vector<const char *> &other_lines();

listing_t make_listing(const std::function<std::string(random_t *)> &line, size_t lines,
                       size_t lines_of_folder);

// Detects and resolves the line.
void parse(char *line);

// The measuring stick: the line is split at its blanks, one number is converted, one month looked up. NUMBER
// and MONTH are their fields. For `ls -l`, for DOS, and for all else.
void split_unix(char *line);
void split_dos(char *line);
void split_other(char *line);
