#include "strutil/strutil.h"

#include <gmock/gmock.h>
#include <string_view>

TEST(Hex1ToNum, IsTheValueOfADigitAndMinusOneForEveryOtherByte)
{
    constexpr std::string_view LOWER = "0123456789abcdef";
    constexpr std::string_view UPPER = "0123456789ABCDEF";
    for (int byte = 0; byte < 256; byte++) {
        const char c = static_cast<char>(byte);
        const size_t at = LOWER.find(c) != LOWER.npos ? LOWER.find(c) : UPPER.find(c);
        EXPECT_EQ(hex1_to_num(c), at == UPPER.npos ? -1 : static_cast<int>(at)) << byte;
    }
}

TEST(Hex2ToNum, IsTheValueOfTwoDigits)
{
    const std::pair<const char *, int> cases[] = {{"7f", 127}, {"7F", 127}, {"00", 0},  {"ff", 255},
                                                  {"0a1", 10}, {"F0", 240}, {"7g", -1}, {"g7", -1},
                                                  {" 7", -1},  {"7", -1},   {"", -1},   {"-1", -1}};
    for (const auto &[text, value] : cases)
        EXPECT_EQ(hex2_to_num(text), value) << text;
}

TEST(AscToNum, IsTheValueOfExactlyNDigits)
{
    const std::tuple<const char *, size_t, unsigned> cases[] = {{"0123", 4, 123},
                                                                {"0123", 3, 12},
                                                                {"7", 1, 7},
                                                                {"12ab", 2, 12},
                                                                {"000", 3, 0},
                                                                {"9999", 4, 9999},
                                                                {"4294967295", 10, 4294967295u}};
    for (const auto &[text, n, value] : cases) {
        int errors = 0;
        EXPECT_EQ(asc_to_num(text, n, &errors), value) << text;
        EXPECT_EQ(errors, 0) << text;
    }
}

TEST(AscToNum, CountsAnInvalidNumberOnce)
{
    int errors = 0;
    for (const char *text : {"12a4", "123x", "x123", "123/", "123:", "-123", " 123"}) {
        const int before = errors;
        EXPECT_EQ(asc_to_num(text, 4, &errors), 0u) << text;
        EXPECT_EQ(errors, before + 1) << text;
    }
}

TEST(AscToNum, NeedsNoErrorCounter) { EXPECT_EQ(asc_to_num("12a4", 4, nullptr), 0u); }

TEST(AscToNum, IsZeroForNoDigitsWithoutCountingAnError)
{
    int errors = 3;
    EXPECT_EQ(asc_to_num("x", 0, &errors), 0u);
    EXPECT_EQ(errors, 3);
}

TEST(AscToNum, CutsALargerValueTo32Bits)
{
    int errors = 0;
    EXPECT_EQ(asc_to_num("4294967296", 10, &errors), 0u);
    EXPECT_EQ(asc_to_num("4294967303", 10, &errors), 7u);
    EXPECT_EQ(errors, 0);
}
