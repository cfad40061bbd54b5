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

TEST(ResolveDos, CommonLinesAreReadWhole)
{
    expect_entries({
        {"01-15-12  03:04PM       <DIR>          My Dir",
         22,
         {.type = 0, .name = "My Dir", .size = 0, .date = {2012, 1, 15}, .time = {15, 4}, .valid = 7}},
        {"01-15-98  12:05AM              1234 a.txt",
         22,
         {.type = 1, .name = "a.txt", .size = 1234, .date = {1998, 1, 15}, .time = {0, 5}, .valid = 7}},
        {"15-01-12  10:00  555 b c",
         21,
         {.type = 1, .name = "b c", .size = 555, .date = {2015, 1, 12}, .time = {10, 0}, .valid = 7}},
        {"a.txt 1234 01-15-12 10:20",
         23,
         {.type = 1, .name = "a.txt", .size = 1234, .date = {2012, 1, 15}, .time = {10, 20}, .valid = 7}},
        {"docs <DIR> 01-15-12 10:20 and more",
         23,
         {.type = 0, .name = "docs", .size = 0, .date = {2012, 1, 15}, .time = {10, 20}, .valid = 7}},
        {"2012-01-15 10:20:30 <DIR> docs",
         24,
         {.type = 0, .name = "docs", .size = 0, .date = {2012, 1, 15}, .time = {10, 20}, .valid = 7}},
        {"2012-01-15 10:20:30 555 two  words ",
         24,
         {.type = 1,
          .name = "two  words ",
          .size = 555,
          .date = {2012, 1, 15},
          .time = {10, 20},
          .valid = 7}},
    });
}

TEST(ResolveDos, NameAloneGivesAFileAndNothingElse)
{
    for (list_format_t format : {25, 35}) {
        expect_entries({
            {"name", format, {.type = 1, .name = "name"}},
            {"  name and 1234 01-15-12 10:20", format, {.type = 1, .name = "name"}},
            {"drwxr-xr-x", format, {.type = 1, .name = "drwxr-xr-x"}},
            {"name/", format, {.type = 1, .name = "name/"}},
            {"a.lnk", format, {.type = 1, .name = "a.lnk"}},
            {". name", format, {.type = -1, .name = "."}},
            {"..", format, {.type = -1, .name = ".."}},
        });
    }
}

struct field_row {
    const char *text;
    date_given date;
    time_given time;
    uint32_t valid;
};

// A line of 1234 bytes called "name"; `text` is its date and time.
void expect_date_and_time(list_format_t format, std::initializer_list<field_row> table)
{
    for (const field_row &row : table) {
        std::string line = std::string(row.text) + " 1234 name";
        if (format == 23)
            line = std::string("name 1234 ") + row.text;
        EXPECT_EQ(resolve(line, format), (entry_t{.type = FILE_TYPE_FILE,
                                                  .name = "name",
                                                  .size = 1234,
                                                  .date = row.date,
                                                  .time = row.time,
                                                  .valid = row.valid}))
            << line << " as " << format;
    }
}

TEST(ResolveDos, TwelveHourMarkerStandsRightBehindTheMinutes)
{
    for (list_format_t format : {22, 23})
        expect_date_and_time(format, {
                                         {"01-15-12 12:05AM", {2012, 1, 15}, {0, 5}, 7},
                                         {"01-15-12 12:05am", {2012, 1, 15}, {0, 5}, 7},
                                         {"01-15-12 12:05A", {2012, 1, 15}, {0, 5}, 7},
                                         {"01-15-12 12:05a.m.", {2012, 1, 15}, {0, 5}, 7},
                                         {"01-15-12 01:30PM", {2012, 1, 15}, {13, 30}, 7},
                                         {"01-15-12 01:30p", {2012, 1, 15}, {13, 30}, 7},
                                         {"01-15-12 12:10PM", {2012, 1, 15}, {12, 10}, 7},
                                         {"01-15-12 11:59AM", {2012, 1, 15}, {11, 59}, 7},
                                         {"01-15-12 00:10AM", {2012, 1, 15}, {0, 10}, 7},
                                         {"01-15-12 00:10PM", {2012, 1, 15}, {12, 10}, 7},
                                         {"01-15-12 12:10", {2012, 1, 15}, {12, 10}, 7},
                                         {"01-15-12 12:10x", {2012, 1, 15}, {12, 10}, 7},
                                         {"01-15-12 12:10:05", {2012, 1, 15}, {12, 10}, 7},
                                         {"01-15-12 1:5PM", {2012, 1, 15}, {1, 5}, 7}, // 'M' stands there
                                         {"01-15-12 1:5xPM", {2012, 1, 15}, {13, 5}, 7},
                                         {"01-15-12 12:005AM", {2012, 1, 15}, {12, 5}, 7}, // '5' does
                                     });
}

