#include "listing.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

namespace
{

struct entry_row {
    const char *line;
    list_format_t format;
    entry_t entry;
};

void expect_entries(std::initializer_list<entry_row> table)
{
    for (const entry_row &row : table)
        EXPECT_EQ(resolve(row.line, row.format), row.entry)
            << testing::PrintToString(row.line) << " as " << row.format;
}

// A file of owner "own", 0x644, 1234 bytes, January 15th 12:34, called "name", with one thing different.
entry_t usual(auto change)
{
    entry_t entry{.type = FILE_TYPE_FILE,
                  .name = "name",
                  .size = 1234,
                  .date = {0, 1, 15},
                  .time = {12, 34},
                  .attributes = RW_R_R,
                  .owner = "own",
                  .valid = ALL_GIVEN};
    change(entry);
    return entry;
}

std::string usual_line(const std::string &name) { return "-rw-r--r-- 1 own group 1234 Jan 15 12:34 " + name; }

TEST(ResolveUnix, CommonLinesAreReadWhole)
{
    expect_entries({
        {"-rw-r--r--   1 user group   1234 Jan 15 12:34 my file.txt",
         0x200,
         {.type = 1,
          .name = "my file.txt",
          .size = 1234,
          .date = {0, 1, 15},
          .time = {12, 34},
          .attributes = 0x644,
          .owner = "user",
          .valid = 15}},
        {"drwxr-xr-x   2 user group   4096 Jan 15  2012 dir/",
         0x200,
         {.type = 0,
          .name = "dir",
          .size = 4096,
          .date = {2012, 1, 15},
          .attributes = 0x755,
          .owner = "user",
          .valid = 13}},
        {"lrwxrwxrwx 1 user group 7 Jan 15 12:34 link -> target",
         0x200,
         {.type = 0,
          .name = "link -> target",
          .size = 7,
          .date = {0, 1, 15},
          .time = {12, 34},
          .attributes = 0x777,
          .owner = "user",
          .is_link = 1,
          .valid = 15}},
    });
}

// Wherever the number puts them, the fields hold the same.
TEST(ResolveUnix, EachNumberOfTheWesternOrderHasItsFieldPositions)
{
    struct {
        list_format_t number;
        const char *line;
    } const table[] = {
        {0, "-rw-r--r-- 1 own grp 1234 Jan 15 12:34 name"},
        {1, "-rw-r--r-- 1 own grp 1234 1/15 12:34 name"},
        {2, "-rw-r--r--12 own grp 1234 Jan 15 12:34 name"},
        {3, "-rw-r--r--12 own grp 1234 1/15 12:34 name"},
        {6, "-rw-r--r-- 1 own 1234 Jan 15 12:34 name"},
        {7, "-rw-r--r-- 1 own 1234 1/15 12:34 name"},
        {8, "-rw-r--r--12 own 1234 Jan 15 12:34 name"},
        {9, "-rw-r--r--12 own 1234 1/15 12:34 name"},
        {12, "-rw-r--r-- own 1234 Jan 15 12:34 name"},
        {13, "-rw-r--r-- own 1234 1/15 12:34 name"},
        {15, "-rw-r--r-- 1 own grp xx xx 1234 Jan 15 12:34 name"},
        {16, "-rw-r--r-- 1 own grp xx xx 1234 1/15 12:34 name"},
        {17, "-rw-r--r--12 own grp xx xx 1234 Jan 15 12:34 name"},
        {18, "-rw-r--r--12 own grp xx xx 1234 1/15 12:34 name"},
        {42, "-rw-r--r-- 1 own grp xx 1234 Jan 15 12:34 name"},
        {43, "-rw-r--r-- 1 own grp xx 1234 1/15 12:34 name"},
        {44, "-rw-r--r--12 own grp xx 1234 Jan 15 12:34 name"},
        {45, "-rw-r--r--12 own grp xx 1234 1/15 12:34 name"},
    };
    for (const auto &row : table)
        EXPECT_EQ(resolve(row.line, row.number | LIST_FMT_FLAG_LNK), usual([](entry_t &) {})) << row.number;
}

TEST(ResolveUnix, EachNumberOfTheChineseOrderHasItsFieldPositions)
{
    struct {
        list_format_t number;
        const char *line;
        const char *owner;
    } const table[] = {
        {4, "-rw-r--r-- 1 own grp 1234 2012 1" MONTH_GB " 15 name", "own"},
        {5, "-rw-r--r--12 own grp 1234 2012 1" MONTH_GB " 15 name", "own"},
        {10, "-rw-r--r-- 1 own 1234 2012 1" MONTH_GB " 15 name", "own"},
        {11, "-rw-r--r--12 own 1234 2012 1" MONTH_GB " 15 name", "own"},
        {14, "-rw-r--r-- own 1234 2012 1" MONTH_GB " 15 name", "1234"}, // takes the owner from the size
        {19, "-rw-r--r-- 1 own grp xx xx 1234 2012 1" MONTH_GB " 15 name", "own"},
        {20, "-rw-r--r--12 own grp xx xx 1234 2012 1" MONTH_GB " 15 name", "own"},
        {46, "-rw-r--r-- 1 own grp xx 1234 2012 1" MONTH_GB " 15 name", "own"},
        {47, "-rw-r--r--12 own grp xx 1234 2012 1" MONTH_GB " 15 name", "own"},
    };
    for (const auto &row : table)
        EXPECT_EQ(resolve(row.line, row.number | LIST_FMT_FLAG_LNK), usual([&](entry_t &entry) {
                      entry.owner = row.owner;
                      entry.date = {2012, 1, 15};
                      entry.time = {0, 0};
                      entry.valid = ALL_BUT_TIME;
                  }))
            << row.number;
}

TEST(ResolveUnix, EveryOtherNumberReadsTheCommonLayout)
{
    for (list_format_t number : {48, 63, 99, 128, 255})
        EXPECT_EQ(resolve(usual_line("name"), number | LIST_FMT_FLAG_LNK), usual([](entry_t &) {})) << number;
}

// Detection gives 12 for a glued link count without owner and group, but 12 reads one field further right.
TEST(ResolveUnix, Number12ReadsBesideAGluedLineWithoutOwnerAndGroup)
{
    EXPECT_EQ(detect("-rw-r--r--12 1234 Jan 15 12:34 name"), 0x20C);
    entry_t entry = resolve("-rw-r--r--12 1234 Jan 15 12:34 name", 0x20C);
    EXPECT_EQ(entry.type, FILE_TYPE_NONE);
    EXPECT_EQ(entry.name, "");
    EXPECT_EQ(resolve("-rw-r--r--12 1234 Jan 15 12:34 2000 name", 0x20C), usual([](entry_t &changed) {
                  changed.owner = "1234";
                  changed.size = 0;             // "Jan"
                  changed.date = {2000, 0, 12}; // "2000", "15", "12:34"
                  changed.time = {0, 0};
                  changed.valid = ALL_BUT_TIME;
              }));
}

TEST(ResolveUnix, SizeThatIsNoCleanNumberIsNoughtAndStillGiven)
{
    struct {
        const char *text;
        int64_t size;
    } const table[] = {
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
    for (const auto &row : table) {
        std::string line = std::string("-rw-r--r-- 1 own group ") + row.text + " Jan 15 12:34 name";
        EXPECT_EQ(resolve(line, 0x200), usual([&](entry_t &entry) { entry.size = row.size; })) << row.text;
    }
}

TEST(ResolveUnix, StaleRangeErrorSpoilsTheSize)
{
    EXPECT_EQ(resolve(usual_line("name"), 0x200, ERANGE), usual([](entry_t &entry) { entry.size = 0; }));
}

TEST(ResolveUnix, RangeErrorOfOneLineSpoilsTheSizeOfTheNext)
{
    resolve("-rw-r--r-- 1 own group 99999999999999999999 Jan 15 12:34 name", 0x200);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(resolve(usual_line("name"), 0x200, errno).size, 0);
}

TEST(ResolveUnix, LongOwnerIsCutTo40Characters)
{
    std::string forty = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
    for (const std::string &owner : {forty, forty + "E", forty + std::string(5000, 'x')})
        EXPECT_EQ(resolve("-rw-r--r-- 1 " + owner + " group 1234 Jan 15 12:34 name", 0x200),
                  usual([&](entry_t &entry) { entry.owner = forty; }));
}

TEST(ResolveUnix, LongNameIsCutTo1024Bytes)
{
    for (size_t length : {1023u, 1024u, 1025u, 5000u, 1000000u})
        EXPECT_EQ(resolve(usual_line(std::string(length, 'n')), 0x200), usual([&](entry_t &entry) {
                      entry.name = std::string(std::min<size_t>(length, 1024), 'n');
                  }))
            << length;
}

TEST(ResolveUnix, FieldsOfAnyLengthAreReadWhole)
{
    std::string noughts(3000, '0');
    EXPECT_EQ(
        resolve("-rw-r--r--" + noughts + " 1 own group " + noughts + "1234 Jan " + noughts + "15 12:34 name",
                0x200),
        usual([](entry_t &) {}));
}

// --- Date and time

struct date_row {
    const char *text; // month, day and time or year
    date_given date;
    time_given time;
    uint32_t valid;
};

void expect_dates(list_format_t format, std::initializer_list<date_row> table)
{
    for (const date_row &row : table) {
        std::string line = std::string("-rw-r--r-- 1 own group 1234 ") + row.text + " name";
        EXPECT_EQ(resolve(line, format), usual([&](entry_t &entry) {
                      entry.date = row.date;
                      entry.time = row.time;
                      entry.valid = row.valid;
                  }))
            << testing::PrintToString(row.text);
    }
}

TEST(ResolveUnix, TimeLeavesTheYearUnknownAndAYearLeavesTheTimeOut)
{
    expect_dates(0x200, {
                            {"Dec 31 23:59", {0, 12, 31}, {23, 59}, 15},
                            {"DEC  1  7:05", {0, 12, 1}, {7, 5}, 15},
                            {"Jan 15 24:00", {0, 1, 15}, {24, 0}, 15},
                            {"Jan 15 P:M", {0, 1, 15}, {0, 0}, 15},
                            {"Jan 15 12" HOUR_SJIS "34", {0, 1, 15}, {12, 34}, 15},
                            {"Jan 15 1998", {1998, 1, 15}, {0, 0}, 13},
                            {"Jan 15 2012x", {2012, 1, 15}, {0, 0}, 13},
                            {"Jan 15 25:00", {25, 1, 15}, {0, 0}, 13}, // no time, so it is read as a year
                            {"Jan 15 xx", {0, 1, 15}, {0, 0}, 13},
                        });
}

TEST(ResolveUnix, MonthAndDayAreNotChecked)
{
    expect_dates(0x200, {
                            {"xx 15 12:34", {0, 0, 15}, {12, 34}, 15},
                            {"Jan 99 12:34", {0, 1, 99}, {12, 34}, 15},
                            {"Jan xx 12:34", {0, 1, 0}, {12, 34}, 15},
                            {"Jan 65551 12:34", {0, 1, 15}, {12, 34}, 15}, // 16 bits
                            {"a 15 12:34", {0, 4, 15}, {12, 34}, 15},
                            {"3/20 15 12:34", {0, 3, 15}, {12, 34}, 15}, // the day field wins
                            {"3" MONTH_UTF8 " 15" DAY_UTF8 " 12:34", {0, 3, 15}, {12, 34}, 15},
                        });
}

TEST(ResolveUnix, DayInTheMonthFieldIsTakenFromThere)
{
    expect_dates(
        0x201, {
                   {"3/15 12:34", {0, 3, 15}, {12, 34}, 15},
                   {"3/15 2012", {2012, 3, 15}, {0, 0}, 13},
                   {"3/99 12:34", {0, 3, 0}, {12, 34}, 15},
                   {"13/1 12:34", {0, 0, 0}, {12, 34}, 15},
                   {"Jan 12:34", {0, 1, 0}, {12, 34}, 15},
                   {"3" MONTH_SJIS "15" DAY_SJIS " 12" HOUR_SJIS "34" MINUTE_SJIS, {0, 3, 15}, {12, 34}, 15},
                   {"3" MONTH_EUC "15" DAY_EUC " 12" HOUR_EUC "34" MINUTE_EUC, {0, 3, 15}, {12, 34}, 15},
                   {"3" MONTH_UTF8 "15" DAY_UTF8 " 12" HOUR_UTF8 "34" MINUTE_UTF8, {0, 3, 15}, {12, 34}, 15},
                   {"3" MONTH_GB "15" DAY_GB " 12:34", {0, 3, 15}, {12, 34}, 15},
                   {"3" MONTH_JIS "15 12:34", {0, 0, 0}, {12, 34}, 15},
               });
}

TEST(ResolveUnix, MonthFieldOfEightCharactersIsAYearMonthDayDate)
{
    expect_dates(0x201, {
                            {"12-01-15 10:20", {2012, 1, 15}, {10, 20}, 15},
                            {"75-01-15 10:20", {1975, 1, 15}, {10, 20}, 15},
                            {"00/02/03 10:20", {2000, 2, 3}, {10, 20}, 15},
                            {"59.12.31 10:20", {2059, 12, 31}, {10, 20}, 15},
                            {"60.12.31 10:20", {1960, 12, 31}, {10, 20}, 15},
                            {"99-99-99 10:20", {1999, 99, 99}, {10, 20}, 15}, // unchecked
                            {"12-01-15 2012", {2012, 1, 15}, {0, 0}, 13},
                            {"12-01-15 1998", {2012, 1, 15}, {0, 0}, 13}, // the date has its year already
                            {"12-01-15 25:00", {2012, 1, 15}, {0, 0}, 13},
                            // other shapes go to GetMonth
                            {"12/1/015 10:20", {0, 12, 1}, {10, 20}, 15},
                            {"1*-01-15 10:20", {0, 0, 0}, {10, 20}, 15},
                            {"012/01/15 10:20", {0, 12, 1}, {10, 20}, 15},
                        });
    // with a day field of its own, which is passed over
    expect_dates(0x200, {
                            {"12-01-15 31 10:20", {2012, 1, 15}, {10, 20}, 15},
                            {"12-01-15 31 xx", {2012, 1, 15}, {0, 0}, 13},
                        });
}

TEST(ResolveUnix, ChineseOrderIsNotCheckedEither)
{
    expect_dates(0x204, {
                            {"1998 12" MONTH_GB " 31" DAY_GB, {1998, 12, 31}, {0, 0}, 13},
                            {"99 77 88", {99, 77, 88}, {0, 0}, 13},
                            {"xx xx xx", {0, 0, 0}, {0, 0}, 13},
                            {"65537/ 1" MONTH_GB " 15", {1, 1, 15}, {0, 0}, 13}, // 16 bits
                            {"2012 1" MONTH_GB " 12:34", {2012, 1, 12}, {0, 0}, 13},
                        });
}

} // namespace
