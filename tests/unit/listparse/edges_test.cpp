// Lines are looked at in blocks of bytes and numbers in words: a field must be the same wherever it begins
// and ends.
#include "listing.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

// Past two blocks.
constexpr size_t FAR_BYTES = 140;

struct layout {
    const char *line;
    list_format_t format;
    int fields_in_front_of_name; // -1 = the name is a field like the others
};
constexpr layout LAYOUTS[] = {
    {"-rw-r--r-- 1 own group 1234 Jan 15 12:34 my  name", 0x200, 8},
    {"-rw-r--r-- 1 own group 1234 3/15 12:34 my  name", 0x201, 7},
    {"drwxr-xr-x12 own group 4096 Dec 31 1998 my  name", 0x202, 7},
    {"-rw-r--r-- 1 own group 1234 2012 1" MONTH_GB " 15 my  name", 0x204, 8},
    {"-rw-r--r-- own 1234 Jan 15 12:34 my  name", 0x20C, 6},
    {"-rw-r--r-- 1 own group x1 x2 1234 Jan 15 12:34 my  name", 0x20F, 10},
    {"-rw-r--r-- 1 own group x1 x2 1234 3/15 12:34 my  name", 0x210, 9},
    {"98-12-31 10:20 555 my  name", 21, 3},
    {"01-15-12 03:04PM <DIR> my  name", 22, 3},
    {"name 1234 01-15-12 10:20", 23, -1},
    {"2012-01-15 10:20:30 555 my  name", 24, 3},
    {"QSYSOPR 1234 01/15/12 10:20:30 *FILE my  name", 26, 5},
    {"WRK1 3390 12 34 PO 12/01/15 my  name", 27, 6},
    {"name 1234 Jan 15 2012 10:20", 28, -1},
    {"D 12-01-15 10:20:30 xx xx 1234 my  name", 29, 6},
    {"-rw-r--r-- 12-01-15 10:20:30 my  name", 32, 3},
    {"-rw-r--r-- owner 1234 12-01-15 10:20:30 my  name", 33, 5},
    {"1234 xx yy Jan 15 10:20 2012 my  name", 37, 7},
    {"owner 12-01-15 1020 F xx 1234 my  name", 38, 6},
    {"WRK001 3390 2012/01/15 1 15 FB 80 27920 PO my  name", 39, 9},
};

// Where the line's single blanks stand, up to the one in front of the name.
std::vector<size_t> gaps_of(const layout &row)
{
    std::vector<size_t> gaps;
    std::string line = row.line;
    for (size_t at = line.find(' '); at != std::string::npos; at = line.find(' ', at + 1))
        if (row.fields_in_front_of_name < 0 || gaps.size() < static_cast<size_t>(row.fields_in_front_of_name))
            gaps.push_back(at);
    return gaps;
}

TEST(Edges, RunOfBlanksOfAnyLengthSeparatesAsOne)
{
    for (const auto &row : LAYOUTS) {
        const entry_t expected = resolve(row.line, row.format);
        ASSERT_NE(expected.name, "") << row.line;
        for (size_t gap : gaps_of(row))
            for (size_t blanks = 1; blanks <= FAR_BYTES; blanks++) {
                std::string line = row.line;
                line.insert(gap, blanks, ' ');
                ASSERT_EQ(detect(line), row.format) << line;
                ASSERT_EQ(resolve(line, row.format), expected) << line;
            }
    }
}

TEST(Edges, BlanksInFrontMoveNothingButTheTypeCharacter)
{
    for (const auto &row : LAYOUTS) {
        if (strchr("-dD", row.line[0]) != nullptr) // these are judged by their first byte
            continue;
        const entry_t expected = resolve(row.line, row.format);
        for (size_t blanks = 1; blanks <= FAR_BYTES; blanks++) {
            std::string line = std::string(blanks, ' ') + row.line;
            ASSERT_EQ(detect(line), row.format) << line;
            ASSERT_EQ(resolve(line, row.format), expected) << line;
        }
    }
}

