#include "listing.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

namespace
{

struct entry_row {
    const char *line;
    entry_t entry;
};

void expect_entries(list_format_t format, std::initializer_list<entry_row> table)
{
    for (const entry_row &row : table)
        EXPECT_EQ(resolve(row.line, format), row.entry) << testing::PrintToString(row.line);
}

TEST(ResolveOther, Format26GivesOwnerSizeDateTimeAndAStarredType)
{
    auto given = [](int type, const char *name) {
        return entry_t{.type = type,
                       .name = name,
                       .size = 1234,
                       .date = {2012, 1, 15},
                       .time = {10, 20},
                       .owner = "QSYSOPR",
                       .valid = DATE_TIME_SIZE};
    };
    expect_entries(26, {
                           {"QSYSOPR 1234 12/01/15 10:20:30 *FILE NAME.TXT", given(1, "NAME.TXT")},
                           {"QSYSOPR 1234 12/01/15 10:20:30 *STMF two  words", given(1, "two  words")},
                           {"QSYSOPR 1234 12/01/15 10:20:30 *MEM QGPL.FILE/MBR", given(1, "QGPL.FILE/MBR")},
                           {"QSYSOPR 1234 12/01/15 10:20:30 *DIR docs", given(0, "docs")},
                           {"QSYSOPR 1234 12/01/15 10:20:30 *DIR docs/", given(0, "docs")},
                           {"QSYSOPR 1234 12/01/15 10:20:30 *LIB docs", given(0, "docs")},
                           {"QSYSOPR 1234 12/01/15 10:20:30 *FLR docs", given(0, "docs")},
                           {"QSYSOPR 1234 12/01/15 10:20:30 *DDIR docs", given(0, "docs")},
                           {"QSYSOPR 1234 12/01/15 10:20:30 *DIRX docs", given(1, "docs")},
                           {"QSYSOPR 1234 12/01/15 10:20:30 DIR docs", given(1, "docs")},
                           {"QSYSOPR 1234 12/01/15 10:20:30 *FILE docs/", given(0, "docs")},
                       });
}

TEST(ResolveOther, Format27GivesADateUnlessStarred)
{
    expect_entries(27,
                   {
                       {"WRK1 3390 12 34 PO 12/01/15 MY.DATA",
                        {.type = 0, .name = "MY.DATA", .date = {2012, 1, 15}, .valid = FILE_INFO_DATE}},
                       {"WRK1 3390 12 34 PS 98/12/31 two  words",
                        {.type = 1, .name = "two  words", .date = {1998, 12, 31}, .valid = FILE_INFO_DATE}},
                       {"WRK1 3390 ** ** PS **/**/** MY.DATA", {.type = 1, .name = "MY.DATA"}},
                       {"WRK1 3390 ** ** PO 12/01/1* MY.DATA", {.type = 0, .name = "MY.DATA"}},
                       {"WRK1 3390 12 34 POE 12/01/15 MY.DATA",
                        {.type = 1, .name = "MY.DATA", .date = {2012, 1, 15}, .valid = FILE_INFO_DATE}},
                   });
}

TEST(ResolveOther, Format28GivesANameOfOneFieldSizeDateAndTime)
{
    expect_entries(28, {
                           {"name 1234 Jan 15 2012 10:20",
                            {.type = 1,
                             .name = "name",
                             .size = 1234,
                             .date = {2012, 1, 15},
                             .time = {10, 20},
                             .valid = DATE_TIME_SIZE}},
                           {"docs <DIR> DEC 31 1998 7:05 and more",
                            {.type = 0,
                             .name = "docs",
                             .size = 0,
                             .date = {1998, 12, 31},
                             .time = {7, 5},
                             .valid = DATE_TIME_SIZE}},
                           {"name 1234 3" MONTH_UTF8 " 15 2012 24:00",
                            {.type = 1,
                             .name = "name",
                             .size = 1234,
                             .date = {2012, 3, 15},
                             .time = {24, 0},
                             .valid = DATE_TIME_SIZE}},
                       });
}

TEST(ResolveOther, Format29GivesTypeDateTimeAndSize)
{
    auto given = [](int type, const char *name) {
        return entry_t{.type = type,
                       .name = name,
                       .size = 1234,
                       .date = {2012, 1, 15},
                       .time = {10, 20},
                       .valid = DATE_TIME_SIZE};
    };
    expect_entries(29, {
                           {"F 12-01-15 10:20:30 xx xx 1234 name", given(1, "name")},
                           {"D 12-01-15 10:20:30 xx xx 1234 two  words", given(0, "two  words")},
                           {"dir 12-01-15 10:20:30 xx xx 1234 name/", given(0, "name/")},
                           {"- 12-01-15 10:20:30 xx xx 1234 name", given(1, "name")},
                       });
}

// Detection hands its lines to 23, but the number is understood.
TEST(ResolveOther, Format30GivesSizeDateTimeAndAFile)
{
    expect_entries(30, {
                           {"xx 1234 01-15-12 10:20 two  words",
                            {.type = 1,
                             .name = "two  words",
                             .size = 1234,
                             .date = {2012, 1, 15},
                             .time = {10, 20},
                             .valid = DATE_TIME_SIZE}},
                           {"xx 1234 12-31-98 00:05 name",
                            {.type = 1,
                             .name = "name",
                             .size = 1234,
                             .date = {1998, 12, 31},
                             .time = {0, 5},
                             .valid = DATE_TIME_SIZE}},
                           {"xx 1234 01-15-112 10:20 name",
                            {.type = 1,
                             .name = "name",
                             .size = 1234,
                             .date = {2012, 1, 15},
                             .time = {10, 20},
                             .valid = DATE_TIME_SIZE}},
                       });
}

TEST(ResolveOther, Format32GivesPermissionsDateAndTime)
{
    constexpr uint32_t DATE_TIME_ATTR = FILE_INFO_DATE | FILE_INFO_TIME | FILE_INFO_ATTR;
    expect_entries(32, {
                           {"-rw-r--r-- 12-01-15 10:20:30 name",
                            {.type = 1,
                             .name = "name",
                             .date = {2012, 1, 15},
                             .time = {10, 20},
                             .attributes = 0x644,
                             .valid = DATE_TIME_ATTR}},
                           {"drwxr-x--t 98/12/31 23:59:59 two  words",
                            {.type = 0,
                             .name = "two  words",
                             .date = {1998, 12, 31},
                             .time = {23, 59},
                             .attributes = 0x1751,
                             .valid = DATE_TIME_ATTR}},
                       });
}

TEST(ResolveOther, Format33GivesPermissionsOwnerSizeDateAndTime)
{
    expect_entries(33, {
                           {"-rw-r--r-- owner 1234 12-01-15 10:20:30 name",
                            {.type = 1,
                             .name = "name",
                             .size = 1234,
                             .date = {2012, 1, 15},
                             .time = {10, 20},
                             .attributes = 0x644,
                             .owner = "owner",
                             .valid = ALL_GIVEN}},
                           {"drwxr-xr-x owner 4096 12-01-15 10:20:30 two  words",
                            {.type = 0,
                             .name = "two  words",
                             .size = 4096,
                             .date = {2012, 1, 15},
                             .time = {10, 20},
                             .attributes = 0x755,
                             .owner = "owner",
                             .valid = ALL_GIVEN}},
                       });
    std::string owner(60, 'o');
    EXPECT_EQ(resolve("-rw-r--r-- " + owner + " 1234 12-01-15 10:20:30 name", 33).owner, owner.substr(0, 40));
    EXPECT_EQ(resolve(owner + " 1234 12/01/15 10:20:30 *FILE name", 26).owner, owner.substr(0, 40));
    EXPECT_EQ(resolve(owner + " 12-01-15 1020 F xx 1234 name", 38).owner, owner.substr(0, 40));
}

TEST(ResolveOther, Format37GivesSizeDateAndTime)
{
    expect_entries(37, {
                           {"1234 xx yy Jan 15 10:20 2012 name",
                            {.type = 1,
                             .name = "name",
                             .size = 1234,
                             .date = {2012, 1, 15},
                             .time = {10, 20},
                             .valid = DATE_TIME_SIZE}},
                           {"<DIR> xx yy Dec 31 7:05 1998 two  words",
                            {.type = 0,
                             .name = "two  words",
                             .size = 0,
                             .date = {1998, 12, 31},
                             .time = {7, 5},
                             .valid = DATE_TIME_SIZE}},
                       });
}

TEST(ResolveOther, Format38GivesOwnerDateFourDigitTimeAndSize)
{
    auto given = [](int type, const char *name) {
        return entry_t{.type = type,
                       .name = name,
                       .size = 1234,
                       .date = {2012, 1, 15},
                       .time = {10, 20},
                       .owner = "owner",
                       .valid = DATE_TIME_SIZE};
    };
    expect_entries(38, {
                           {"owner 12-01-15 1020 F xx 1234 name", given(1, "name")},
                           {"owner 12-01-15 1020 D xx 1234 two  words", given(0, "two  words")},
                           {"owner 12-01-15 1020 dir xx 1234 name", given(0, "name")},
                       });
}

TEST(ResolveOther, Format39GivesADateAlone)
{
    expect_entries(39,
                   {
                       {"WRK001 3390 2012/01/15 1 15 FB 80 27920 PO MY.DATA",
                        {.type = 0, .name = "MY.DATA", .date = {2012, 1, 15}, .valid = FILE_INFO_DATE}},
                       {"WRK001 3390 1998/12/31 1 15 FB 80 27920 PO-E MY.DATA",
                        {.type = 0, .name = "MY.DATA", .date = {1998, 12, 31}, .valid = FILE_INFO_DATE}},
                       {"WRK001 3390 2012/01/15 1 15 FB 80 27920 PS two  words",
                        {.type = 1, .name = "two  words", .date = {2012, 1, 15}, .valid = FILE_INFO_DATE}},
                       {"WRK001 3390 2012/13/15 1 15 FB 80 27920 PS MY.DATA", {.type = 1, .name = "MY.DATA"}},
                       {"WRK001 3390 2012/01/32 1 15 FB 80 27920 PS MY.DATA", {.type = 1, .name = "MY.DATA"}},
                   });
}

TEST(ResolveOther, SizeThatIsNoCleanNumberIsNoughtAndStillGiven)
{
    struct {
        list_format_t format;
        const char *line;
    } const table[] = {
        {26, "owner 12K 12/01/15 10:20:30 *FILE name"},      {28, "name 12K Jan 15 2012 10:20"},
        {29, "F 12-01-15 10:20:30 xx xx 1,234 name"},        {30, "xx 12K 01-15-12 10:20 name"},
        {33, "-rw-r--r-- owner 12K 12-01-15 10:20:30 name"}, {37, "12K xx yy Jan 15 10:20 2012 name"},
        {38, "owner 12-01-15 1020 F xx 12K name"},
    };
    for (const auto &row : table) {
        entry_t entry = resolve(row.line, row.format);
        EXPECT_EQ(entry.size, 0) << row.line;
        EXPECT_NE(entry.valid & FILE_INFO_SIZE, 0u) << row.line;
        EXPECT_EQ(entry.type, FILE_TYPE_FILE) << row.line;
    }
}

// A line of each format up to its name.
struct {
    list_format_t format;
    const char *up_to_name;
    const char *behind_name;
} const layouts[] = {
    {26, "owner 1234 12/01/15 10:20:30 *FILE ", ""},
    {27, "WRK1 3390 12 34 PS 12/01/15 ", ""},
    {28, "", " 1234 Jan 15 2012 10:20"},
    {29, "F 12-01-15 10:20:30 xx xx 1234 ", ""},
    {30, "xx 1234 01-15-12 10:20 ", ""},
    {32, "-rw-r--r-- 12-01-15 10:20:30 ", ""},
    {33, "-rw-r--r-- owner 1234 12-01-15 10:20:30 ", ""},
    {37, "1234 xx yy Jan 15 10:20 2012 ", ""},
    {38, "owner 12-01-15 1020 F xx 1234 ", ""},
    {39, "WRK001 3390 2012/01/15 1 15 FB 80 27920 PS ", ""},
};

TEST(ResolveOther, ThisAndTheParentDirectoryAreNoEntries)
{
    for (const auto &row : layouts)
        for (const char *name : {".", ".."}) {
            entry_t entry = resolve(row.up_to_name + std::string(name) + row.behind_name, row.format);
            EXPECT_EQ(entry.type, FILE_TYPE_NONE) << row.format;
            EXPECT_EQ(entry.name, name) << row.format;
        }
}

TEST(ResolveOther, MissingNameIsNoEntry)
{
    for (const auto &row : layouts) {
        if (row.format == 28) // its name is the first field of the line
            continue;
        std::string line = row.up_to_name;
        line.pop_back(); // the blank in front of the name
        entry_t entry = resolve(line, row.format);
        EXPECT_EQ(entry.type, FILE_TYPE_NONE) << row.format;
        EXPECT_EQ(entry.name, "") << row.format;
    }
}

TEST(ResolveOther, NameFlagsAreNotApplied)
{
    for (const auto &row : layouts)
        for (list_format_t flags : {0, 0x100, 0x200, 0x300})
            for (const char *name : {"a.lnk", "ABCDEFGHIJKLMNOPQ", "a->b", "dir\\"}) {
                entry_t entry =
                    resolve(row.up_to_name + std::string(name) + row.behind_name, row.format | flags);
                EXPECT_EQ(entry.name, name) << row.format;
                EXPECT_EQ(entry.type, FILE_TYPE_FILE) << row.format;
                EXPECT_EQ(entry.is_link, 0u) << row.format;
            }
}

TEST(ResolveOther, LongNameIsCutTo1024Bytes)
{
    for (const auto &row : layouts)
        for (size_t length : {1023u, 1024u, 1025u, 100000u}) {
            std::string name(length, 'n');
            EXPECT_EQ(resolve(row.up_to_name + name + row.behind_name, row.format).name, name.substr(0, 1024))
                << row.format;
        }
}

} // namespace
