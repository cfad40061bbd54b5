#include "listing.h"

#include <array>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace
{

TEST(CheckYYMMDDformat, KnowsTheShapesOfANumericDate)
{
    struct {
        const char *field;
        unsigned char sym;
        int allow9;
        int shape;
    } const table[] = {
        {"98-12-31", 0, 0, 1},
        {"12/31/98", 0, 0, 1},
        {"98-12-31", 0, 1, 1},
        {"10:20:30", 0, 0, 1},
        {"99/99/99", 0, 0, 1}, // the shape alone counts
        {"12a31 98", 0, 0, 1},
        {"12\xFF"
         "31\xFF"
         "98",
         0, 0, 1},
        // nine characters
        {"123-12-31", 0, 1, 2},
        {"12-31-198", 0, 1, 1},
        {"123-12-31", 0, 0, 0},
        {"12-31-198", 0, 0, 0},
        {"12-131-98", 0, 1, 0},
        {"123-12-3x", 0, 1, 0},
        {"123456789", 0, 1, 0},
        // a byte that stands in for a digit
        {"1*-31-98", '*', 0, 1},
        {"1*-31-98", 0, 0, 0},
        {"**/**/**", '*', 0, 1},
        {"********", '*', 0, 1}, // it is no digit, so it separates as well
        {"***-**-**", '*', 1, 2},
        {"**-**-***", '*', 1, 1},
        {"\xD4\xD4-12-31", 0xD4, 0, 1},
        {"\xD4\xD4-12-31", '*', 0, 0},
        // no date
        {"", 0, 1, 0},
        {"1-1-2012", 0, 1, 0},
        {"98-12-3", 0, 1, 0},
        {"98-12-3x", 0, 1, 0},
        {"x8-12-31", 0, 1, 0},
        {"98-x2-31", 0, 1, 0},
        {"98012031", 0, 1, 0},
        {"2012-01-15", 0, 1, 0},
    };
    for (const auto &row : table)
        EXPECT_EQ(CheckYYMMDDformat(row.field, row.sym, row.allow9), row.shape)
            << testing::PrintToString(row.field) << ' ' << row.sym << ' ' << row.allow9;
}

int check_unix_type(const std::string &line, int base, int shift, int day)
{
    auto buf = std::make_unique<char[]>(line.size() + 1);
    return CheckUnixType(line.c_str(), buf.get(), base, shift, day);
}

// `count` fields that nothing looks at, each with its blank.
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
        // The month of the Western order, and the year of the Chinese one, stands in field 5 of the common
        // layout.
        std::string front = fields(5 + row.base + row.shift);
        EXPECT_EQ(check_unix_type(front + "Jan 15 12:34 name", row.base, row.shift, 0), row.western);
        EXPECT_EQ(check_unix_type(front + "Jan 15 2012 name", row.base, row.shift, 0), row.western);
        EXPECT_EQ(check_unix_type(front + "3/15 12:34 name", row.base, row.shift, 15),
                  row.western_day_in_month);
        EXPECT_EQ(check_unix_type(front + "3/15 2012 name", row.base, row.shift, 15),
                  row.western_day_in_month);
        EXPECT_EQ(check_unix_type(front + "2012 1" MONTH_GB " 15 name", row.base, row.shift, 0), row.chinese);
        // With a day in the month field every later field of the Chinese order counts one to the left as
        // well.
        std::string shorter = fields(4 + row.base + row.shift);
        EXPECT_EQ(check_unix_type(shorter + "2012 1" MONTH_GB " 15 name", row.base, row.shift, 15),
                  row.chinese_day_in_month);
    }
}

