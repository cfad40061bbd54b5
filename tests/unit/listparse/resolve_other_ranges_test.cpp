#include "listing.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

namespace
{

struct date_row {
    const char *text;
    date_given date;
    bool given;
};

void expect_dates(list_format_t format, const std::string &before, const std::string &behind,
                  std::initializer_list<date_row> table)
{
    for (const date_row &row : table) {
        entry_t entry = resolve(before + row.text + behind, format);
        EXPECT_EQ(entry.date.year, row.date.year) << format << ' ' << row.text;
        EXPECT_EQ(entry.date.month, row.date.month) << format << ' ' << row.text;
        EXPECT_EQ(entry.date.day, row.date.day) << format << ' ' << row.text;
        EXPECT_EQ((entry.valid & FILE_INFO_DATE) != 0, row.given) << format << ' ' << row.text;
        EXPECT_EQ(entry.name, "name") << format << ' ' << row.text;
        EXPECT_EQ(entry.type, FILE_TYPE_FILE) << format << ' ' << row.text;
    }
}

TEST(ResolveOther, Format26KnowsTheOrderOfItsDateByTheSeparatorAndTheNumbers)
{
    expect_dates(26, "QSYSOPR 1234 ", " 10:20:30 *FILE name",
                 {
                     // a point: day, month, year
                     {"15.01.12", {2012, 1, 15}, true},
                     {"01.02.03", {2003, 2, 1}, true},
                     {"31.12.98", {1998, 12, 31}, true},
                     {"01.13.12", {}, false},
                     // a second number above 12 or a third above 31: month, day, year
                     {"01/15/12", {2012, 1, 15}, true},
                     {"12/13/11", {2011, 12, 13}, true},
                     {"01/02/98", {1998, 1, 2}, true},
                     {"01/02/32", {2032, 1, 2}, true},
                     {"12/31/59", {2059, 12, 31}, true},
                     {"12/31/60", {1960, 12, 31}, true},
                     // else: year, month, day
                     {"12/01/15", {2012, 1, 15}, true},
                     {"98/12/31", {1998, 12, 31}, true},
                     {"59-02-03", {2059, 2, 3}, true},
                     {"60-02-03", {1960, 2, 3}, true},
                     {"12/12/12", {2012, 12, 12}, true},
                     // outside the calendar
                     {"12/00/15", {}, false},
                     {"12/01/00", {}, false},
                     {"13/15/12", {}, false}, // month 13
                     {"01/32/12", {}, false}, // day 32
                     {"00/15/12", {}, false},
                 });
}

TEST(ResolveOther, DateOutsideTheCalendarIsLeftOut)
{
    auto year_first = std::initializer_list<date_row>{
        {"12-01-15", {2012, 1, 15}, true}, {"59-12-31", {2059, 12, 31}, true},
        {"60-01-01", {1960, 1, 1}, true},  {"99/12/31", {1999, 12, 31}, true},
        {"00/02/03", {2000, 2, 3}, true},  {"12-00-15", {}, false},
        {"12-13-15", {}, false},           {"12-01-00", {}, false},
        {"12-01-32", {}, false},
    };
    expect_dates(27, "WRK1 3390 12 34 PS ", " name", year_first);
    expect_dates(29, "F ", " 10:20:30 xx xx 1234 name", year_first);
    expect_dates(32, "-rw-r--r-- ", " 10:20:30 name", year_first);
    expect_dates(33, "-rw-r--r-- owner 1234 ", " 10:20:30 name", year_first);
    expect_dates(38, "owner ", " 1020 F xx 1234 name", year_first);
    auto month_first = std::initializer_list<date_row>{
        {"01-15-12", {2012, 1, 15}, true}, {"12-31-60", {1960, 12, 31}, true},
        {"00-15-12", {}, false},           {"13-15-12", {}, false},
        {"01-00-12", {}, false},           {"01-32-12", {}, false},
    };
    expect_dates(30, "xx 1234 ", " 10:20 name", month_first);
    auto named = std::initializer_list<date_row>{
        {"Jan 15 2012", {2012, 1, 15}, true},
        {"Dec 31 1998", {1998, 12, 31}, true},
        {"Jan 0 2012", {}, false},
        {"Jan 32 2012", {}, false},
        {"Jan xx 2012", {}, false},
    };
    expect_dates(28, "name 1234 ", " 10:20", named);
    expect_dates(37, "1234 xx yy ", " name",
                 {
                     {"Jan 15 10:20 2012", {2012, 1, 15}, true},
                     {"Jan 0 10:20 2012", {}, false},
                     {"Jan 32 10:20 2012", {}, false},
                     {"xx 15 10:20 2012", {}, false},
                 });
}

struct time_row {
    const char *text;
    time_given time;
    bool given;
};

void expect_times(list_format_t format, const std::string &before, const std::string &behind,
                  std::initializer_list<time_row> table)
{
    for (const time_row &row : table) {
        entry_t entry = resolve(before + row.text + behind, format);
        EXPECT_EQ(entry.time.hour, row.time.hour) << format << ' ' << row.text;
        EXPECT_EQ(entry.time.minute, row.time.minute) << format << ' ' << row.text;
        EXPECT_EQ((entry.valid & FILE_INFO_TIME) != 0, row.given) << format << ' ' << row.text;
        EXPECT_EQ(entry.name, "name") << format << ' ' << row.text;
    }
}

TEST(ResolveOther, TimeOutsideTheDayIsLeftOut)
{
    auto with_seconds = std::initializer_list<time_row>{
        {"00:00:00", {0, 0}, true}, {"23:59:59", {23, 59}, true}, {"24:00:00", {24, 0}, true},
        {"25:00:00", {}, false},    {"10:60:00", {}, false},      {"99:99:99", {}, false},
    };
    expect_times(26, "owner 1234 12/01/15 ", " *FILE name", with_seconds);
    expect_times(29, "F 12-01-15 ", " xx xx 1234 name", with_seconds);
    expect_times(32, "-rw-r--r-- 12-01-15 ", " name", with_seconds);
    expect_times(33, "-rw-r--r-- owner 1234 12-01-15 ", " name", with_seconds);
    auto short_time = std::initializer_list<time_row>{
        {"0:00", {0, 0}, true}, {"23:59", {23, 59}, true}, {"24:00", {24, 0}, true},
        {"25:00", {}, false},   {"10:60", {}, false},
    };
    expect_times(28, "name 1234 Jan 15 2012 ", "", short_time);
    expect_times(30, "xx 1234 01-15-12 ", " name", short_time);
    expect_times(37, "1234 xx yy Jan 15 ", " 2012 name", short_time);
    expect_times(38, "owner 12-01-15 ", " F xx 1234 name",
                 {
                     {"0000", {0, 0}, true},
                     {"2359", {23, 59}, true},
                     {"2400", {24, 0}, true},
                     {"2500", {}, false},
                     {"1060", {}, false},
                     {"10xx", {}, false},
                 });
}

} // namespace
