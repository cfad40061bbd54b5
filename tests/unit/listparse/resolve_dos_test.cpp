#include "listing.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

namespace
{

TEST(ResolveDos, NameAloneIsAFileWithoutOtherValues)
{
    for (list_format_t format : {25, 35})
        expect_entries({
            {"name", "name", format, file("name")},
            {"first field only", "  name and 1234 01-15-12 10:20", format, file("name")},
            {"permissions", "drwxr-xr-x", format, file("drwxr-xr-x")},
            {"slash", "name/", format, file("name/")},
            {"suffix", "a.lnk", format, file("a.lnk")},
            {"this directory", ". name", format, no_entry(".")},
            {"parent directory", "..", format, no_entry("..")},
            {"long name", std::string(1025, 'n'), format, file(std::string(1024, 'n'))},
        });
}

// The date and time of a line, and the resulting entry "name" of 1234 bytes.
struct date_row {
    const char *text;
    entry_t entry;
};

const entry_t NAME = file("name").bytes(1234);
const entry_t DATED = NAME.dated(2012, 1, 15);

void expect_dates(list_format_t format, std::initializer_list<date_row> table)
{
    for (const date_row &row : table)
        expect_entries({{"name last", std::string(row.text) + " 1234 name", format, row.entry}});
}

void expect_dates_month_first(std::initializer_list<date_row> table)
{
    expect_dates(22, table);
    for (const date_row &row : table)
        expect_entries({{"name first", std::string("name 1234 ") + row.text, 23, row.entry}});
}

TEST(ResolveDos, TwelveHourMarkerFollowsTheMinutesDirectly)
{
    for (const char *text : {"12:05AM", "12:05am", "12:05A", "12:05a.m."})
        expect_dates_month_first({{("01-15-12 " + std::string(text)).c_str(), DATED.at(0, 5)}});
    expect_dates_month_first({
        {"01-15-12 01:30PM", DATED.at(13, 30)},
        {"01-15-12 01:30p", DATED.at(13, 30)},
        {"01-15-12 12:10PM", DATED.at(12, 10)},
        {"01-15-12 11:59AM", DATED.at(11, 59)},
        {"01-15-12 00:10AM", DATED.at(0, 10)},
        {"01-15-12 00:10PM", DATED.at(12, 10)},
        {"01-15-12 12:10", DATED.at(12, 10)},
        {"01-15-12 12:10x", DATED.at(12, 10)},
        {"01-15-12 12:10:05", DATED.at(12, 10)},
        {"01-15-12 1:5PM", DATED.at(1, 5)}, // 'M' is in the marker's place
        {"01-15-12 1:5xPM", DATED.at(13, 5)},
        {"01-15-12 12:005AM", DATED.at(12, 5)}, // '5' is
    });
}

TEST(ResolveDos, HourAndMinuteAreNotChecked)
{
    expect_dates_month_first({
        {"01-15-12 24:00PM", DATED.at(36, 0)},
        {"01-15-12 24:00", DATED.at(24, 0)},
        {"01-15-12 13:00PM", DATED.at(25, 0)},
        {"01-15-12 99:99", DATED.at(99, 99)},
        {"01-15-12 65537:00", DATED.at(1, 0)}, // 16 bits
        {"01-15-12 :30", DATED.at(0, 30)},
        {"01-15-12 10:", DATED.at(10, 0)},
        {"01-15-12 x:y", DATED.at(0, 0)},
        // no ':', no time
        {"01-15-12 1020", DATED},
        {"01-15-12 10.20", DATED},
        {"01-15-12 10PM", DATED},
    });
}

TEST(ResolveDos, DatePartsFollowFromFormatAndShape)
{
    const entry_t timed = NAME.at(10, 20);
    expect_dates(21, {
                         {"98-12-31 10:20", timed.dated(1998, 12, 31)},
                         {"112-01-15 10:20", timed.dated(2012, 1, 15)}, // 1900 + 112
                         {"112-12-25 10:20", timed.dated(2012, 12, 25)},
                         {"12-12-125 10:20", timed.dated(2012, 12, 125)}, // unchecked
                         {"099-01-15 10:20", timed.dated(1999, 1, 15)},
                         {"059-01-15 10:20", timed.dated(2059, 1, 15)},
                         {"12-01-115 10:20", timed.dated(2012, 1, 115)}, // unchecked
                     });
    expect_dates_month_first({
        {"12/31/98 10:20", timed.dated(1998, 12, 31)},
        {"01-15-112 10:20", timed.dated(2012, 1, 15)},
        {"012-31-98 10:20", timed.dated(1998, 12, 31)},
        {"123-31-98 10:20", timed.dated(1998, 123, 31)},
        // a year below 60 is in this century
        {"01-15-00 10:20", timed.dated(2000, 1, 15)},
        {"01-15-59 10:20", timed.dated(2059, 1, 15)},
        {"01-15-60 10:20", timed.dated(1960, 1, 15)},
        {"01-15-99 10:20", timed.dated(1999, 1, 15)},
        {"01-15-012 10:20", timed.dated(2012, 1, 15)},
        {"01-15-999 10:20", timed.dated(2899, 1, 15)},
        {"99-99-99 10:20", timed.dated(1999, 99, 99)},
        {"00-00-00 10:20", timed.dated(2000, 0, 0)},
    });
}

TEST(ResolveDos, FourDigitYearIsUnchangedAndNoMarkerIsRead)
{
    expect_dates(24, {
                         {"2012-01-15 10:20:30", DATED.at(10, 20)},
                         {"0012/12/31 00:00:00", NAME.dated(12, 12, 31).at(0, 0)},
                         {"9999-99-99 99:99:99", NAME.dated(9999, 99, 99).at(99, 99)},
                         {"2012-01-15 01:30:PM", DATED.at(1, 30)},
                         {"2012-01-15 12.20PM0", DATED.at(12, 20)},
                     });
}

TEST(ResolveDos, FieldThatIsNoDateFailsTheLine)
{
    for (const std::string date : {"2012-01-15", "1-15-12", "01-15-1", "xx-15-12", "**-**-**", "01-1512"})
        for (const auto &[line, format] : {std::pair{date + " 10:20 1234 name", 21},
                                           {date + " 10:20 1234 name", 22},
                                           {"name 1234 " + date + " 10:20", 23}}) {
            const entry_t entry = resolve(line, format);
            EXPECT_EQ(entry.type, FILE_TYPE_NONE) << line;
            EXPECT_EQ(entry.name, "") << line;
        }
}

// --- All formats

struct {
    list_format_t format;
    const char *up_to_size;
    const char *behind_name;
    bool name_first = false;
    std::string line(const std::string &name, const std::string &size) const
    {
        return name_first ? name + " " + size + behind_name : up_to_size + size + " " + name;
    }
} const FORMATS[] = {
    {21, "12-01-15 10:20 ", ""},
    {22, "01-15-12 10:20 ", ""},
    {23, "", " 01-15-12 10:20", true},
    {24, "2012-01-15 10:20:30 ", ""},
};

TEST(ResolveDos, InvalidSizeIsZeroAndStillValid)
{
    const entry_t dated = NAME.dated(2012, 1, 15).at(10, 20);
    for (const auto &format : FORMATS) {
        for (const char *text : {"<DIR>", "<", "<JUNCTION>"})
            EXPECT_EQ(resolve(format.line("name", text), format.format),
                      directory("name").bytes(0).dated(2012, 1, 15).at(10, 20));
        for (const char *text : {"0", "12K", "1,234", "9223372036854775808", "DIR"})
            EXPECT_EQ(resolve(format.line("name", text), format.format), dated.bytes(0)) << text;
        EXPECT_EQ(resolve(format.line("name", "4294967296"), format.format), dated.bytes(4294967296));
        EXPECT_EQ(resolve(format.line("name", "1234"), format.format, ERANGE), dated.bytes(0)); // stale
    }
}

TEST(ResolveDos, DotAndDotDotAreNoEntries)
{
    for (const auto &format : FORMATS)
        for (const char *name : {".", ".."})
            EXPECT_EQ(resolve(format.line(name, "<DIR>"), format.format),
                      no_entry(name).bytes(0).dated(2012, 1, 15).at(10, 20));
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

TEST(ResolveDos, NameFlagsAreNotAppliedAndALongNameIsCutTo1024Bytes)
{
    for (const auto &format : FORMATS) {
        for (list_format_t flags : {0, 0x100, 0x200, 0x300})
            for (const char *name : {"a.lnk", "a->b", "ABCDEFGHIJKLMNOPQ", "dir/", "dir\\"})
                EXPECT_EQ(resolve(format.line(name, "<DIR>"), format.format | flags),
                          directory(name).bytes(0).dated(2012, 1, 15).at(10, 20))
                    << flags;
        for (size_t length : {1023u, 1024u, 1025u, 100000u})
            EXPECT_EQ(resolve(format.line(std::string(length, 'n'), "555"), format.format).name,
                      std::string(std::min<size_t>(length, 1024), 'n'));
    }
    EXPECT_EQ(resolve("01-15-12 10:20 5 a -> b", 22).name, "a -> b");
    EXPECT_EQ(resolve("2012-01-15 10:20:30 5 a -> b", 24).name, "a -> b");
}

} // namespace
