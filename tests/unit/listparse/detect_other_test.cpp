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

TEST(DetectOther, OwnerSizeDateTimeTypeNameIs26)
{
    expect_formats({
        {"QSYSOPR 1234 01/15/12 10:20:30 *FILE NAME", 26},
        {"QSYSOPR 1x 15.01.12 10:20:30 *DIR two words", 26},
        {"QSYSOPR x 01/15/12 10:20:30 *FILE NAME", LIST_FMT_UNKNOWN},
        {"QSYSOPR 1234 01/15/2012 10:20:30 *FILE NAME", LIST_FMT_UNKNOWN},
        {"QSYSOPR 1234 101/15/12 10-20-30 *FILE NAME", LIST_FMT_UNKNOWN}, // no nine characters here
        {"QSYSOPR 1234 01/15/12 10-20 *FILE NAME", LIST_FMT_UNKNOWN},
        {"QSYSOPR 1234 01/15/12 10-20-30 *FILE", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, FourCharacterVolumeWithDateInField5Is27)
{
    expect_formats({
        {"WRK1 3390 12 34 PO 12/01/15 MY.DATA", 27},
        {"WRK1 xx 12 34 PO 12/01/15 MY.DATA", 27},
        {"WRK1 xx 1x 3x PO 12/01/15 MY.DATA", 27},
        {"WRK1 xx ** * PO **/**/** MY.DATA", 27},
        {"WRK1 xx 12 34 PO 1*/01/*5 MY.DATA", 27},
        {"WRK1 xx 12 34 PO ******** MY.DATA", 27},
        {"WRK01 xx 12 34 PO 12/01/15 MY.DATA", LIST_FMT_UNKNOWN},
        {"WR1 xx 12 34 PO 12/01/15 MY.DATA", LIST_FMT_UNKNOWN},
        {"WRK1 xx x2 34 PO 12/01/15 MY.DATA", LIST_FMT_UNKNOWN},
        {"WRK1 xx 12 x4 PO 12/01/15 MY.DATA", LIST_FMT_UNKNOWN},
        {"WRK1 xx *2 34 PO 12/01/15 MY.DATA", LIST_FMT_UNKNOWN}, // '*' only, or a digit first
        {"WRK1 xx 12 *4 PO 12/01/15 MY.DATA", LIST_FMT_UNKNOWN},
        {"WRK1 xx 12 34 PO 112/01/15 MY.DATA", LIST_FMT_UNKNOWN},
        {"WRK1 xx 12 34 PO 2012/01/15 MY.DATA", LIST_FMT_UNKNOWN},
        {"WRK1 xx 12 34 PO 12/01/15", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, TypeDateTimeWithSizeInField5Is29)
{
    expect_formats({
        {"D 12-01-15 10:20:30 xx xx 1234 name", 29},
        {"file 12/01/15 10.20.30 xx xx 1x two words", 29},
        {"file 2012-01-15 10:20:30 xx xx 1234 name", LIST_FMT_UNKNOWN},
        {"D 12-01-15 10:20 xx xx 1234 name", LIST_FMT_UNKNOWN},
        {"D 12-01-15 10:20:30 xx xx x234 name", LIST_FMT_UNKNOWN},
        {"D 12-01-15 10:20:30 xx xx 1234", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, DateTimeSizeNameIs21OrMonthFirst22)
{
    expect_formats({
        {"01-15-12  03:04PM       <DIR>          My Dir", 22},
        {"01-15-98  12:05AM              1234 a.txt", 22},
        {"15-01-12  10:00  555 b c", 21},
        {"12/31/98 10:20 555 name", 22},
        {"13/31/98 10:20 555 name", 21},
        {"98-12-31 10:20 555 name", 21},
        {"00-12-31 10:20 555 name", 21},
        {"01-12-31 10:20 555 name", 22},
        // nine characters
        {"112-01-15 10:20 555 name", 21},
        {"012-01-15 10:20 555 name", 22},
        {"01-15-112 10:20 555 name", 22},
        {"15-01-112 10:20 555 name", 21},
        // any time that has a ':' and a digit behind it
        {"01-15-12 1:2 555 name", 22},
        {"01-15-12 99:99 555 name", 22},
        {"01-15-12 10:20 <JUNCTION> name", 22},
        {"01-15-12 10:20 5x name", 22},
    });
}

TEST(DetectOther, LineShortOf21Or22IsUnknown)
{
    expect_formats({
        {"01-15-2012 10:20 555 name", LIST_FMT_UNKNOWN},
        {"01-15-1 10:20 555 name", LIST_FMT_UNKNOWN},
        {"x1-15-12 10:20 555 name", LIST_FMT_UNKNOWN},
        {"01-15-12 1020 555 name", LIST_FMT_UNKNOWN},
        {"01-15-12 1: 555 name", LIST_FMT_UNKNOWN},
        {"01-15-12 10: 555 name", LIST_FMT_UNKNOWN},
        {"01-15-12 10:x 555 name", LIST_FMT_UNKNOWN},
        {"01-15-12 x:20 555 name", LIST_FMT_UNKNOWN},
        {"01-15-12 10:20 x55 name", LIST_FMT_UNKNOWN},
        {"01-15-12 10:20 555", LIST_FMT_UNKNOWN},
        {"01-15-12 10:20", LIST_FMT_UNKNOWN},
        {"01-15-12", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, NameSizeDateTimeIs23AndTakesTheLinesOf30)
{
    expect_formats({
        {"name 1234 01-15-12 10:20", 23},
        {"name <DIR> 01-15-12 10:20", 23},
        {"name 1234 01-15-112 10:20", 23},
        {"name 1234 112-01-15 10:20", 23},
        {"name 1234 01-15-12 10:", 23}, // no digit is asked for behind the ':'
        {"name 1234 01-15-12 1x:y", 23},
        {"name 1234 01-15-12 10:20 and more", 23}, // it fits 30 as well
        {"name 1234 01-15-12 1:", LIST_FMT_UNKNOWN},
        {"name 1234 01-15-12 1020", LIST_FMT_UNKNOWN},
        {"name 1234 01-15-12 x:20", LIST_FMT_UNKNOWN},
        {"name x234 01-15-12 10:20", LIST_FMT_UNKNOWN},
        {"name 1234 01-15-2012 10:20", LIST_FMT_UNKNOWN},
        {"name 1234 01-15-12", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, FourDigitYearTimeWithSecondsSizeNameIs24)
{
    expect_formats({
        {"2012-01-15 10:20:30 <DIR> docs", 24},
        {"2012/01/15 10.20.30 555 two words", 24},
        {"9999x99x99 99:99:99 5x name", 24},
        {"2012-01-15 10:20 555 name", LIST_FMT_UNKNOWN},
        {"2012-01-15 10:20:30 x55 name", LIST_FMT_UNKNOWN},
        {"2012-01-15 10:20:30 555", LIST_FMT_UNKNOWN},
        {"12-01-2012 10:20:30 555 name", LIST_FMT_UNKNOWN},
        {"2012-1-015 10:20:30 555 name", LIST_FMT_UNKNOWN},
        {"2012-01-1x 10:20:30 555 name", LIST_FMT_UNKNOWN},
        {"2012001015 10:20:30 555 name", LIST_FMT_UNKNOWN},
        {"02012-01-15 10:20:30 555 name", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, NameSizeMonthWithTimeInField5Is28)
{
    expect_formats({
        {"name 1234 Jan 15 2012 10:20", 28},
        {"name <DIR> JAN 15 2012 10:20", 28},
        {"name 1234 3/ 15 2012 10:20", 28},
        {"name 1234 3" MONTH_UTF8 " 15 2012 1:2", 28},
        {"name 1234 an xx xx 10:20", 28},
        {"name 1234 3/15 15 2012 10:20", LIST_FMT_UNKNOWN}, // a day inside the month field
        {"name 1234 Sept 15 2012 10:20", LIST_FMT_UNKNOWN},
        {"name x234 Jan 15 2012 10:20", LIST_FMT_UNKNOWN},
        {"name 1234 Jan 15 2012 1020", LIST_FMT_UNKNOWN},
        {"name 1234 Jan 15 2012 10:", LIST_FMT_UNKNOWN},
        {"name 1234 Jan 15 2012", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, PermissionsOwnerSizeDateTimeNameIs33)
{
    expect_formats({
        {"-rw-r--r-- owner 1234 12-01-15 10:20:30 name", 33},
        {"0123456789 owner 1x 12-01-15 10-20-30 two words", 33},
        {"-rw-r--r-- owner x234 12-01-15 10:20:30 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- owner 1234 12-01-15 10:20 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- owner 1234 2012-01-15 10:20:30 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- owner 1234 12-01-15 10:20:30", LIST_FMT_UNKNOWN},
        {"-rw-r--r owner 1234 12-01-15 10:20:30 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r--+ owner 1234 12-01-15 10:20:30 name", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, PermissionsDateTimeNameIs32)
{
    expect_formats({
        {"-rw-r--r-- 12-01-15 10:20:30 name", 32},
        {"drwxr-xr-x 12/01/15 10.20.30 two words", 32},
        {"-rw-r--r-- 2012-01-15 10:20:30 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- 12-01-15 10:20 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- 12-01-15 10:20:30", LIST_FMT_UNKNOWN},
        {"-rw-r--r--x 12-01-15 10:20:30 name", LIST_FMT_UNKNOWN},
        // a third date leads to the test for 33, and from there past this one
        {"-rw-r--r-- 12-01-15 10:20:30 12-01-15 name", LIST_FMT_UNKNOWN},
        {"-rw-r--r-- 12-01-15 10:20:30 12-01-15", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, SizeWithMonthInField3AndTimeInField5Is37)
{
    expect_formats({
        {"1234 xx yy Jan 15 10:20 2012 name", 37},
        {"<DIR> xx yy Jan 15 10:20 2012 name", 37},
        {"1x xx yy 1/15 15 10:20 2x two words", 37}, // here the month may carry its day
        {"1234 xx yy Jan 15 10:20 2012", 37},        // nothing asks for the name
        {"x234 xx yy Jan 15 10:20 2012 name", LIST_FMT_UNKNOWN},
        {"1234 xx yy Sept 15 10:20 2012 name", LIST_FMT_UNKNOWN},
        {"1234 xx yy Jan 15 10:x 2012 name", LIST_FMT_UNKNOWN},
        {"1234 xx yy Jan 15 10:20 x012 name", LIST_FMT_UNKNOWN},
        {"1234 xx yy Jan 15 10:20", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, OwnerDateFourDigitTimeIs38)
{
    expect_formats({
        {"owner 12-01-15 1020 F xx 1234 name", 38},
        {"owner 12/01/15 1xxx D xx 1x two words", 38},
        {"owner 2012-01-15 1020 F xx 1234 name", LIST_FMT_UNKNOWN},
        {"owner 12-01-15 10:20 F xx 1234 name", LIST_FMT_UNKNOWN},
        {"owner 12-01-15 x020 F xx 1234 name", LIST_FMT_UNKNOWN},
        {"owner 12-01-15 1020 F xx x234 name", LIST_FMT_UNKNOWN},
        {"owner 12-01-15 1020 F xx 1234", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, VolumeUnitFourDigitYearIs39)
{
    expect_formats({
        {"WRK001 3390 2012/01/15 1 15 FB 80 27920 PO MY.DATA", 39},
        {"WRK001 3x 2012-01-15 xx xx xx xx 2x xx two words", 39},
        {"WRK001 x390 2012/01/15 1 15 FB 80 27920 PO MY.DATA", LIST_FMT_UNKNOWN},
        {"WRK001 3390 12/01/15 1 15 FB 80 27920 PO MY.DATA", LIST_FMT_UNKNOWN},
        {"WRK001 3390 2012/1/015 1 15 FB 80 27920 PO MY.DATA", LIST_FMT_UNKNOWN},
        {"WRK001 3390 2012/01/15 1 15 FB 80 x7920 PO MY.DATA", LIST_FMT_UNKNOWN},
        {"WRK001 3390 2012/01/15 1 15 FB 80 27920 PO", LIST_FMT_UNKNOWN},
    });
}

TEST(DetectOther, UnixTestComesFirst)
{
    expect_formats({
        {"2012-01-15 10:20:30 555 Jan 15 12:34 name", 0x20C},          // 24
        {"-rw-r--r-- owner 1234 12/01/15 10:20:30 name", 0x20D},       // 33
        {"-rw-r--r-- 12-01-15 10:20:30 Jan 15 12:34 name", 0x20C},     // 29
        {"1234567890 xx yy Jan 15 10:20 2012 name", 0x20C},            // 37
        {"name567890 1234 Jan 15 2012 10:20 5 Jan 15 10:20 x", 0x20F}, // 28
    });
}

// Each line fits the number it gives and the one behind it.
TEST(DetectOther, LineThatFitsTwoLayoutsGivesTheOneThatIsTriedFirst)
{
    expect_formats({
        {"QSYS 1 12-01-15 10:20:30 xx 12-01-15 name", 26},                 // 27
        {"own 12-01-15 12-01-15 10:20:30 xx 5 name", 26},                  // 29
        {"01-15-12 10:20 12-01-15 10:20:30 xx name", 26},                  // 22
        {"name 5 01-15-12 10:20:30 xx name", 26},                          // 23, 30
        {"2012-01-15 10:20:30 12-01-15 10:20:30 xx name", 26},             // 24
        {"own 5 12/45/99 10:20:30 xx 10:20", 26},                          // 28: day 45 is no day
        {"-rw-r--r-- 5 12-01-15 12-01-15 10:20:30 name", 26},              // 33
        {"5 5 12-01-15 12/01/15 xx 10:20 2012 name", 26},                  // 37
        {"VOL1 12-01-15 10:20:30 5 PO 12-01-15 name", 27},                 // 29
        {"VOL1 5 01-15-12 10:20 PO 12-01-15 name", 27},                    // 23
        {"VOL1 5 3/ 5 PO 10:20:30 name", 27},                              // 28
        {"1234 xx 5 3/ PO 10:20:30 5 name", 27},                           // 37
        {"VOL1 12-01-15 1020 5 xx 12-01-15 name", 27},                     // 38
        {"VOL1 5 2012-01-15 5 PO 12-01-15 xx 5 xx name", 27},              // 39
        {"01-15-12 10:20:30 12-01-15 xx xx 5 name", 29},                   // 22
        {"D 12-01-15 12-01-15 10:20 xx 5 name", 29},                       // 23
        {"2012-01-15 10:20:30 12-01-15 xx xx 5 name", 29},                 // 24
        {"D 12-01-15 12/45/99 xx xx 10:20 name", 29},                      // 28
        {"-rw-r--r-- 12-01-15 10:20:30 my file 2 name", 29},               // 32
        {"5 12-01-15 10:20:30 Jan xx 10:20 2012", 29},                     // 37
        {"01-15-12 10:20 01-15-12 10:20", 22},                             // 23
        {"01-15-12 10:20 3/ xx xx 10:20", 22},                             // 28
        {"01-15-12 10:20 5 Jan 15 10:20 2012 name", 22},                   // 37
        {"15-01-12 10:20:30 1234 xx xx 5 name", 21},                       // 38
        {"15-01-12 10:20 2012-01-15 xx xx xx xx 5 xx name", 21},           // 39
        {"2012-01-15 10:20:30 112-01-15 10:20", 23},                       // 24
        {"name 5 12/45/99 10:20 xx 10:20", 23},                            // 28
        {"name 1234 01-15-12 10:20 and more", 23},                         // 30
        {"-rw-r--r-- 5 112-01-15 10:20:30 10:20:30 name", 23},             // 33
        {"-rw-r--r-- 12-01-15 12-01-15 10:20", 23},                        // 32
        {"5 5 01-15-12 3/1:2 xx 10:20 2012", 23},                          // 37
        {"2012-01-15 10:20:30 3/ xx xx 10:20", 24},                        // 28
        {"2012-01-15 10:20:30 5 12-01-15 10:20:30 name", 24},              // 33
        {"2012-01-15 10:20:30 12-01-15 name", 24},                         // 32
        {"2012-01-15 10:20:30 5 Jan xx 10:20 2012", 24},                   // 37
        {"2012-01-15 10:20:30 1234 xx xx 5 name", 24},                     // 38
        {"2012-01-15 10:20:30 2012-01-15 1 1 FB 80 800 PO name", 24},      // 39
        {"-rw-r--r-- 5 3/ 12-01-15 10:20:30 10:20", 28},                   // 33
        {"-rw-r--r-- 12-01-15 12/45/99 name xx 10:20", 28},                // 32
        {"5 5 Jan Feb 15 10:20 2012 name", 28},                            // 37
        {"own 12-01-15 003/ xx xx 10:20 name", 28},                        // 38
        {"VOL 5 0012/45/99 xx xx 10:20 xx 5 xx name", 28},                 // 39
        {"1234567890 xx 5 12/01/15 12-01-15 10:20 2012", 33},              // 37
        {"-rw-r--r-- 12-01-15 1020 12-01-15 10:20:30 5 name", 33},         // 38
        {"-rw-r--r-- 5 2012-01-15 12-01-15 10:20:30 xx xx 5 xx name", 33}, // 39
        {"5 12-01-15 1020 Jan xx 10:20 2012", 37},                         // 38
        {"5 5 2012-01-15 Jan xx 10:20 2012 5 xx name", 37},                // 39
    });
}

TEST(DetectOther, BlanksInFrontAndRunsOfBlanksDoNotMatter)
{
    expect_formats({
        {"   01-15-12     10:20   555    name", 22},
        {"  QSYSOPR   1234  01/15/12  10:20:30  *FILE   NAME", 26},
        {"     1234  xx  yy  Jan  15  10:20  2012  name", 37},
        {"01-15-12\t10:20\t555\tname", LIST_FMT_UNKNOWN}, // tabs separate nothing
    });
}

TEST(DetectOther, LineWithoutAnyLayoutIsUnknown)
{
    expect_formats({
        {"", LIST_FMT_UNKNOWN},
        {" ", LIST_FMT_UNKNOWN},
        {"     ", LIST_FMT_UNKNOWN},
        {"total 1234", LIST_FMT_UNKNOWN},
        {"name", LIST_FMT_UNKNOWN},
        {"ls: cannot access 'x': No such file or directory", LIST_FMT_UNKNOWN},
        {"\xFF\xFE\x80", LIST_FMT_UNKNOWN},
    });
}

} // namespace
