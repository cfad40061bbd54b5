// Listings of random but usual lines, and the two ways to read them: the parser, and the minimum that any
// reader must do.
#pragma once

#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <vector>

// The lines are contiguous, as in the capture's buffer.
struct listing_t {
    std::vector<char> text;
    std::vector<size_t> starts;
};

// Several lines in a row are like one folder: one owner, one kind of names, files of one age.
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

// One line of every other recognised layout, and one of none.
const std::vector<const char *> &other_lines();

listing_t make_listing(const std::function<std::string(random_t *)> &line, size_t lines,
                       size_t lines_of_folder);

// Detects and resolves the line.
void parse(char *line);

// The yardstick: splits the line at its blanks, converts one number and looks one month up. NUMBER and MONTH
// are their fields. For `ls -l`, for DOS, and for all other layouts.
void split_unix(char *line);
void split_dos(char *line);
void split_other(char *line);
