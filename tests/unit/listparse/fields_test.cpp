#include "listing.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace
{

TEST(IsDigitSym, AcceptsDigitsAndOneSymbol)
{
    const std::tuple<uint32_t, uint32_t, int> table[] = {
        {'0', 0, 1},           {'9', 0, 1},
        {'/', 0, 0},           {':', 0, 0},
        {'a', 0, 0},           {'*', 0, 0},
        {'*', '*', 1},         {'5', '*', 1},
        {'-', '*', 0},         {0, 0, 0},
        {'0', '0', 1},         {0xD4, 0, 0},
        {0xB2, 0, 0},          {0xD4, 0xD4, 1},
        {0xD4, '*', 0},        {0x100 + '5', 0, 0},
        {0x100 + '5', '5', 0}, {0x100 + '5', 0x100 + '5', 1},
        {UINT32_MAX, 0, 0},    {UINT32_MAX, UINT32_MAX, 1},
    };
    for (const auto &[ch, sym, result] : table)
        EXPECT_EQ(IsDigitSym(ch, sym), result) << ch << ' ' << sym;
}

TEST(FindField, FieldsAreSeparatedByRunsOfBlanks)
{
    struct {
        const char *line;
        int index;
        int to_end;
        int result;
        const char *out;
    } const table[] = {
        {"  a  b", 0, 0, 1, "a"},
        {"  a  b", 1, 0, 1, "b"},
        {"  a  b", 2, 0, 0, ""},
        {"a b c", 0, 0, 1, "a"},
        {"a b c", 2, 0, 1, "c"},
        {"a b c", 3, 0, 0, ""},
        // to the end of the line, blanks included
        {"a b c", 0, 1, 1, "a b c"},
        {"a b c", 1, 1, 1, "b c"},
        {"a b c", 2, 1, 1, "c"},
        {"a b c", 3, 1, 0, ""},
        {"  a   b  ", 0, 1, 1, "a   b  "},
        {"a b  ", 1, 1, 1, "b  "},
        // only 1 means the end of the line
        {"a b c", 1, 2, 1, "b"},
        {"a b c", 1, -1, 1, "b"},
        // every byte but the blank is part of a field, even a tab
        {"a\tb c", 0, 0, 1, "a\tb"},
        {"a\tb c", 1, 0, 1, "c"},
        {"\ta b", 0, 0, 1, "\ta"},
        {"a\xA0"
         "b\x01 c",
         0, 0, 1,
         "a\xA0"
         "b\x01"},
        // an empty last field
        {"a ", 1, 0, 1, ""},
        {"a   ", 1, 0, 1, ""},
        {"a ", 1, 1, 1, ""},
        {"a ", 2, 0, 0, ""},
        {"", 0, 0, 1, ""},
        {"", 0, 1, 1, ""},
        {"", 1, 0, 0, ""},
        {"   ", 0, 0, 1, ""},
        {"   ", 1, 0, 0, ""},
        // a negative index gives the line from its first byte
        {"a b", -1, 0, 1, "a"},
        {"a b", -1, 1, 1, "a b"},
        {"  a b", -1, 0, 1, ""},
        {"  a b", -1, 1, 1, "  a b"},
        {"  a b", -7, 1, 1, "  a b"},
        {"", -1, 1, 1, ""},
    };
    for (const auto &row : table) {
        auto out = std::make_unique<char[]>(strlen(row.line) + 1);
        memset(out.get(), 'Z', strlen(row.line) + 1);
        EXPECT_EQ(FindField(row.line, out.get(), row.index, row.to_end), row.result)
            << '"' << row.line << "\" " << row.index << ' ' << row.to_end;
        EXPECT_STREQ(out.get(), row.out) << '"' << row.line << "\" " << row.index << ' ' << row.to_end;
    }
}

TEST(FindField, NegativeIndexIntoNoLineFindsNothing)
{
    char out[] = "Z";
    EXPECT_EQ(FindField(nullptr, out, -1, 0), 0);
    EXPECT_STREQ(out, "");
}

void expect_permissions(std::initializer_list<std::pair<const char *, uint32_t>> table)
{
    for (const auto &[text, value] : table)
        EXPECT_EQ(AttrString2Value(text), value) << text;
}

TEST(AttrString2Value, EachPositionHasItsHexadecimalBit)
{
    expect_permissions({{"r--------", 0x400},
                        {"-w-------", 0x200},
                        {"--x------", 0x100},
                        {"---r-----", 0x40},
                        {"----w----", 0x20},
                        {"-----x---", 0x10},
                        {"------r--", 0x4},
                        {"-------w-", 0x2},
                        {"--------x", 0x1},
                        {"---------", 0},
                        {"rwxrwxrwx", 0x777},
                        {"rwxr-xr-x", 0x755},
                        {"rw-r--r--", 0x644}});
}

TEST(AttrString2Value, SpecialLettersCountOnlyInTheirOwnPlace)
{
    expect_permissions({{"--s------", 0x4100},
                        {"--S------", 0x4000},
                        {"-----s---", 0x2010},
                        {"-----S---", 0x2000},
                        {"--------t", 0x1001},
                        {"--------T", 0x1000},
                        {"rwsr-sr-t", 0x7755},
                        {"rwSr-Sr-T", 0x7644}});
    // elsewhere they are set like any letter
    expect_permissions({{"--t------", 0x100},
                        {"--T------", 0x100},
                        {"-----t---", 0x10},
                        {"-----T---", 0x10},
                        {"--------s", 0x1},
                        {"--------S", 0x1},
                        {"s--------", 0x400},
                        {"-S-------", 0x200},
                        {"---s-----", 0x40},
                        {"----S----", 0x20},
                        {"------t--", 0x4},
                        {"-------T-", 0x2}});
}

TEST(AttrString2Value, EveryByteButTheDashIsSet)
{
    expect_permissions({{"?????????", 0x777},
                        {"xxxxxxxxx", 0x777},
                        {"         ", 0x777},
                        {"-----l---", 0x10},
                        {"--\xFF------", 0x100},
                        {"r-xrwx\xD4\xC2-", 0x576},
                        {"[RWCEAFMS]", 0x777}});
}

TEST(AttrString2Value, ShortTextIsFilledWithDashesAndLongTextCut)
{
    expect_permissions({{"", 0},
                        {"r", 0x400},
                        {"rwS", 0x4600},
                        {"rwxr-xr-", 0x754},
                        {"rwxr-xr-x+", 0x755},
                        {"rwxr-xr--12", 0x754},
                        {"---------rwx", 0}});
}

TEST(Atoi64, ConvertsAWholeDecimalNumber)
{
    const std::pair<const char *, int64_t> table[] = {{"0", 0},
                                                      {"1234", 1234},
                                                      {"007", 7},
                                                      {"-5", -5},
                                                      {"+7", 7},
                                                      {" 42", 42},
                                                      {"\t 42", 42},
                                                      {"4294967296", 4294967296},
                                                      {"9223372036854775807", INT64_MAX},
                                                      {"-9223372036854775808", INT64_MIN}};
    for (const auto &[text, value] : table) {
        errno = 0;
        EXPECT_EQ(_atoi64(text), value) << text;
    }
}

TEST(Atoi64, AnythingAfterTheNumberGivesZero)
{
    for (const char *text :
         {"", "123 ", "12K", "8,", "1,234", "1.5", "0x10", "<DIR>", "-", "--5", "5-", " ", "12\t",
          "12\xD4\xC2", "9223372036854775808", "-9223372036854775809", "99999999999999999999999999"}) {
        errno = 0;
        EXPECT_EQ(_atoi64(text), 0) << '"' << text << '"';
    }
}

TEST(Atoi64, ReadsANumberOfAnyLengthAndGivesZeroForAnyOtherByte)
{
    const std::string digits = "9081726354192837465";
    int64_t value = 0;
    for (size_t length = 1; length <= digits.size(); length++) {
        const std::string text = digits.substr(0, length);
        value = value * 10 + (text.back() - '0');
        errno = 0;
        EXPECT_EQ(_atoi64(text.c_str()), value);
        EXPECT_EQ(_atoi64(("000" + text).c_str()), value);
        EXPECT_EQ(_atoi64(("-" + text).c_str()), -value);
        for (size_t at = 0; at < length; at++)
            for (char byte : {'/', ':', '.', 'K', '\xB9', '\x7F'}) {
                std::string broken = text;
                broken[at] = byte;
                EXPECT_EQ(_atoi64(broken.c_str()), 0) << broken;
            }
    }
}

TEST(Atoi64, AStaleRangeErrorGivesZeroUntilItIsCleared)
{
    errno = ERANGE;
    EXPECT_EQ(_atoi64("5"), 0);
    errno = EINVAL; // only the range error counts
    EXPECT_EQ(_atoi64("5"), 5);
    errno = 0;
    EXPECT_EQ(_atoi64("99999999999999999999"), 0);
    EXPECT_EQ(_atoi64("5"), 0) << "errno still holds the range error";
    errno = 0;
    EXPECT_EQ(_atoi64("5"), 5);
}

} // namespace