TEST(ResolveDos, HourAndMinuteAreNotChecked)
{
    for (list_format_t format : {22, 23})
        expect_date_and_time(format, {
                                         {"01-15-12 24:00PM", {2012, 1, 15}, {36, 0}, 7},
                                         {"01-15-12 24:00", {2012, 1, 15}, {24, 0}, 7},
                                         {"01-15-12 13:00PM", {2012, 1, 15}, {25, 0}, 7},
                                         {"01-15-12 99:99", {2012, 1, 15}, {99, 99}, 7},
                                         {"01-15-12 65537:00", {2012, 1, 15}, {1, 0}, 7}, // 16 bits
                                         {"01-15-12 :30", {2012, 1, 15}, {0, 30}, 7},
                                         {"01-15-12 10:", {2012, 1, 15}, {10, 0}, 7},
                                         {"01-15-12 x:y", {2012, 1, 15}, {0, 0}, 7},
                                         // no ':', no time
                                         {"01-15-12 1020", {2012, 1, 15}, {0, 0}, 5},
                                         {"01-15-12 10.20", {2012, 1, 15}, {0, 0}, 5},
                                         {"01-15-12 10PM", {2012, 1, 15}, {0, 0}, 5},
                                     });
}

TEST(ResolveDos, DatePartsStandWhereFormatAndShapePutThem)
{
    expect_date_and_time(21, {
                                 {"98-12-31 10:20", {1998, 12, 31}, {10, 20}, 7},
                                 {"112-01-15 10:20", {2012, 1, 15}, {10, 20}, 7}, // 1900 + 112
                                 {"112-12-25 10:20", {2012, 12, 25}, {10, 20}, 7},
                                 {"12-12-125 10:20", {2012, 12, 125}, {10, 20}, 7}, // unchecked
                                 {"099-01-15 10:20", {1999, 1, 15}, {10, 20}, 7},
                                 {"059-01-15 10:20", {2059, 1, 15}, {10, 20}, 7},
                                 {"12-01-115 10:20", {2012, 1, 115}, {10, 20}, 7}, // unchecked
                             });
    for (list_format_t format : {22, 23})
        expect_date_and_time(format, {
                                         {"12/31/98 10:20", {1998, 12, 31}, {10, 20}, 7},
                                         {"01-15-112 10:20", {2012, 1, 15}, {10, 20}, 7},
                                         {"012-31-98 10:20", {1998, 12, 31}, {10, 20}, 7},
                                         {"123-31-98 10:20", {1998, 123, 31}, {10, 20}, 7},
                                     });
}

TEST(ResolveDos, YearBelow60IsOfThisCentury)
{
    for (list_format_t format : {22, 23})
        expect_date_and_time(format, {
                                         {"01-15-00 10:20", {2000, 1, 15}, {10, 20}, 7},
                                         {"01-15-59 10:20", {2059, 1, 15}, {10, 20}, 7},
                                         {"01-15-60 10:20", {1960, 1, 15}, {10, 20}, 7},
                                         {"01-15-99 10:20", {1999, 1, 15}, {10, 20}, 7},
                                         {"01-15-012 10:20", {2012, 1, 15}, {10, 20}, 7},
                                         {"01-15-999 10:20", {2899, 1, 15}, {10, 20}, 7},
                                         {"99-99-99 10:20", {1999, 99, 99}, {10, 20}, 7},
                                         {"00-00-00 10:20", {2000, 0, 0}, {10, 20}, 7},
                                     });
}

TEST(ResolveDos, FieldThatIsNoDateFailsTheLine)
{
    for (const char *date : {"2012-01-15", "1-15-12", "01-15-1", "xx-15-12", "**-**-**", "01-1512"}) {
        EXPECT_EQ(resolve(std::string(date) + " 10:20 1234 name", 21).type, FILE_TYPE_NONE) << date;
        EXPECT_EQ(resolve(std::string(date) + " 10:20 1234 name", 22).type, FILE_TYPE_NONE) << date;
        EXPECT_EQ(resolve(std::string(date) + " 10:20 1234 name", 22).name, "") << date;
        EXPECT_EQ(resolve(std::string("name 1234 ") + date + " 10:20", 23).type, FILE_TYPE_NONE) << date;
        EXPECT_EQ(resolve(std::string("name 1234 ") + date + " 10:20", 23).name, "") << date;
    }
}

TEST(ResolveDos, SizeThatIsNoCleanNumberIsNoughtAndStillGiven)
{
    struct {
        const char *text;
        int64_t size;
        int type;
    } const table[] = {
        {"<DIR>", 0, 0}, {"<", 0, 0},     {"<JUNCTION>", 0, 0},          {"0", 0, 1},
        {"12K", 0, 1},   {"1,234", 0, 1}, {"4294967296", 4294967296, 1}, {"9223372036854775808", 0, 1},
        {"DIR", 0, 1},
    };
    for (const auto &row : table) {
        entry_t expected{.type = row.type,
                         .name = "name",
                         .size = row.size,
                         .date = {2012, 1, 15},
                         .time = {10, 20},
                         .valid = DATE_TIME_SIZE};
        std::string size = row.text;
        EXPECT_EQ(resolve("01-15-12 10:20 " + size + " name", 22), expected) << size;
        EXPECT_EQ(resolve("12-01-15 10:20 " + size + " name", 21), expected) << size;
        EXPECT_EQ(resolve("name " + size + " 01-15-12 10:20", 23), expected) << size;
        EXPECT_EQ(resolve("2012-01-15 10:20:30 " + size + " name", 24), expected) << size;
    }
}

