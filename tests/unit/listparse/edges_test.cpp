// A field has the same value wherever it begins and ends.
#include "listing.h"
#include "listparse/layouts.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

constexpr size_t FAR_BYTES = 140;

// A line of every layout, each with a name of one word.
std::vector<std::string> samples()
{
    std::vector<std::string> lines;
    for (const unix_layout_t &layout : listparse_unix_layouts())
        lines.push_back(layout.sample);
    for (const other_layout_t &layout : listparse_other_layouts())
        if (layout.number != 22) // its name has two words
            lines.push_back(layout.sample);
    lines.push_back("01-15-12 03:04PM <DIR> docs");
    return lines;
}

TEST(Edges, ARunOfBlanksSeparatesLikeOneBlank)
{
    for (const std::string &sample : samples()) {
        const list_format_t format = detect(sample);
        const entry_t expected = resolve(sample, format);
        for (size_t gap = sample.find(' '); gap != std::string::npos; gap = sample.find(' ', gap + 1))
            for (size_t blanks : {1u, 2u, 7u, 16u, 63u, 140u}) {
                std::string line = sample;
                line.insert(gap, blanks, ' ');
                ASSERT_EQ(detect(line), format) << line;
                ASSERT_EQ(resolve(line, format), expected) << line;
            }
    }
}

TEST(Edges, LeadingBlanksMoveNothingButTheTypeCharacter)
{
    for (const std::string &sample : samples()) {
        if (strchr("-dD", sample[0]) != nullptr) // read by their first byte
            continue;
        const list_format_t format = detect(sample);
        for (size_t blanks : {1u, 2u, 140u})
            ASSERT_EQ(resolve(std::string(blanks, ' ') + sample, format), resolve(sample, format)) << sample;
        ASSERT_EQ(detect("  " + sample), format) << sample;
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

} // namespace