TEST(Edges, FieldsOfAnyLengthMoveNothing)
{
    const entry_t usual = file("").bytes(1234).dated(0, 1, 15).at(12, 34).mode(0x644);
    for (size_t length = 1; length <= FAR_BYTES; length++) {
        std::string text(length, 'o');
        std::string line = "-rw-r--r-- 1 " + text + " " + text + " 1234 Jan 15 12:34 " + text + " " + text;
        expect_read({
            {"owner, group and name", line, 0x200,
             usual.owned(text.substr(0, 40)).with(&entry_t::name, text + " " + text)},
            {"name first", text + "  1234 01-15-12 10:20", 23,
             file(text).bytes(1234).dated(2012, 1, 15).at(10, 20)},
        });
        ASSERT_EQ(resolve("01-15-12 10:20 1234 " + text, 22).name, text);
    }
}

TEST(Edges, LineOfManyFieldsIsReadAsFarAsItMatters)
{
    std::string words;
    for (int i = 0; i < 500; i++)
        words += "x ";
    EXPECT_EQ(detect(words), LIST_FMT_UNKNOWN);
    EXPECT_EQ(resolve("01-15-12 10:20 1234 " + words, 22).name, words);
    EXPECT_EQ(detect("01-15-12 10:20 1234 " + words), 22);
    EXPECT_EQ(detect("-rw-r--r-- 1 own group 1234 Jan 15 12:34 " + words), 0x200);
    EXPECT_EQ(resolve("-rw-r--r-- 1 own group 1234 Jan 15 12:34 " + words, 0x200).name, words);
}

TEST(Edges, TrailingBlanksOfAnyNumberLeaveAnEmptyName)
{
    for (size_t blanks = 1; blanks <= FAR_BYTES; blanks++) {
        std::string line = "-rw-r--r-- 1 own group 1234 Jan 15 12:34" + std::string(blanks, ' ');
        ASSERT_EQ(detect(line), 0x200) << blanks;
        ASSERT_EQ(resolve(line, 0x200).name, "") << blanks;
        ASSERT_EQ(resolve(line, 0x200).type, FILE_TYPE_FILE) << blanks;
        line = "01-15-12 10:20 1234" + std::string(blanks, ' ');
        ASSERT_EQ(detect(line), 22) << blanks;
        ASSERT_EQ(resolve(line, 22).name, "") << blanks;
    }
}

// The size at three places: first in a line, inside, and last.
void expect_size(const std::string &text, int64_t size)
{
    EXPECT_EQ(resolve("-rw-r--r-- 1 own group " + text + " Jan 15 12:34 n", 0x200).size, size) << text;
    EXPECT_EQ(resolve("01-15-12 10:20 " + text + " n", 22).size, size) << text;
    EXPECT_EQ(resolve("n " + text + " 01-15-12 10:20", 23).size, size) << text;
    EXPECT_EQ(resolve(text + " xx yy Jan 15 10:20 2012 n", 37).size, size) << text;
    EXPECT_EQ(resolve("01-15-12 10:20 " + text, 22).size, size) << text;
}

TEST(Edges, SizeOfAnyNumberOfDigitsIsReadWhole)
{
    const std::string digits = "9081726354192837465";
    int64_t value = 0;
    for (size_t length = 1; length <= digits.size(); length++) {
        value = value * 10 + (digits[length - 1] - '0');
        const std::string text = digits.substr(0, length);
        expect_size(text, value);
        expect_size("000" + text, value);
        expect_size("+" + text, value);
        expect_size("-" + text, -value);
    }
    expect_size("9999999999999999999", 0); // 19 digits, and too many
    expect_size("10000000000000000000", 0);
    expect_size("00000000000000000000000000000012", 12);
}

TEST(Edges, ByteThatIsNoDigitAnywhereInTheSizeMakesItNought)
{
    const std::string digits = "9081726354192837465";
    for (size_t length = 1; length <= digits.size(); length++)
        for (size_t at = 0; at < length; at++)
            for (char byte : {'/', ':', '-', '.', 'K', '\t', '\xB9', '\x7F'}) {
                std::string text = digits.substr(0, length);
                text[at] = byte;
                if (at == 0 && (byte == '-' || byte == '\t')) // a sign and white space may stand in front
                    continue;
                expect_size(text, 0);
            }
    expect_size("\t12", 12);
    expect_size("-", 0);
    expect_size("\t", 0);
}

} // namespace
