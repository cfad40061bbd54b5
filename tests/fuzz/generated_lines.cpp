// Detection and resolution against the model over generated lines: every layout, with usual and odd values,
// and a third of them damaged.
//
//     generated_lines [COUNT [SEED]]
//
// Prints how many lines of each layout there were; fails if there were too few of one. A line that fails is
// printed.
#include "listparse/listparse.h"
#include "reading.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace
{

// --- the parts of a line

// A letter of a layout stands for one of its texts, in half of the cases for the first and usual one; all
// else stands for itself. Texts are separated by '|'; a digit directly after a byte in hexadecimal is written
// in hexadecimal as well.
struct letter_t {
    char letter;
    const char *texts;
};
constexpr letter_t LETTERS[] = {
    {'P',
     "-rw-r--r--|drwxr-xr-x|lrwxrwxrwx|-rwsr-sr-t|-rwSr-Sr-T|drwx------|crw-rw-rw-|-rwxrwx--|drwxrwxr-x+|"
     "----------|Lrwxrwxrwx|-RW-R--R--"},
    {'p', "rw-r--r--|rwxr-xr-x|r--------|rw-r--r--1|rwxrwxrwxt"},
    {'O', "root|1000|ftp|a|an-owner-of-more-than-forty-characters-in-all|Jan|1"},
    {'N', "1|0|12|4096|123456789|12345678|1234567890123456|12345678901234567|9223372036854775807|"
          "9223372036854775808|12a|-5|+7"},
    {'S', "0|77824|4294967296|1234567890123456|<DIR>|<DIR>|512|5x|99999999999999999999"},
    {'M', "Jan|feb|MAR|Sep|Dec|an|Ma|nFeb|13|5|Juli|\xe6\x9c\x88"},
    {'m',
     "3/15|12/31|1\xe6\x9c\x88\x31\x35|4\xb7\xee\x32|5\x8c\x8e\x33\x31|6\xd4\xc2\x37|2/32|0/1|13/1|7/|8\xd4"},
    {'C', "1\xd4\xc2|12\xd4\xc2|0\xd4\xc2|13\xd4\xc2|7\xd4|3\xd4\xc2x"},
    {'D', "1|15|31|32|0|07|9\xc8\xd5|28"},
    {'Y', "2024|1999|1900|1899|70|2100|2012\xc4\xea"},
    {'T',
     "12:34|00:00|24:00|24:59|25:00|12:60|1:2|12:34:56|9:05|a:m|P:M|3\xe6\x99\x82\x34|10\xbb\xfe\x32\x30|"
     "11;~30|7\x8e\x9e\x38|12:"},
    {'A', "09:18AM|12:00PM|12:00AM|11:59PM|03:04pm|10:20|10:20:30|7:05P|12:5am"},
    {'8', "98-12-31|01-15-12|12/31/98|12-31-70|13-01-15|00.01.02|15-01-12|69-01-01"},
    {'9', "01-15-112|112-01-15|999-99-99|12-31-199|98-12-31|01-15-12"},
    {'L', "2012-01-15|2012/01/15|1999.12.31|2012-1-15|12-01-15"},
    {'K', "0001|****|1|**|98/12/31|**/**/**|9*/12/31"},
    {'F', "clip.mxf|a b  c| lead|link -> target|x.lnk|Report.LNK|.|..|a -> b -> c|name/|\xc3\xa9t\xc3\xa9|"
          "fourteen_chars|0123456789abcdefghij||*|docs\\|'q uoted'"},
    {'W', "*DIR|*FILE|VOL|PO|d|-|b|abcd|3390|<DIR>|DATA.SET"},
};

// Lines of the Unix family up to their dates: owner, group and size, more or fewer fields, a glued link
// count, or a detached type.
constexpr const char *FRONTS[] = {
    "P   N O O S ", "P N O O O S ", "P N O O O O S ", "P N O S ",      "P N S ",  "P S ",
    " P N O O S ",  "PN O O S ",    "PN O O O S ",    "PN O O O O S ", "PN O S ", "PN S ",
    "- p N O O S ", "d p N O O S ", "- p O O S ",     "l p N O O S ",
};
constexpr const char *DATES[] = {"M D T F", "M D Y F", "m T F", "m Y F", "Y C D F"};

// All other layouts, separated by '|'.
constexpr const char *OTHERS =
    "8  A  S F|9  A  S F|F S 8 A|F S 9 A F|L T S F|L A S F|L 8 S F|O N 8 8 W F|O N 8 T W F|"
    "WWWW N K K W 8 F|abcd VOL K K x K F|W 8 8 W W N F|F S M D Y T|F S m D Y T|P O N 8 8 F|"
    "drwxr-xr-x O N 8 T F|P 8 8 F|-rw-r--r-- 8 8 F|N a b M D T Y F|S a b M D T Y F|"
    "O 8 1020 W W N F|O 8 N d b N F|W N L N N W N N W F|total N|F|O O O|O N 8 A W F|W N 8 A F";

std::vector<std::string_view> parted(std::string_view texts)
{
    std::vector<std::string_view> parts;
    for (size_t end; (end = texts.find('|')) != texts.npos; texts.remove_prefix(end + 1))
        parts.push_back(texts.substr(0, end));
    parts.push_back(texts);
    return parts;
}

// --- a line

struct maker_t {
    std::mt19937 engine;

    size_t below(size_t n) { return engine() % n; }

    std::string any_of(char letter)
    {
        static const std::map<char, std::vector<std::string_view>> TEXTS = [] {
            std::map<char, std::vector<std::string_view>> texts;
            for (const letter_t &known : LETTERS)
                texts[known.letter] = parted(known.texts);
            return texts;
        }();
        const auto found = TEXTS.find(letter);
        if (found == TEXTS.end())
            return std::string(1, letter);
        return std::string(found->second[below(2) == 0 ? 0 : below(found->second.size())]);
    }

    std::string layout()
    {
        static const std::vector<std::string_view> LAYOUTS = parted(OTHERS);
        if (below(2) == 0)
            return std::string(LAYOUTS[below(LAYOUTS.size())]);
        return std::string(FRONTS[below(std::size(FRONTS))]) + DATES[below(std::size(DATES))];
    }

    void damage(std::string *line)
    {
        static constexpr std::string_view BYTES = " -:/0129<*.aAdJ\xd4\xc2\xe6\x9c\x88";
        const size_t at = below(line->size() + 1);
        const char byte = BYTES[below(BYTES.size())];
        switch (below(4)) {
        case 0:
            line->insert(at, 1, byte);
            break;
        case 1:
            line->erase(at, 1 + below(3));
            break;
        case 2:
            line->insert(at, line->substr(below(line->size() + 1), below(12)));
            break;
        default:
            line->replace(at, at < line->size() ? 1 : 0, 1, byte);
        }
    }

    std::string line()
    {
        std::string line;
        for (const char letter : layout())
            line += any_of(letter);
        if (below(3) == 0) {
            for (size_t times = 1 + below(3); times > 0; --times)
                damage(&line);
        }
        return line;
    }
};

// --- the run

std::string line_in_work;

void show_line(int)
{
    fprintf(stderr, "in the line: %s\n", line_in_work.c_str());
    _Exit(EXIT_FAILURE);
}

// (10, 11, 14, 19, 20, 46 and 47 need a year that reads as a month: only CheckUnixType returns them.)
int print_counts(const std::map<int, size_t> &counts, size_t lines)
{
    constexpr int NUMBERS_FOUND[] = {
        0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  12, 13, 15, 16, 17, 18, 42,
        43, 44, 45, 21, 22, 23, 24, 26, 27, 28, 29, 32, 33, 37, 38, 39, LIST_FMT_UNKNOWN};
    constexpr size_t LEAST_PER_MILLION = 1000;
    int seldom = 0;
    for (const int number : NUMBERS_FOUND) {
        const auto found = counts.find(number);
        const size_t count = found != counts.end() ? found->second : 0;
        printf("layout %2d: %zu\n", number, count);
        seldom += count * 1'000'000 < LEAST_PER_MILLION * lines ? 1 : 0;
    }
    printf("%zu lines agree, %d layouts found too seldom\n", lines, seldom);
    return seldom;
}

} // namespace

int main(int argc, char **argv)
{
    const size_t lines = argc > 1 ? strtoul(argv[1], nullptr, 10) : 1'000'000;
    maker_t maker{std::mt19937(argc > 2 ? static_cast<unsigned>(strtoul(argv[2], nullptr, 10)) : 1)};
    signal(SIGABRT, show_line);
    std::map<int, size_t> counts;
    for (size_t n = 0; n < lines; ++n) {
        line_in_work = maker.line();
        const int format = check_reading(line_in_work);
        ++counts[format == LIST_FMT_UNKNOWN ? format : format & 0xFF];
    }
    return print_counts(counts, lines) == 0 && lines > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
