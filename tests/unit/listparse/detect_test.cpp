#include "listing.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

namespace
{

struct detect_row {
    const char *line;
    list_format_t format;
};

void expect_formats(std::initializer_list<detect_row> table)
{
    for (const detect_row &row : table) {
        std::string left;
        EXPECT_EQ(detect(row.line, &left), row.format) << testing::PrintToString(row.line);
        EXPECT_EQ(left, row.line) << "the line was changed";
    }
}

TEST(DetectUnix, EachNumberOfTheFamilyHasItsLine)
{
    expect_formats({
        {"-rw-r--r--   1 user group   1234 Jan 15 12:34 name", 0x200},
        {"drwxr-xr-x   2 user group   4096 Jan 15  2012 dir", 0x200},
        {"-rw-r--r-- 1 user group 1234 3/15 12:34 name", 0x201},
        {"-rw-r--r--12 user group 1234 Jan 15 12:34 name", 0x202},
        {"-rw-r--r--12 user group 1234 3/15 12:34 name", 0x203},
        {"-rw-r--r-- 1 user group 1234 2012 1" MONTH_GB " 15 name", 0x204},
        {"-rw-r--r--12 user group 1234 2012 1" MONTH_GB " 15 name", 0x205},
        {"-rw-r--r-- 1 user 1234 Jan 15 12:34 name", 0x206},
        {"-rw-r--r-- 1 user 1234 3/15 12:34 name", 0x207},
        {"-rw-r--r--12 user 1234 Jan 15 12:34 name", 0x208},
        {"-rw-r--r--12 user 1234 3/15 12:34 name", 0x209},
        {"-rw-r--r-- user 1234 Jan 15 12:34 name", 0x20C},
        {"-rw-r--r--12 1234 Jan 15 12:34 name", 0x20C},
        {"-rw-r--r-- user 1234 3/15 12:34 name", 0x20D},
        {"-rw-r--r--12 1234 3/15 12:34 name", 0x20D},
        {"-rw-r--r-- 1 user group x1 x2 1234 Jan 15 12:34 name", 0x20F},
        {"-rw-r--r-- 1 user group x1 x2 1234 3/15 12:34 name", 0x210},
        {"-rw-r--r--12 user group x1 x2 1234 Jan 15 12:34 name", 0x211},
        {"-rw-r--r--12 user group x1 x2 1234 3/15 12:34 name", 0x212},
        {"-rw-r--r-- 1 user group x1 1234 Jan 15 12:34 name", 0x22A},
        {"-rw-r--r-- 1 user group x1 1234 3/15 12:34 name", 0x22B},
        {"-rw-r--r--12 user group x1 1234 Jan 15 12:34 name", 0x22C},
        {"-rw-r--r--12 user group x1 1234 3/15 12:34 name", 0x22D},
        // the Chinese order with a day in the field behind the month
        {"-rw-r--r-- 1 user group 2012 5" MONTH_GB " 3/15 name", 0x201},
    });
}

// These positions look for a month where the Chinese order has its year: 65537 is both, being 1 in 16 bits.
TEST(DetectUnix, YearThatWrapsToAMonthGivesTheOtherNumbersOfTheChineseOrder)
{
    expect_formats({
        {"-rw-r--r-- 1 user 1234 65537/ 1" MONTH_GB " 15 name", 0x20A},
        {"-rw-r--r--12 user 1234 65537/ 1" MONTH_GB " 15 name", 0x20B},
        {"-rw-r--r-- user 1234 65537/ 1" MONTH_GB " 15 name", 0x20E},
        {"-rw-r--r--12 1234 65537/ 1" MONTH_GB " 15 name", 0x20E},
        {"-rw-r--r-- 1 user group x1 x2 1234 65537/ 1" MONTH_GB " 15 name", 0x213},
        {"-rw-r--r--12 user group x1 x2 1234 65537/ 1" MONTH_GB " 15 name", 0x214},
        {"-rw-r--r-- 1 user group x1 1234 65537/ 1" MONTH_GB " 15 name", 0x22E},
        {"-rw-r--r--12 user group x1 1234 65537/ 1" MONTH_GB " 15 name", 0x22F},
    });
}

TEST(DetectUnix, FirstMonthPositionThatFitsWins)
{
    expect_formats({
        // field 7 before field 4
        {"-rw-r--r-- 1 user 1234 Jan 15 12:34 May 3 2012 name", 0x20F},
        // field 6 with shift 0 before field 6 with shift 1
        {"-rw-r--r-- 1 user group x1 2012 3" MONTH_GB " 15 12:34 name", 0x204},
        {"-rw-r--r-- 1 user group x1 2012 3" MONTH_SJIS " 15 12:34 name", 0x22A},
        // field 6 with shift 1 before field 5, which carries a day here and 65539 is a year to it
        {"-rw-r--r-- 1 user group x1 3/15 65539/ 15 12:34 name", 0x22A},
        {"-rw-r--r-- 1 user group x1 3/15 65539/ 15 12-34 name", 0x201},
        // field 6 before field 3
        {"-rw-r--r-- user 1234 May 3 2012 Jan 15 12:34 name", 0x22A},
        // field 5 before field 4
        {"-rw-r--r-- 1 user 1234 May 3/ 12:34 10:20 name", 0x200},
        {"-rw-r--r-- 1 user 1234 May 3/ 12:34 10-20 name", 0x206},
        // field 5 before field 3
        {"-rw-r--r-- user 1234 5/3 12:34 Jan 15 10:20 name", 0x200},
        // field 4 before field 3
        {"-rw-r--r-- user 1234 May 3/ 12:34 10:20 name", 0x206},
        {"-rw-r--r-- user 1234 May 3/ 12:34 10-20 name", 0x20C},
    });
}

TEST(DetectUnix, MonthMayBeAnythingThatGetMonthTakes)
{
    expect_formats({
        {"-rw-r--r-- 1 user group 1234 JAN 15 12:34 name", 0x200},
        {"-rw-r--r-- 1 user group 1234 a 15 12:34 name", 0x200},
        {"-rw-r--r-- 1 user group 1234 Sept 15 12:34 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_SJIS " 15 12:34 name", 0x200},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_EUC " 15 12:34 name", 0x200},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_GB " 15 12:34 name", 0x200},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_UTF8 " 15 12:34 name", 0x200},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_JIS " 15 12:34 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_UTF8 "15" DAY_UTF8 " 12" HOUR_UTF8 "34" MINUTE_UTF8 " name",
         0x201},
        {"-rw-r--r-- 1 user group 1234 12/01/15 12:34 name", 0x201},
        {"-rw-r--r-- 1 user group 1234 98/01/15 12:34 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- 1 user group 1234 12-01-15 12:34 name", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectUnix, PermissionFieldIsJudgedByItsLength)
{
    expect_formats({
        // ten characters may be anything
        {"abcdefghij 1 user group 1234 Jan 15 12:34 name", 0x200},
        {"brw-rw---- 1 user group 1234 Jan 15 12:34 name", 0x200},
        // an eleventh digit is a link count, anything else is not
        {"-rw-r--r--+ 1 user group 1234 Jan 15 12:34 name", 0x200},
        {"-rw-r--r--. 1 user group 1234 Jan 15 12:34 name", 0x200},
        {"-rw-r--r--x2 1 user group 1234 Jan 15 12:34 name", 0x200},
        {"-rw-r--r--2x user group 1234 Jan 15 12:34 name", 0x202},
        // nine characters must look like permissions
        {"-rw-r--r- 1 user group 1234 Jan 15 12:34 name", 0x200},
        {"drwxrwxrw 1 user group 1234 Jan 15 12:34 name", 0x200},
        {"lrwxrwxrw 1 user group 1234 Jan 15 12:34 name", LIST_FMT_UNKNOWN},
        {"-rw-r-sr- 1 user group 1234 Jan 15 12:34 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r1 1 user group 1234 Jan 15 12:34 name", LIST_FMT_UNKNOWN},
        // fewer never
        {"-rw-r--r 1 user group 1234 Jan 15 12:34 name", LIST_FMT_UNKNOWN},
        {"xx 1 user group 1234 Jan 15 12:34 name", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectUnix, LineLacksNothingOfItsDateOrName)
{
    expect_formats({
        {"-rw-r--r-- 1 user group 1234 Jan 15 1900 name", 0x200},
        {"-rw-r--r-- 1 user group 1234 Jan 15 1899 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- 1 user group 1234 Jan 32 12:34 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- 1 user group 1234 Jan 15 25:00 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- 1 user group 1234 Jan 15 24:00 name", 0x200},
        {"-rw-r--r-- 1 user group 1234 Jan 15 12:34", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- 1 user group 1234 Jan 15 12:34 ", 0x200},
        {"-rw-r--r-- 1 user group 1234 Jan 15", LIST_FMT_UNKNOWN},
        {"-rw-r--r--", LIST_FMT_UNKNOWN},
        {"   -rw-r--r-- 1 user group 1234 Jan 15 12:34 name", 0x200},
    });
}

// --- A type character that stands apart

TEST(DetectUnix, DetachedTypeCharacterIsJoinedToThePermissions)
{
    struct {
        const char *line;
        list_format_t format;
        const char *left;
    } const table[] = {
        {"- rw-r--r-- 1 user group 5 Jan 15 12:34 f", 0x300, "-rw-r--r-- 1 user group 5 Jan 15 12:34 f"},
        {"d rwxr-xr-x 2 user group 5 Jan 15 2012 dir", 0x300, "drwxr-xr-x 2 user group 5 Jan 15 2012 dir"},
        {"D rwxr-xr-x 2 user group 5 Jan 15 2012 dir", 0x300, "Drwxr-xr-x 2 user group 5 Jan 15 2012 dir"},
        {"l rwxrwxrwx 1 user group 5 Jan 15 2012 lnk", 0x300, "lrwxrwxrwx 1 user group 5 Jan 15 2012 lnk"},
        {"L rwxrwxrwx 1 user group 5 Jan 15 2012 lnk", 0x300, "Lrwxrwxrwx 1 user group 5 Jan 15 2012 lnk"},
        {"- rw-r--r--   user 5 Jan 15 12:34 name", 0x30C, "-rw-r--r--   user 5 Jan 15 12:34 name"},
        {"- rw-r--r--12 user group 5 Jan 15 12:34 name", 0x302,
         "-rw-r--r--12 user group 5 Jan 15 12:34 name"},
        {"- abcdefghi 1 user group 5 Jan 15 12:34 name", 0x300,
         "-abcdefghi 1 user group 5 Jan 15 12:34 name"},
        // joined, but no date: the line stays joined
        {"- rw-r--r-- 1 user group 5 15 Jan name", LIST_FMT_UNKNOWN, "-rw-r--r-- 1 user group 5 15 Jan name"},
        // only one blank goes
        {"-  rw-r--r-- 1 user group 5 Jan 15 12:34 f", LIST_FMT_UNKNOWN,
         "- rw-r--r-- 1 user group 5 Jan 15 12:34 f"},
    };
    for (const auto &row : table) {
        std::string left;
        EXPECT_EQ(detect(row.line, &left), row.format) << row.line;
        EXPECT_EQ(left, row.left);
    }
}

TEST(DetectUnix, OtherLonelyFirstCharacterLeavesTheLineAlone)
{
    expect_formats({
        {"b rw-r--r-- 1 user group 5 Jan 15 12:34 name", LIST_FMT_UNKNOWN},
        {"f rw-r--r-- 1 user group 5 Jan 15 12:34 name", LIST_FMT_UNKNOWN},
        {"x rw-r--r-- 1 user group 5 Jan 15 12:34 name", LIST_FMT_UNKNOWN},
        // the second field is neither nine characters nor nine and a digit
        {"- rw-r--r- 1 user group 5 Jan 15 12:34 name", LIST_FMT_UNKNOWN},
        {"- rw-r--r--+ 1 user group 5 Jan 15 12:34 name", LIST_FMT_UNKNOWN},
        {"d [RWCEAFMS] user 512 Jan 15 12:34 dir", LIST_FMT_UNKNOWN},
        {"-", LIST_FMT_UNKNOWN},
        {"d ", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectUnix, ByteAtPositionOneGoesEvenWhenBlanksStandInFront)
{
    struct {
        const char *line;
        list_format_t format;
        const char *left;
    } const table[] = {
        // the type character itself is lost, and what is left does not look like permissions
        {" - rw-r--r-- 1 user group 5 Jan 15 12:34 name", LIST_FMT_UNKNOWN,
         "  rw-r--r-- 1 user group 5 Jan 15 12:34 name"},
        // here it does
        {" - drwxr-xr- 1 user group 5 Jan 15 12:34 name", 0x300,
         "  drwxr-xr- 1 user group 5 Jan 15 12:34 name"},
        // one of two blanks goes, and the type character still stands apart
        {"  - rw-r--r-- 1 user group 5 Jan 15 12:34 name", LIST_FMT_UNKNOWN,
         " - rw-r--r-- 1 user group 5 Jan 15 12:34 name"},
    };
    for (const auto &row : table) {
        std::string left;
        EXPECT_EQ(detect(row.line, &left), row.format) << row.line;
        EXPECT_EQ(left, row.left);
    }
}

} // namespace
