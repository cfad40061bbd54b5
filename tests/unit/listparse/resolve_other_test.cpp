// Formats 26 to 39: the layouts other than Unix and DOS.
#include "listing.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

namespace
{

const entry_t DATED = file("name").bytes(1234).dated(2012, 1, 15);
const entry_t TIMED = DATED.at(10, 20);

// The same under another name or as another type.
entry_t called(const entry_t &entry, const std::string &name) { return entry.with(&entry_t::name, name); }
entry_t of_directory(const entry_t &entry, const std::string &name)
{
    return called(entry, name).with(&entry_t::type, FILE_TYPE_DIRECTORY);
}

TEST(ResolveOther, Format26GivesOwnerSizeDateTimeAndAStarredType)
{
    const entry_t owned = TIMED.owned("QSYSOPR");
    const std::string line = "QSYSOPR 1234 12/01/15 10:20:30 ";
    expect_entries({
        {"file", line + "*FILE NAME.TXT", 26, called(owned, "NAME.TXT")},
        {"stream file", line + "*STMF two  words", 26, called(owned, "two  words")},
        {"member", line + "*MEM QGPL.FILE/MBR", 26, called(owned, "QGPL.FILE/MBR")},
        {"directory with its slash", line + "*DIR docs/", 26, of_directory(owned, "docs")},
        {"a slash makes a directory", line + "*FILE docs/", 26, of_directory(owned, "docs")},
        {"longer than a type", line + "*DIRX docs", 26, called(owned, "docs")},
        {"no star", line + "DIR docs", 26, called(owned, "docs")},
    });
    for (const char *type : {"*DIR", "*LIB", "*FLR", "*DDIR"})
        expect_entries({{type, line + type + " docs", 26, of_directory(owned, "docs")}});
}

TEST(ResolveOther, Format27GivesADateUnlessStarred)
{
    expect_entries({
        {"partitioned", "WRK1 3390 12 34 PO 12/01/15 MY.DATA", 27, directory("MY.DATA").dated(2012, 1, 15)},
        {"sequential", "WRK1 3390 12 34 PS 98/12/31 two  words", 27, file("two  words").dated(1998, 12, 31)},
        {"stars", "WRK1 3390 ** ** PS **/**/** MY.DATA", 27, file("MY.DATA")},
        {"one star", "WRK1 3390 ** ** PO 12/01/1* MY.DATA", 27, directory("MY.DATA")},
        {"another type", "WRK1 3390 12 34 POE 12/01/15 MY.DATA", 27, file("MY.DATA").dated(2012, 1, 15)},
    });
}

TEST(ResolveOther, Format28GivesANameOfOneFieldSizeDateAndTime)
{
    expect_entries({
        {"file", "name 1234 Jan 15 2012 10:20", 28, TIMED},
        {"directory", "docs <DIR> DEC 31 1998 7:05 and more", 28,
         directory("docs").bytes(0).dated(1998, 12, 31).at(7, 5)},
        {"mark", "name 1234 3" MONTH_UTF8 " 15 2012 24:00", 28, TIMED.dated(2012, 3, 15).at(24, 0)},
    });
}

TEST(ResolveOther, Format29GivesTypeDateTimeAndSize)
{
    expect_entries({
        {"F", "F 12-01-15 10:20:30 xx xx 1234 name", 29, TIMED},
        {"D", "D 12-01-15 10:20:30 xx xx 1234 two  words", 29, of_directory(TIMED, "two  words")},
        {"dir", "dir 12-01-15 10:20:30 xx xx 1234 name/", 29, of_directory(TIMED, "name/")},
        {"-", "- 12-01-15 10:20:30 xx xx 1234 name", 29, TIMED},
    });
}

// Detection takes such lines for 23, but the resolver knows the number.
TEST(ResolveOther, Format30GivesSizeDateTimeAndAFile)
{
    expect_entries({
        {"file", "xx 1234 01-15-12 10:20 two  words", 30, called(TIMED, "two  words")},
        {"year of three digits", "xx 1234 01-15-112 00:05 name", 30, TIMED.at(0, 5)},
    });
}

TEST(ResolveOther, Format32GivesPermissionsDateAndTime)
{
    expect_entries({
        {"file", "-rw-r--r-- 12-01-15 10:20:30 name", 32,
         file("name").dated(2012, 1, 15).at(10, 20).mode(0x644)},
        {"directory", "drwxr-x--t 98/12/31 23:59:59 two  words", 32,
         directory("two  words").dated(1998, 12, 31).at(23, 59).mode(0x1751)},
    });
}

TEST(ResolveOther, Format33GivesPermissionsOwnerSizeDateAndTime)
{
    expect_entries({
        {"file", "-rw-r--r-- owner 1234 12-01-15 10:20:30 name", 33, TIMED.mode(0x644).owned("owner")},
        {"directory", "drwxr-xr-x owner 4096 12-01-15 10:20:30 two  words", 33,
         of_directory(TIMED.bytes(4096).mode(0x755).owned("owner"), "two  words")},
    });
}

TEST(ResolveOther, Format37GivesSizeDateAndTime)
{
    expect_entries({
        {"file", "1234 xx yy Jan 15 10:20 2012 name", 37, TIMED},
        {"directory", "<DIR> xx yy Dec 31 7:05 1998 two  words", 37,
         directory("two  words").bytes(0).dated(1998, 12, 31).at(7, 5)},
    });
}

TEST(ResolveOther, Format38GivesOwnerDateFourDigitTimeAndSize)
{
    const entry_t owned = TIMED.owned("owner");
    expect_entries({
        {"F", "owner 12-01-15 1020 F xx 1234 name", 38, owned},
        {"D", "owner 12-01-15 1020 D xx 1234 two  words", 38, of_directory(owned, "two  words")},
        {"dir", "owner 12-01-15 1020 dir xx 1234 name", 38, of_directory(owned, "name")},
    });
}

TEST(ResolveOther, Format39GivesOnlyADate)
{
    const entry_t undated = file("MY.DATA");
    expect_entries({
        {"partitioned", "WRK001 3390 2012/01/15 1 15 FB 80 27920 PO MY.DATA", 39,
         directory("MY.DATA").dated(2012, 1, 15)},
        {"extended", "WRK001 3390 1998/12/31 1 15 FB 80 27920 PO-E MY.DATA", 39,
         directory("MY.DATA").dated(1998, 12, 31)},
        {"sequential", "WRK001 3390 2012/01/15 1 15 FB 80 27920 PS two  words", 39,
         file("two  words").dated(2012, 1, 15)},
        {"month 13", "WRK001 3390 2012/13/15 1 15 FB 80 27920 PS MY.DATA", 39, undated},
        {"day 32", "WRK001 3390 2012/01/32 1 15 FB 80 27920 PS MY.DATA", 39, undated},
    });
}

// --- All formats

// A file "name" of 1234 bytes, January 15th 2012 at 10:20; `date` and `time` are the parts of the line that
// the tests below replace.
struct layout_t {
    list_format_t format;
    std::string line;
    const char *date;
    const char *time = nullptr;
};
const layout_t LAYOUTS[] = {
    {26, "owner 1234 12/01/15 10:20:30 *FILE name", "12/01/15", "10:20:30"},
    {27, "WRK1 3390 12 34 PS 12/01/15 name", "12/01/15"},
    {28, "name 1234 Jan 15 2012 10:20", "15 2012", "10:20"},
    {29, "F 12-01-15 10:20:30 xx xx 1234 name", "12-01-15", "10:20:30"},
    {30, "xx 1234 01-15-12 10:20 name", "01-15-12", "10:20"},
    {32, "-rw-r--r-- 12-01-15 10:20:30 name", "12-01-15", "10:20:30"},
    {33, "-rw-r--r-- owner 1234 12-01-15 10:20:30 name", "12-01-15", "10:20:30"},
    {37, "1234 xx yy Jan 15 10:20 2012 name", "15 10:20 2012", "10:20"},
    {38, "owner 12-01-15 1020 F xx 1234 name", "12-01-15", "1020"},
    {39, "WRK001 3390 2012/01/15 1 15 FB 80 27920 PS name", "2012/01/15"},
};

std::vector<layout_t> layouts_with(const std::string &text)
{
    std::vector<layout_t> found;
    std::ranges::copy_if(LAYOUTS, std::back_inserter(found),
                         [&](const layout_t &layout) { return layout.line.find(text) != std::string::npos; });
    return found;
}

// The layout's line with `text` in place of `was`, resolved by its format and these flags.
entry_t changed(const layout_t &layout, const std::string &was, const std::string &text,
                list_format_t flags = 0)
{
    std::string line = layout.line;
    return resolve(line.replace(line.find(was), was.size(), text), layout.format | flags);
}

TEST(ResolveOther, InvalidSizeIsZeroAndStillValid)
{
    for (const layout_t &layout : layouts_with("1234"))
        for (const char *size : {"12K", "1,234"})
            EXPECT_EQ(changed(layout, "1234", size), changed(layout, "", "").bytes(0)) << layout.line;
}

TEST(ResolveOther, LongOwnerIsCutTo40Characters)
{
    for (const layout_t &layout : layouts_with("owner"))
        EXPECT_EQ(changed(layout, "owner", std::string(60, 'o')).owner, std::string(40, 'o')) << layout.line;
}

TEST(ResolveOther, DotAndDotDotAreNoEntries)
{
    for (const layout_t &layout : LAYOUTS)
        for (const char *name : {".", ".."}) {
            const entry_t entry = changed(layout, "name", name);
            EXPECT_EQ(entry.type, FILE_TYPE_NONE) << layout.line;
            EXPECT_EQ(entry.name, name) << layout.line;
        }
}

TEST(ResolveOther, MissingNameIsNoEntry)
{
    for (const layout_t &layout : layouts_with(" name")) {
        const entry_t entry = changed(layout, " name", "");
        EXPECT_EQ(entry.type, FILE_TYPE_NONE) << layout.line;
        EXPECT_EQ(entry.name, "") << layout.line;
    }
}

TEST(ResolveOther, NameFlagsAreNotAppliedAndALongNameIsCutTo1024Bytes)
{
    for (const layout_t &layout : LAYOUTS) {
        for (list_format_t flags : {0, 0x100, 0x200, 0x300})
            for (const char *name : {"a.lnk", "ABCDEFGHIJKLMNOPQ", "a->b", "dir\\"})
                EXPECT_EQ(changed(layout, "name", name, flags), called(changed(layout, "", ""), name));
        for (size_t length : {1023u, 1024u, 1025u, 100000u})
            EXPECT_EQ(changed(layout, "name", std::string(length, 'n')).name,
                      std::string(std::min<size_t>(length, 1024), 'n'));
    }
}

// --- Dates and times at the ends of their ranges

struct date_row {
    const char *text;
    std::array<int, 3> date = {0, 0, 0}; // 0, 0, 0: left out
};

// In a line of each of these formats.
void expect_dates(std::initializer_list<list_format_t> formats, std::initializer_list<date_row> table)
{
    for (const layout_t &layout : LAYOUTS)
        for (const date_row &row : table) {
            if (std::ranges::find(formats, layout.format) == formats.end())
                continue;
            const entry_t entry = changed(layout, layout.date, row.text);
            EXPECT_EQ(entry.date, row.date) << layout.format << ' ' << row.text;
            EXPECT_EQ((entry.valid & FILE_INFO_DATE) != 0, row.date[0] != 0)
                << layout.format << ' ' << row.text;
            EXPECT_EQ(entry.name, "name") << layout.format << ' ' << row.text;
            EXPECT_EQ(entry.type, FILE_TYPE_FILE) << layout.format << ' ' << row.text;
        }
}

TEST(ResolveOther, Format26TakesTheDatesOrderFromSeparatorAndNumbers)
{
    expect_dates({26}, {
                           // a point: day, month, year
                           {"15.01.12", {2012, 1, 15}},
                           {"01.02.03", {2003, 2, 1}},
                           {"31.12.98", {1998, 12, 31}},
                           {"01.13.12"},
                           // a second number above 12 or a third above 31: month, day, year
                           {"01/15/12", {2012, 1, 15}},
                           {"12/13/11", {2011, 12, 13}},
                           {"01/02/98", {1998, 1, 2}},
                           {"01/02/32", {2032, 1, 2}},
                           {"12/31/59", {2059, 12, 31}},
                           {"12/31/60", {1960, 12, 31}},
                           // otherwise year, month, day
                           {"12/01/15", {2012, 1, 15}},
                           {"98/12/31", {1998, 12, 31}},
                           {"59-02-03", {2059, 2, 3}},
                           {"60-02-03", {1960, 2, 3}},
                           {"12/12/12", {2012, 12, 12}},
                           // outside the calendar
                           {"12/00/15"},
                           {"12/01/00"},
                           {"13/15/12"}, // month 13
                           {"01/32/12"}, // day 32
                           {"00/15/12"},
                       });
}

TEST(ResolveOther, DateOutsideTheCalendarIsLeftOut)
{
    expect_dates({27, 29, 32, 33, 38}, {
                                           {"12-01-15", {2012, 1, 15}},
                                           {"59-12-31", {2059, 12, 31}},
                                           {"60-01-01", {1960, 1, 1}},
                                           {"99/12/31", {1999, 12, 31}},
                                           {"00/02/03", {2000, 2, 3}},
                                           {"12-00-15"},
                                           {"12-13-15"},
                                           {"12-01-00"},
                                           {"12-01-32"},
                                       });
    expect_dates({30}, {
                           {"01-15-12", {2012, 1, 15}},
                           {"12-31-60", {1960, 12, 31}},
                           {"00-15-12"},
                           {"13-15-12"},
                           {"01-00-12"},
                           {"01-32-12"},
                       });
    expect_dates({28}, {{"31 1998", {1998, 1, 31}}, {"0 2012"}, {"32 2012"}, {"xx 2012"}});
    expect_dates({37}, {{"31 10:20 1998", {1998, 1, 31}}, {"0 10:20 2012"}, {"32 10:20 2012"}});
    EXPECT_EQ(resolve("1234 xx yy xx 15 10:20 2012 name", 37), file("name").bytes(1234).at(10, 20));
}

// Times that each of these formats accepts (0:00, 23:59, 24:00), and others that it leaves out.
void expect_times(std::initializer_list<list_format_t> formats, text_list taken, text_list left_out)
{
    for (const layout_t &layout : LAYOUTS) {
        if (std::ranges::find(formats, layout.format) == formats.end())
            continue;
        const entry_t usual = changed(layout, "", "");
        const std::array<int, 2> expected[] = {{0, 0}, {23, 59}, {24, 0}};
        for (size_t at = 0; at < taken.size(); at++)
            EXPECT_EQ(changed(layout, layout.time, taken.begin()[at]),
                      usual.with(&entry_t::time, expected[at]))
                << layout.line;
        for (const char *text : left_out)
            EXPECT_EQ(changed(layout, layout.time, text),
                      usual.with(&entry_t::time, {0, 0}).with(&entry_t::valid, usual.valid & ~FILE_INFO_TIME))
                << text << ' ' << layout.line;
    }
}

TEST(ResolveOther, TimeOutsideTheDayIsLeftOut)
{
    expect_times({26, 29, 32, 33}, {"00:00:00", "23:59:59", "24:00:00"},
                 {"25:00:00", "10:60:00", "99:99:99"});
    expect_times({28, 30, 37}, {"0:00", "23:59", "24:00"}, {"25:00", "10:60"});
    expect_times({38}, {"0000", "2359", "2400"}, {"2500", "1060", "10xx"});
}

} // namespace
