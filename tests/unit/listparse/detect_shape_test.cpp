#include "listing.h"

#include <array>
#include <climits>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace
{

void expect_shape(int shape, unsigned char sym, int allow9, std::initializer_list<std::string> fields)
{
    for (const std::string &field : fields)
        EXPECT_EQ(CheckYYMMDDformat(field.c_str(), sym, allow9), shape)
            << testing::PrintToString(field) << ' ' << sym << ' ' << allow9;
}

TEST(CheckYYMMDDformat, KnowsTheShapesOfANumericDate)
{
    // only the shape counts
    for (int allow9 : {0, 1})
        expect_shape(1, 0, allow9,
                     {"98-12-31", "12/31/98", "10:20:30", "99/99/99", "12a31 98",
                      std::string("12\xFF") + "31\xFF" + "98"});
    expect_shape(0, 0, 1,
                 {"", "1-1-2012", "98-12-3", "98-12-3x", "x8-12-31", "98-x2-31", "98012031", "2012-01-15"});
}

TEST(CheckYYMMDDformat, NineCharactersAreADateOnlyWhereAllowed)
{
    expect_shape(2, 0, 1, {"123-12-31"});
    expect_shape(1, 0, 1, {"12-31-198"});
    expect_shape(0, 0, 0, {"123-12-31", "12-31-198"});
    expect_shape(0, 0, 1, {"12-131-98", "123-12-3x", "123456789"});
}

TEST(CheckYYMMDDformat, AByteMayCountAsADigit)
{
    expect_shape(1, '*', 0, {"1*-31-98", "**/**/**", "********"}); // not a digit, so also a separator
    expect_shape(0, 0, 0, {"1*-31-98"});
    expect_shape(2, '*', 1, {"***-**-**"});
    expect_shape(1, '*', 1, {"**-**-***"});
    expect_shape(1, 0xD4, 0, {"\xD4\xD4-12-31"});
    expect_shape(0, '*', 0, {"\xD4\xD4-12-31"});
}

int check_unix_type(const std::string &line, int base, int shift, int day)
{
    auto buf = std::make_unique<char[]>(line.size() + 1);
    return CheckUnixType(line.c_str(), buf.get(), base, shift, day);
}

// `count` irrelevant fields, each followed by a blank.
std::string fields(int count)
{
    std::string text;
    while (count-- > 0)
        text += "x ";
    return text;
}

struct unix_number {
    int shift;
    int base; // -1 = link count glued to the permissions
    int western;
    int western_day_in_month;
    int chinese;
    int chinese_day_in_month;
};
constexpr std::array<unix_number, 10> UNIX_NUMBERS = {{
    {0, 0, 0, 1, 4, 1},
    {0, -1, 2, 3, 5, 3},
    {-1, 0, 6, 7, 10, 7},
    {-1, -1, 8, 9, 11, 9},
    {-2, 0, 12, 13, 14, 13},
    {-2, -1, 12, 13, 14, 13},
    {2, 0, 15, 16, 19, 16},
    {2, -1, 17, 18, 20, 18},
    {1, 0, 42, 43, 46, 43},
    {1, -1, 44, 45, 47, 45},
}};

TEST(CheckUnixType, EachShiftAndOrderHasItsNumber)
{
    for (const auto &row : UNIX_NUMBERS) {
        // In the common layout, field 5 is the month of the Western order or the year of the Chinese one.
        std::string front = fields(5 + row.base + row.shift);
        EXPECT_EQ(check_unix_type(front + "Jan 15 12:34 name", row.base, row.shift, 0), row.western);
        EXPECT_EQ(check_unix_type(front + "Jan 15 2012 name", row.base, row.shift, 0), row.western);
        EXPECT_EQ(check_unix_type(front + "3/15 12:34 name", row.base, row.shift, 15),
                  row.western_day_in_month);
        EXPECT_EQ(check_unix_type(front + "3/15 2012 name", row.base, row.shift, 15),
                  row.western_day_in_month);
        EXPECT_EQ(check_unix_type(front + "2012 1" MONTH_GB " 15 name", row.base, row.shift, 0), row.chinese);
        // With a day in the month field, the Chinese order's later fields move one to the left as well.
        std::string shorter = fields(4 + row.base + row.shift);
        EXPECT_EQ(check_unix_type(shorter + "2012 1" MONTH_GB " 15 name", row.base, row.shift, 15),
                  row.chinese_day_in_month);
    }
}

// Each text after permissions, links, owner, group and size has this number.
void expect_number(int number, int day, text_list texts)
{
    for (const char *text : texts)
        EXPECT_EQ(check_unix_type("p 1 u g 5 " + std::string(text), 0, 0, day), number)
            << testing::PrintToString(text);
}

TEST(CheckUnixType, WesternOrderNeedsADayAYearOrTimeAndAName)
{
    // atoi stops at the first non-digit; an empty last field exists
    expect_number(0, 0,
                  {"Jan 1 12:34 name", "Jan 31 12:34 name", "Jan 15, 12:34 name", "Jan 15 1900 name",
                   "Jan 15 2012x name", "Jan 15 24:00 name", "Jan 15 P:M name",
                   "Jan 15 12" HOUR_UTF8 "34 name", "Jan 15 12:34 ", "  Jan  15  12:34  name"});
    expect_number(-1, 0,
                  {"Jan 0 12:34 name", "Jan 32 12:34 name", "Jan x 12:34 name", "Jan 15 1899 name",
                   "Jan 15 25:00 name", "Jan 15 12" HOUR_GB "34 name", "Jan 15 12:34", "Jan 15"});
    expect_number(1, 15, {"3/15 12:34 name"});
    expect_number(-1, 15, {"3/15 1899 name", "3/15 12:34"});
}

TEST(CheckUnixType, ChineseOrderNeedsAYearAMonthWithItsMarkADayAndAName)
{
    expect_number(4, 0,
                  {"2012 1" MONTH_GB " 15 name", "2012 9" MONTH_GB " 15 name", "2012 10" MONTH_GB " 15 name",
                   "2012 12" MONTH_GB " 15 name", "2012 12" MONTH_GB "x 15 name",
                   "1900 1" MONTH_GB " 31" DAY_GB " name", "2012 1" MONTH_GB " 15 "});
    // the mark must follow a single digit directly
    expect_number(-1, 0,
                  {"1899 1" MONTH_GB " 15 name", "2012 0" MONTH_GB " 15 name", "2012 13" MONTH_GB " 15 name",
                   "2012 01" MONTH_GB " 15 name", "2012 1 " MONTH_GB " name", "2012 1 15 name",
                   "2012 12 15 name", "2012 1\xD4 15 name", "2012 12\xD4 15 name",
                   "2012 1" MONTH_UTF8 " 15 name", "2012 1" MONTH_SJIS " 15 name",
                   "2012 1" MONTH_GB " 0 name", "2012 1" MONTH_GB " 32 name", "2012 1" MONTH_GB " 15",
                   "2012 1" MONTH_GB});
}

TEST(CheckUnixType, WesternOrderWinsWhereBothFit)
{
    // 15:30 is a time in the Western order and a day in the Chinese.
    expect_number(0, 0, {"2012 1" MONTH_GB " 15:30 name"});
    expect_number(-1, 0, {"2012 1" MONTH_GB " 32:30 name"});
}

TEST(CheckUnixType, ReturnsMinusOneForAnUnknownShift)
{
    for (int shift : {INT_MIN, -1000, -3, 3, 1000, INT_MAX})
        EXPECT_EQ(check_unix_type(fields(8) + "Jan 15 12:34 name", 0, shift, 0), -1) << shift;
}

} // namespace