TEST(CheckUnixType, WesternOrderNeedsADayAYearOrTimeAndAName)
{
    struct {
        const char *line;
        int day;
        int number;
    } const table[] = {
        {"p 1 u g 5 Jan 1 12:34 name", 0, 0},
        {"p 1 u g 5 Jan 31 12:34 name", 0, 0},
        {"p 1 u g 5 Jan 0 12:34 name", 0, -1},
        {"p 1 u g 5 Jan 32 12:34 name", 0, -1},
        {"p 1 u g 5 Jan x 12:34 name", 0, -1},
        {"p 1 u g 5 Jan 15, 12:34 name", 0, 0}, // atoi stops at what is no digit
        {"p 1 u g 5 Jan 15 1900 name", 0, 0},
        {"p 1 u g 5 Jan 15 1899 name", 0, -1},
        {"p 1 u g 5 Jan 15 2012x name", 0, 0},
        {"p 1 u g 5 Jan 15 24:00 name", 0, 0},
        {"p 1 u g 5 Jan 15 25:00 name", 0, -1},
        {"p 1 u g 5 Jan 15 P:M name", 0, 0},
        {"p 1 u g 5 Jan 15 12" HOUR_UTF8 "34 name", 0, 0},
        {"p 1 u g 5 Jan 15 12" HOUR_GB "34 name", 0, -1},
        {"p 1 u g 5 Jan 15 12:34", 0, -1},
        {"p 1 u g 5 Jan 15 12:34 ", 0, 0}, // an empty last field is there
        {"p 1 u g 5 Jan 15", 0, -1},
        {"  p  1  u  g  5  Jan  15  12:34  name", 0, 0},
        {"p 1 u g 5 3/15 12:34 name", 15, 1},
        {"p 1 u g 5 3/15 1899 name", 15, -1},
        {"p 1 u g 5 3/15 12:34", 15, -1},
    };
    for (const auto &row : table)
        EXPECT_EQ(check_unix_type(row.line, 0, 0, row.day), row.number) << row.line;
}

TEST(CheckUnixType, ChineseOrderNeedsAYearAMonthWithItsMarkADayAndAName)
{
    struct {
        const char *line;
        int number;
    } const table[] = {
        {"p 1 u g 5 2012 1" MONTH_GB " 15 name", 4},
        {"p 1 u g 5 2012 9" MONTH_GB " 15 name", 4},
        {"p 1 u g 5 2012 10" MONTH_GB " 15 name", 4},
        {"p 1 u g 5 2012 12" MONTH_GB " 15 name", 4},
        {"p 1 u g 5 2012 12" MONTH_GB "x 15 name", 4},
        {"p 1 u g 5 1900 1" MONTH_GB " 31" DAY_GB " name", 4},
        {"p 1 u g 5 2012 1" MONTH_GB " 15 ", 4},
        {"p 1 u g 5 1899 1" MONTH_GB " 15 name", -1},
        {"p 1 u g 5 2012 0" MONTH_GB " 15 name", -1},
        {"p 1 u g 5 2012 13" MONTH_GB " 15 name", -1},
        {"p 1 u g 5 2012 01" MONTH_GB " 15 name", -1}, // the mark must stand right behind a single digit
        {"p 1 u g 5 2012 1 " MONTH_GB " name", -1},
        {"p 1 u g 5 2012 1 15 name", -1},
        {"p 1 u g 5 2012 12 15 name", -1},
        {"p 1 u g 5 2012 1\xD4 15 name", -1},
        {"p 1 u g 5 2012 12\xD4 15 name", -1},
        {"p 1 u g 5 2012 1" MONTH_UTF8 " 15 name", -1},
        {"p 1 u g 5 2012 1" MONTH_SJIS " 15 name", -1},
        {"p 1 u g 5 2012 1" MONTH_GB " 0 name", -1},
        {"p 1 u g 5 2012 1" MONTH_GB " 32 name", -1},
        {"p 1 u g 5 2012 1" MONTH_GB " 15", -1},
        {"p 1 u g 5 2012 1" MONTH_GB, -1},
    };
    for (const auto &row : table)
        EXPECT_EQ(check_unix_type(row.line, 0, 0, 0), row.number) << testing::PrintToString(row.line);
}

TEST(CheckUnixType, WesternOrderWinsWhereBothFit)
{
    // 15:30 is a time to the one and a day to the other.
    EXPECT_EQ(check_unix_type("p 1 u g 5 2012 1" MONTH_GB " 15:30 name", 0, 0, 0), 0);
    EXPECT_EQ(check_unix_type("p 1 u g 5 2012 1" MONTH_GB " 32:30 name", 0, 0, 0), -1);
}

} // namespace