TEST(ResolveDos, StaleRangeErrorSpoilsTheSize)
{
    for (list_format_t format : {21, 22}) {
        entry_t entry = resolve("12-01-15 10:20 1234 name", format, ERANGE);
        EXPECT_EQ(entry.size, 0);
        EXPECT_EQ(entry.valid, DATE_TIME_SIZE);
    }
    EXPECT_EQ(resolve("name 1234 01-15-12 10:20", 23, ERANGE).size, 0);
    EXPECT_EQ(resolve("2012-01-15 10:20:30 1234 name", 24, ERANGE).size, 0);
}

TEST(ResolveDos, FourDigitYearIsTakenAsItIsAndNoMarkerIsRead)
{
    expect_date_and_time(24, {
                                 {"2012-01-15 10:20:30", {2012, 1, 15}, {10, 20}, 7},
                                 {"0012/12/31 00:00:00", {12, 12, 31}, {0, 0}, 7},
                                 {"9999-99-99 99:99:99", {9999, 99, 99}, {99, 99}, 7},
                                 {"2012-01-15 01:30:PM", {2012, 1, 15}, {1, 30}, 7},
                                 {"2012-01-15 12.20PM0", {2012, 1, 15}, {12, 20}, 7},
                             });
}

TEST(ResolveDos, ThisAndTheParentDirectoryAreNoEntries)
{
    for (const char *name : {".", ".."})
        for (const auto &[line, format] : {std::pair{std::string("01-15-12 10:20 <DIR> ") + name, 22},
                                           std::pair{std::string("12-01-15 10:20 <DIR> ") + name, 21},
                                           std::pair{name + std::string(" <DIR> 01-15-12 10:20"), 23},
                                           std::pair{std::string("2012-01-15 10:20:30 <DIR> ") + name, 24}}) {
            entry_t entry = resolve(line, format);
            EXPECT_EQ(entry.type, FILE_TYPE_NONE) << line;
            EXPECT_EQ(entry.name, name) << line;
        }
}

TEST(ResolveDos, MissingNameIsNoEntry)
{
    for (const auto &[line, format] :
         {std::pair{"01-15-12 10:20 555", 22}, std::pair{"12-01-15 10:20 555", 21},
          std::pair{"2012-01-15 10:20:30 555", 24}, std::pair{"01-15-12", 22},
          std::pair{"2012-01-15 10:20:30", 24}, std::pair{"", 22}, std::pair{"", 23}}) {
        entry_t entry = resolve(line, format);
        EXPECT_EQ(entry.type, FILE_TYPE_NONE) << line << format;
        EXPECT_EQ(entry.name, "") << line << format;
    }
}

TEST(ResolveDos, NameFlagsAreNotApplied)
{
    for (list_format_t flags : {0, 0x100, 0x200, 0x300})
        for (const char *name : {"a.lnk", "a -> b", "ABCDEFGHIJKLMNOPQ", "dir/", "dir\\"}) {
            EXPECT_EQ(resolve(std::string("01-15-12 10:20 <DIR> ") + name, 22 | flags),
                      (entry_t{.type = 0,
                               .name = name,
                               .size = 0,
                               .date = {2012, 1, 15},
                               .time = {10, 20},
                               .valid = DATE_TIME_SIZE}))
                << flags;
            EXPECT_EQ(resolve(std::string("2012-01-15 10:20:30 5 ") + name, 24 | flags),
                      (entry_t{.type = 1,
                               .name = name,
                               .size = 5,
                               .date = {2012, 1, 15},
                               .time = {10, 20},
                               .valid = DATE_TIME_SIZE}))
                << flags;
        }
}

TEST(ResolveDos, LongNameIsCutTo1024Bytes)
{
    for (size_t length : {1023u, 1024u, 1025u, 100000u}) {
        std::string name(length, 'n');
        std::string kept(std::min<size_t>(length, 1024), 'n');
        EXPECT_EQ(resolve("01-15-12 10:20 555 " + name, 22).name, kept);
        EXPECT_EQ(resolve(name + " 555 01-15-12 10:20", 23).name, kept);
        EXPECT_EQ(resolve("2012-01-15 10:20:30 555 " + name, 24).name, kept);
        EXPECT_EQ(resolve(name, 25).name, kept);
        EXPECT_EQ(resolve(name, 35).name, kept);
    }
}

} // namespace
