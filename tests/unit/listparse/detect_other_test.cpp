#include "listing.h"

#include <gtest/gtest.h>

namespace
{

// Lines of the layout, and lines that differ from it in one place and have no known layout.
void expect_layout(list_format_t format, text_list taken, text_list refused)
{
    expect_format(format, taken);
    expect_format(LIST_FMT_UNKNOWN, refused);
}

TEST(DetectOther, OwnerSizeDateTimeTypeAndNameIs26)
{
    expect_layout(
        26, {"QSYSOPR 1234 01/15/12 10:20:30 *FILE NAME", "QSYSOPR 1x 15.01.12 10:20:30 *DIR two words"},
        {"QSYSOPR x 01/15/12 10:20:30 *FILE NAME", "QSYSOPR 1234 01/15/2012 10:20:30 *FILE NAME",
         "QSYSOPR 1234 101/15/12 10-20-30 *FILE NAME", "QSYSOPR 1234 01/15/12 10-20 *FILE NAME",
         "QSYSOPR 1234 01/15/12 10-20-30 *FILE"});
}

// A number is all stars or begins with a digit.
TEST(DetectOther, FourCharacterVolumeWithDateInField5Is27)
{
    expect_layout(27,
                  {"WRK1 3390 12 34 PO 12/01/15 MY.DATA", "WRK1 xx 12 34 PO 12/01/15 MY.DATA",
                   "WRK1 xx 1x 3x PO 12/01/15 MY.DATA", "WRK1 xx ** * PO **/**/** MY.DATA",
                   "WRK1 xx 12 34 PO 1*/01/*5 MY.DATA", "WRK1 xx 12 34 PO ******** MY.DATA"},
                  {"WRK01 xx 12 34 PO 12/01/15 MY.DATA", "WR1 xx 12 34 PO 12/01/15 MY.DATA",
                   "WRK1 xx x2 34 PO 12/01/15 MY.DATA", "WRK1 xx 12 x4 PO 12/01/15 MY.DATA",
                   "WRK1 xx *2 34 PO 12/01/15 MY.DATA", "WRK1 xx 12 *4 PO 12/01/15 MY.DATA",
                   "WRK1 xx 12 34 PO 112/01/15 MY.DATA", "WRK1 xx 12 34 PO 2012/01/15 MY.DATA",
                   "WRK1 xx 12 34 PO 12/01/15"});
}

TEST(DetectOther, TypeDateTimeWithSizeInField5Is29)
{
    expect_layout(29, {"D 12-01-15 10:20:30 xx xx 1234 name", "file 12/01/15 10.20.30 xx xx 1x two words"},
                  {"file 2012-01-15 10:20:30 xx xx 1234 name", "D 12-01-15 10:20 xx xx 1234 name",
                   "D 12-01-15 10:20:30 xx xx x234 name", "D 12-01-15 10:20:30 xx xx 1234"});
}

// A time is any field with a ':' followed by a digit; the date may have nine characters.
TEST(DetectOther, DateTimeSizeNameIs21OrMonthFirst22)
{
    expect_format(21, {"15-01-12  10:00  555 b c", "13/31/98 10:20 555 name", "98-12-31 10:20 555 name",
                       "00-12-31 10:20 555 name", "112-01-15 10:20 555 name", "15-01-112 10:20 555 name"});
    expect_layout(22,
                  {"01-15-12  03:04PM       <DIR>          My Dir",
                   "01-15-98  12:05AM              1234 a.txt", "12/31/98 10:20 555 name",
                   "01-12-31 10:20 555 name", "012-01-15 10:20 555 name", "01-15-112 10:20 555 name",
                   "01-15-12 1:2 555 name", "01-15-12 99:99 555 name", "01-15-12 10:20 <JUNCTION> name",
                   "01-15-12 10:20 5x name"},
                  {"01-15-2012 10:20 555 name", "01-15-1 10:20 555 name", "x1-15-12 10:20 555 name",
                   "01-15-12 1020 555 name", "01-15-12 1: 555 name", "01-15-12 10: 555 name",
                   "01-15-12 10:x 555 name", "01-15-12 x:20 555 name", "01-15-12 10:20 x55 name",
                   "01-15-12 10:20 555", "01-15-12 10:20", "01-15-12"});
}

// The ':' needs no digit after it. The last line fits 30 as well.
TEST(DetectOther, NameSizeDateTimeIs23AndTakesTheLinesOf30)
{
    expect_layout(23,
                  {"name 1234 01-15-12 10:20", "name <DIR> 01-15-12 10:20", "name 1234 01-15-112 10:20",
                   "name 1234 112-01-15 10:20", "name 1234 01-15-12 10:", "name 1234 01-15-12 1x:y",
                   "name 1234 01-15-12 10:20 and more"},
                  {"name 1234 01-15-12 1:", "name 1234 01-15-12 1020", "name 1234 01-15-12 x:20",
                   "name x234 01-15-12 10:20", "name 1234 01-15-2012 10:20", "name 1234 01-15-12"});
}

TEST(DetectOther, FourDigitYearTimeWithSecondsSizeNameIs24)
{
    expect_layout(24,
                  {"2012-01-15 10:20:30 <DIR> docs", "2012/01/15 10.20.30 555 two words",
                   "9999x99x99 99:99:99 5x name"},
                  {"2012-01-15 10:20 555 name", "2012-01-15 10:20:30 x55 name", "2012-01-15 10:20:30 555",
                   "12-01-2012 10:20:30 555 name", "2012-1-015 10:20:30 555 name",
                   "2012-01-1x 10:20:30 555 name", "2012001015 10:20:30 555 name",
                   "02012-01-15 10:20:30 555 name"});
}

// The month must not contain the day.
TEST(DetectOther, NameSizeMonthWithTimeInField5Is28)
{
    expect_layout(
        28,
        {"name 1234 Jan 15 2012 10:20", "name <DIR> JAN 15 2012 10:20", "name 1234 3/ 15 2012 10:20",
         "name 1234 3" MONTH_UTF8 " 15 2012 1:2", "name 1234 an xx xx 10:20"},
        {"name 1234 3/15 15 2012 10:20", "name 1234 Sept 15 2012 10:20", "name x234 Jan 15 2012 10:20",
         "name 1234 Jan 15 2012 1020", "name 1234 Jan 15 2012 10:", "name 1234 Jan 15 2012"});
}

TEST(DetectOther, PermissionsOwnerSizeDateTimeNameIs33)
{
    expect_layout(
        33,
        {"-rw-r--r-- owner 1234 12-01-15 10:20:30 name", "0123456789 owner 1x 12-01-15 10-20-30 two words"},
        {"-rw-r--r-- owner x234 12-01-15 10:20:30 name", "-rw-r--r-- owner 1234 12-01-15 10:20 name",
         "-rw-r--r-- owner 1234 2012-01-15 10:20:30 name", "-rw-r--r-- owner 1234 12-01-15 10:20:30",
         "-rw-r--r owner 1234 12-01-15 10:20:30 name", "-rw-r--r--+ owner 1234 12-01-15 10:20:30 name"});
}

// A third date leads to the test for 33, which then skips this one.
TEST(DetectOther, PermissionsDateTimeNameIs32)
{
    expect_layout(32, {"-rw-r--r-- 12-01-15 10:20:30 name", "drwxr-xr-x 12/01/15 10.20.30 two words"},
                  {"-rw-r--r-- 2012-01-15 10:20:30 name", "-rw-r--r-- 12-01-15 10:20 name",
                   "-rw-r--r-- 12-01-15 10:20:30", "-rw-r--r--x 12-01-15 10:20:30 name",
                   "-rw-r--r-- 12-01-15 10:20:30 12-01-15 name", "-rw-r--r-- 12-01-15 10:20:30 12-01-15"});
}

// The month may contain the day, and no name is needed.
TEST(DetectOther, SizeWithMonthInField3AndTimeInField5Is37)
{
    expect_layout(37,
                  {"1234 xx yy Jan 15 10:20 2012 name", "<DIR> xx yy Jan 15 10:20 2012 name",
                   "1x xx yy 1/15 15 10:20 2x two words", "1234 xx yy Jan 15 10:20 2012"},
                  {"x234 xx yy Jan 15 10:20 2012 name", "1234 xx yy Sept 15 10:20 2012 name",
                   "1234 xx yy Jan 15 10:x 2012 name", "1234 xx yy Jan 15 10:20 x012 name",
                   "1234 xx yy Jan 15 10:20"});
}

TEST(DetectOther, OwnerDateFourDigitTimeIs38)
{
    expect_layout(38, {"owner 12-01-15 1020 F xx 1234 name", "owner 12/01/15 1xxx D xx 1x two words"},
                  {"owner 2012-01-15 1020 F xx 1234 name", "owner 12-01-15 10:20 F xx 1234 name",
                   "owner 12-01-15 x020 F xx 1234 name", "owner 12-01-15 1020 F xx x234 name",
                   "owner 12-01-15 1020 F xx 1234"});
}

TEST(DetectOther, VolumeUnitFourDigitYearIs39)
{
    expect_layout(39,
                  {"WRK001 3390 2012/01/15 1 15 FB 80 27920 PO MY.DATA",
                   "WRK001 3x 2012-01-15 xx xx xx xx 2x xx two words"},
                  {"WRK001 x390 2012/01/15 1 15 FB 80 27920 PO MY.DATA",
                   "WRK001 3390 12/01/15 1 15 FB 80 27920 PO MY.DATA",
                   "WRK001 3390 2012/1/015 1 15 FB 80 27920 PO MY.DATA",
                   "WRK001 3390 2012/01/15 1 15 FB 80 x7920 PO MY.DATA",
                   "WRK001 3390 2012/01/15 1 15 FB 80 27920 PO"});
}

TEST(DetectOther, UnixTestComesFirst)
{
    expect_format(0x20C, {"2012-01-15 10:20:30 555 Jan 15 12:34 name",            // 24
                          "-rw-r--r-- 12-01-15 10:20:30 Jan 15 12:34 name",       // 29
                          "1234567890 xx yy Jan 15 10:20 2012 name"});            // 37
    expect_format(0x20D, {"-rw-r--r-- owner 1234 12/01/15 10:20:30 name"});       // 33
    expect_format(0x20F, {"name567890 1234 Jan 15 2012 10:20 5 Jan 15 10:20 x"}); // 28
}

// The order of the tests: each line fits its number and the one in the comment. Any other order swaps two of
// these.
TEST(DetectOther, LineThatFitsTwoLayoutsHasTheOneTestedFirst)
{
    const std::pair<const char *, list_format_t> table[] = {
        {"QSYS 1 12-01-15 10:20:30 xx 12-01-15 name", 26},         // 27
        {"VOL1 12-01-15 10:20:30 5 PO 12-01-15 name", 27},         // 29
        {"01-15-12 10:20:30 12-01-15 xx xx 5 name", 29},           // 22
        {"01-15-12 10:20 01-15-12 10:20", 22},                     // 21, 23
        {"15-01-12 10:20 01-15-12 10:20", 21},                     // 23
        {"15-01-12 10:20:30 1234 xx xx 5 name", 21},               // 38
        {"15-01-12 10:20 2012-01-15 xx xx xx xx 5 xx name", 21},   // 39
        {"2012-01-15 10:20:30 112-01-15 10:20", 23},               // 24
        {"name 1234 01-15-12 10:20 and more", 23},                 // 30
        {"2012-01-15 10:20:30 3/ xx xx 10:20", 24},                // 28
        {"-rw-r--r-- 5 3/ 12-01-15 10:20:30 10:20", 28},           // 33
        {"-rw-r--r-- 12-01-15 12/45/99 name xx 10:20", 28},        // 32: day 45 is no day
        {"5 5 Jan Feb 15 10:20 2012 name", 28},                    // 37
        {"1234567890 xx 5 12/01/15 12-01-15 10:20 2012", 33},      // 37
        {"-rw-r--r-- 12-01-15 1020 12-01-15 10:20:30 5 name", 33}, // 38
        {"5 12-01-15 1020 Jan xx 10:20 2012", 37},                 // 38
        {"5 5 2012-01-15 Jan xx 10:20 2012 5 xx name", 37},        // 39
    };
    for (const auto &[line, format] : table)
        expect_format(format, {line});
}

TEST(DetectOther, LeadingBlanksAndRunsOfBlanksDoNotMatter)
{
    expect_format(22, {"   01-15-12     10:20   555    name"});
    expect_format(26, {"  QSYSOPR   1234  01/15/12  10:20:30  *FILE   NAME"});
    expect_format(37, {"     1234  xx  yy  Jan  15  10:20  2012  name"});
    expect_format(LIST_FMT_UNKNOWN, {"01-15-12\t10:20\t555\tname"}); // tabs separate nothing
}

} // namespace
