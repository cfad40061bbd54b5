#include "listing.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

namespace
{

const entry_t UNDATED = file("name").bytes(1234).mode(0x644).owned("own");
const entry_t USUAL = UNDATED.dated(0, 1, 15).at(12, 34);
constexpr const char *USUAL_LINE = "-rw-r--r-- 1 own group 1234 Jan 15 12:34 name";

TEST(ResolveUnix, EveryOtherNumberIsReadAsTheCommonLayout)
{
    for (list_format_t number : {48, 63, 99, 128, 255})
        EXPECT_EQ(resolve(USUAL_LINE, number | LIST_FMT_FLAG_LNK), USUAL) << number;
}

// Detection gives these numbers to a line with a real year only by chance.
TEST(ResolveUnix, ChineseOrderOfEveryShiftHasAFullYear)
{
    const entry_t dated = UNDATED.dated(2012, 1, 15);
    expect_entries({
        {"-1", "-rw-r--r-- 1 own 1234 2012 1" MONTH_GB " 15 name", 0x20A, dated},
        {"-2", "-rw-r--r-- own 1234 2012 1" MONTH_GB " 15 name", 0x20E, dated.owned("1234")},
        {"+2", "-rw-r--r-- 1 own grp xx xx 1234 2012 1" MONTH_GB " 15 name", 0x213, dated},
    });
}

TEST(ResolveUnix, InvalidSizeIsZeroAndStillValid)
{
    const std::pair<const char *, int64_t> table[] = {
        {"0", 0},
        {"12K", 0},
        {"1,234", 0},
        {"x", 0},
        {"-5", -5},
        {"+5", 5},
        {"4294967296", 4294967296},
        {"9223372036854775807", INT64_MAX},
        {"9223372036854775808", 0},
    };
    for (const auto &[text, size] : table) {
        std::string line = std::string("-rw-r--r-- 1 own group ") + text + " Jan 15 12:34 name";
        EXPECT_EQ(resolve(line, 0x200), USUAL.bytes(size)) << text;
    }
}

TEST(ResolveUnix, RangeErrorOfOneLineSpoilsTheSizeOfTheNext)
{
    resolve("-rw-r--r-- 1 own group 99999999999999999999 Jan 15 12:34 name", 0x200);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(resolve(USUAL_LINE, 0x200, errno), USUAL.bytes(0));
}

TEST(ResolveUnix, LongOwnerIsCutTo40Characters)
{
    std::string forty = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
    for (const std::string &owner : {forty, forty + "E", forty + std::string(5000, 'x')})
        EXPECT_EQ(resolve("-rw-r--r-- 1 " + owner + " group 1234 Jan 15 12:34 name", 0x200),
                  USUAL.owned(forty));
}

TEST(ResolveUnix, FieldsOfAnyLengthAreReadWhole)
{
    std::string noughts(3000, '0');
    EXPECT_EQ(
        resolve("-rw-r--r--" + noughts + " 1 own group " + noughts + "1234 Jan " + noughts + "15 12:34 name",
                0x200),
        USUAL);
}

// --- Date and time

struct date_row {
    const char *text; // month, day and time or year
    entry_t entry;
};

void expect_dates(list_format_t format, std::initializer_list<date_row> table)
{
    for (const date_row &row : table)
        EXPECT_EQ(resolve("-rw-r--r-- 1 own group 1234 " + std::string(row.text) + " name", format),
                  row.entry)
            << testing::PrintToString(row.text);
}

TEST(ResolveUnix, YearIsUnknownWithATimeAndTheTimeMissingWithAYear)
{
    expect_dates(0x200, {
                            {"Dec 31 23:59", UNDATED.dated(0, 12, 31).at(23, 59)},
                            {"DEC  1  7:05", UNDATED.dated(0, 12, 1).at(7, 5)},
                            {"Jan 15 24:00", UNDATED.dated(0, 1, 15).at(24, 0)},
                            {"Jan 15 P:M", UNDATED.dated(0, 1, 15).at(0, 0)},
                            {"Jan 15 12" HOUR_SJIS "34", USUAL},
                            {"Jan 15 1998", UNDATED.dated(1998, 1, 15)},
                            {"Jan 15 2012x", UNDATED.dated(2012, 1, 15)},
                            {"Jan 15 25:00", UNDATED.dated(25, 1, 15)}, // no time, so it is read as a year
                            {"Jan 15 xx", UNDATED.dated(0, 1, 15)},
                        });
}

TEST(ResolveUnix, MonthAndDayAreNotChecked)
{
    expect_dates(0x200, {
                            {"xx 15 12:34", USUAL.dated(0, 0, 15)},
                            {"Jan 99 12:34", USUAL.dated(0, 1, 99)},
                            {"Jan xx 12:34", USUAL.dated(0, 1, 0)},
                            {"Jan 65551 12:34", USUAL}, // 16 bits
                            {"a 15 12:34", USUAL.dated(0, 4, 15)},
                            {"3/20 15 12:34", USUAL.dated(0, 3, 15)}, // the day field counts
                            {"3" MONTH_UTF8 " 15" DAY_UTF8 " 12:34", USUAL.dated(0, 3, 15)},
                        });
}

TEST(ResolveUnix, DayMayBeInTheMonthField)
{
    const entry_t march = USUAL.dated(0, 3, 15);
    expect_dates(0x201, {
                            {"3/15 12:34", march},
                            {"3/15 2012", UNDATED.dated(2012, 3, 15)},
                            {"3/99 12:34", USUAL.dated(0, 3, 0)},
                            {"13/1 12:34", USUAL.dated(0, 0, 0)},
                            {"Jan 12:34", USUAL.dated(0, 1, 0)},
                            {"3" MONTH_GB "15" DAY_GB " 12:34", march},
                            {"3" MONTH_JIS "15 12:34", USUAL.dated(0, 0, 0)},
                        });
}

TEST(ResolveUnix, MonthFieldOfEightCharactersIsAYearMonthDayDate)
{
    const entry_t timed = UNDATED.at(10, 20);
    expect_dates(0x201, {
                            {"12-01-15 10:20", timed.dated(2012, 1, 15)},
                            {"75-01-15 10:20", timed.dated(1975, 1, 15)},
                            {"00/02/03 10:20", timed.dated(2000, 2, 3)},
                            {"59.12.31 10:20", timed.dated(2059, 12, 31)},
                            {"60.12.31 10:20", timed.dated(1960, 12, 31)},
                            {"99-99-99 10:20", timed.dated(1999, 99, 99)}, // unchecked
                            {"12-01-15 2012", UNDATED.dated(2012, 1, 15)},
                            {"12-01-15 1998", UNDATED.dated(2012, 1, 15)}, // the year is already known
                            {"12-01-15 25:00", UNDATED.dated(2012, 1, 15)},
                            // GetMonth reads other shapes
                            {"12/1/015 10:20", timed.dated(0, 12, 1)},
                            {"1*-01-15 10:20", timed.dated(0, 0, 0)},
                            {"012/01/15 10:20", timed.dated(0, 12, 1)},
                        });
    // with a separate day field, which is ignored
    expect_dates(0x200, {
                            {"12-01-15 31 10:20", timed.dated(2012, 1, 15)},
                            {"12-01-15 31 xx", UNDATED.dated(2012, 1, 15)},
                        });
}

TEST(ResolveUnix, ReadsUncheckedNumbersInChineseOrder)
{
    expect_dates(0x204, {
                            {"1998 12" MONTH_GB " 31" DAY_GB, UNDATED.dated(1998, 12, 31)},
                            {"99 77 88", UNDATED.dated(99, 77, 88)},
                            {"xx xx xx", UNDATED.dated(0, 0, 0)},
                            {"65537/ 1" MONTH_GB " 15", UNDATED.dated(1, 1, 15)}, // 16 bits
                            {"2012 1" MONTH_GB " 12:34", UNDATED.dated(2012, 1, 12)},
                        });
}

} // namespace
