#include "listing.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

// A line of each number; all give the same file wherever its fields are. The owner is "own" unless another
// field is read as owner.
struct number_row {
    list_format_t number;
    const char *line;
    const char *owner = "own";
};

void expect_numbers(const entry_t &entry, std::initializer_list<number_row> rows)
{
    for (const number_row &row : rows)
        expect_read({{"number", row.line, row.number | LIST_FMT_FLAG_LNK, entry.owned(row.owner)}});
}

const entry_t NAME = file("name").bytes(1234).mode(0x644);

TEST(DetectUnix, EachNumberOfTheWesternOrderHasItsFieldPositions)
{
    expect_numbers(NAME.dated(0, 1, 15).at(12, 34),
                   {
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
                   });
}

TEST(DetectUnix, EachNumberOfTheChineseOrderHasItsFieldPositions)
{
    expect_numbers(NAME.dated(2012, 1, 15), {
                                                {4, "-rw-r--r-- 1 own grp 1234 2012 1" MONTH_GB " 15 name"},
                                                {5, "-rw-r--r--12 own grp 1234 2012 1" MONTH_GB " 15 name"},
                                            });
    // The others expect a month in the year's place: 65537 is both, because it is 1 in 16 bits.
    expect_numbers(
        NAME.dated(1, 1, 15),
        {
            {10, "-rw-r--r-- 1 own 1234 65537/ 1" MONTH_GB " 15 name"},
            {11, "-rw-r--r--12 own 1234 65537/ 1" MONTH_GB " 15 name"},
            {14, "-rw-r--r-- own 1234 65537/ 1" MONTH_GB " 15 name", "1234"}, // the size is read as owner
            {19, "-rw-r--r-- 1 own grp xx xx 1234 65537/ 1" MONTH_GB " 15 name"},
            {20, "-rw-r--r--12 own grp xx xx 1234 65537/ 1" MONTH_GB " 15 name"},
            {46, "-rw-r--r-- 1 own grp xx 1234 65537/ 1" MONTH_GB " 15 name"},
            {47, "-rw-r--r--12 own grp xx 1234 65537/ 1" MONTH_GB " 15 name"},
        });
}

// A glued line of shift -2 has the same numbers but is read one field further right.
TEST(DetectUnix, GluedLineWithoutOwnerAndGroupIsReadOneFieldOff)
{
    expect_read({
        {"month", "-rw-r--r--12 1234 Jan 15 12:34 name", 0x20C,
         no_entry().bytes(0).dated(0, 0, 12).mode(0x644).owned("1234")},
        {"the size is the month, the date 2000, 15, 12:34", "-rw-r--r--12 1234 Jan 15 12:34 2000 name", 0x20C,
         file("name").bytes(0).dated(2000, 0, 12).mode(0x644).owned("1234")},
    });
    expect_format(0x20D, {"-rw-r--r--12 1234 3/15 12:34 name"});
    expect_format(0x20E, {"-rw-r--r--12 1234 65537/ 1" MONTH_GB " 15 name"});
}

TEST(DetectUnix, FirstMonthPositionThatFitsWins)
{
    // field 7 before field 6, whose day is its 3, and before field 4
    expect_format(0x210, {"-rw-r--r-- 1 user group x1 1234 Jan 3/15 12:34 name"});
    expect_format(0x20F, {"-rw-r--r-- 1 user 1234 Jan 15 12:34 May 3 2012 name"});
    // field 6 with shift 0 before field 6 with shift 1
    expect_format(0x204, {"-rw-r--r-- 1 user group x1 2012 3" MONTH_GB " 15 12:34 name"});
    expect_format(0x22A, {"-rw-r--r-- 1 user group x1 2012 3" MONTH_SJIS " 15 12:34 name"});
    // field 6 with shift 1 before field 5, which contains a day here and takes 65539 as year
    expect_format(0x22A, {"-rw-r--r-- 1 user group x1 3/15 65539/ 15 12:34 name"});
    expect_format(0x201, {"-rw-r--r-- 1 user group x1 3/15 65539/ 15 12-34 name"});
    // field 6 before field 3
    expect_format(0x22A, {"-rw-r--r-- user 1234 May 3 2012 Jan 15 12:34 name"});
    // field 5 before field 4, and before field 3
    expect_format(0x200, {"-rw-r--r-- 1 user 1234 May 3/ 12:34 10:20 name"});
    expect_format(0x206, {"-rw-r--r-- 1 user 1234 May 3/ 12:34 10-20 name"});
    expect_format(0x200, {"-rw-r--r-- user 1234 5/3 12:34 Jan 15 10:20 name"});
    // field 4 before field 3
    expect_format(0x206, {"-rw-r--r-- user 1234 May 3/ 12:34 10:20 name"});
    expect_format(0x20C, {"-rw-r--r-- user 1234 May 3/ 12:34 10-20 name"});
    // the Chinese order with a day in the field after the month
    expect_format(0x201, {"-rw-r--r-- 1 user group 2012 5" MONTH_GB " 3/15 name"});
}

// Each date, between size and name, gives a line of this format.
void expect_dates(list_format_t format, text_list dates)
{
    for (const char *date : dates)
        expect_format(format, {("-rw-r--r-- 1 user group 1234 " + std::string(date) + " name").c_str()});
}

TEST(DetectUnix, MonthMayBeAnythingThatGetMonthTakes)
{
    expect_dates(0x200, {"JAN 15 12:34", "a 15 12:34", "1" MONTH_SJIS " 15 12:34", "1" MONTH_EUC " 15 12:34",
                         "1" MONTH_GB " 15 12:34", "1" MONTH_UTF8 " 15 12:34"});
    expect_dates(0x201, {"1" MONTH_UTF8 "15" DAY_UTF8 " 12" HOUR_UTF8 "34" MINUTE_UTF8, "12/01/15 12:34"});
    expect_dates(LIST_FMT_UNKNOWN,
                 {"Sept 15 12:34", "1" MONTH_JIS " 15 12:34", "98/01/15 12:34", "12-01-15 12:34"});
}

TEST(DetectUnix, ALineNeedsItsWholeDateAndAName)
{
    expect_dates(0x200, {"Jan 15 1900", "Jan 15  2012", "Jan 15 24:00", "Jan 15 12:34  "});
    expect_dates(LIST_FMT_UNKNOWN, {"Jan 15 1899", "Jan 32 12:34", "Jan 15 25:00"});
    expect_format(0x200, {"-rw-r--r-- 1 user group 1234 Jan 15 12:34 ",
                          "   -rw-r--r-- 1 user group 1234 Jan 15 12:34 name"});
    expect_format(LIST_FMT_UNKNOWN, {"-rw-r--r-- 1 user group 1234 Jan 15 12:34",
                                     "-rw-r--r-- 1 user group 1234 Jan 15", "-rw-r--r--"});
}

// Each mode at the start of a usual line gives a line of this format.
void expect_modes(list_format_t format, text_list modes)
{
    for (const char *mode : modes)
        expect_format(format, {(mode + std::string(" user group 1234 Jan 15 12:34 name")).c_str()});
}

TEST(DetectUnix, PermissionFieldIsJudgedByItsLength)
{
    // ten characters may be anything
    expect_modes(0x200, {"abcdefghij 1", "brw-rw---- 1"});
    // an eleventh digit is a link count, anything else is not
    expect_modes(0x200, {"-rw-r--r--+ 1", "-rw-r--r--. 1", "-rw-r--r--x2 1"});
    expect_modes(0x202, {"-rw-r--r--2x"});
    // nine characters must look like permissions, fewer never do
    expect_modes(0x200, {"-rw-r--r- 1", "drwxrwxrw 1"});
    expect_modes(LIST_FMT_UNKNOWN, {"lrwxrwxrw 1", "-rw-r-sr- 1", "-rw-r--r1 1", "-rw-r--r 1", "xx 1"});
}

// --- A detached type character

TEST(DetectUnix, DetachedTypeCharacterIsJoinedToThePermissions)
{
    struct {
        const char *front;
        list_format_t format;
        const char *left;
        const char *rest = " user group 5 Jan 15 12:34 f";
    } const table[] = {
        {"- rw-r--r-- 1", 0x300, "-rw-r--r-- 1"},
        {"d rwxr-xr-x 2", 0x300, "drwxr-xr-x 2"},
        {"D rwxr-xr-x 2", 0x300, "Drwxr-xr-x 2"},
        {"l rwxrwxrwx 1", 0x300, "lrwxrwxrwx 1"},
        {"L rwxrwxrwx 1", 0x300, "Lrwxrwxrwx 1"},
        {"- rw-r--r--  ", 0x30C, "-rw-r--r--  ", " user 5 Jan 15 12:34 name"},
        {"- rw-r--r--12", 0x302, "-rw-r--r--12"},
        {"- abcdefghi 1", 0x300, "-abcdefghi 1"},
        // joined, but without a date: stays joined
        {"- rw-r--r-- 1", LIST_FMT_UNKNOWN, "-rw-r--r-- 1", " user group 5 15 Jan name"},
        // only one blank is removed
        {"-  rw-r--r-- 1", LIST_FMT_UNKNOWN, "- rw-r--r-- 1"},
        // With leading blanks the byte at position 1 is removed too. If that is the type character, it is
        // lost, and the rest may or may not look like permissions.
        {" - rw-r--r-- 1", LIST_FMT_UNKNOWN, "  rw-r--r-- 1"},
        {" - drwxr-xr- 1", 0x300, "  drwxr-xr- 1"},
        {"  - rw-r--r-- 1", LIST_FMT_UNKNOWN, " - rw-r--r-- 1"},
    };
    for (const auto &row : table) {
        std::string left;
        EXPECT_EQ(detect(std::string(row.front) + row.rest, &left), row.format) << row.front;
        EXPECT_EQ(left, std::string(row.left) + row.rest);
    }
}

TEST(DetectUnix, AnotherDetachedFirstCharacterLeavesTheLineUnchanged)
{
    // the second field of the last two is neither nine characters nor nine plus a digit
    expect_modes(LIST_FMT_UNKNOWN,
                 {"b rw-r--r-- 1", "f rw-r--r-- 1", "x rw-r--r-- 1", "- rw-r--r- 1", "- rw-r--r--+ 1"});
    expect_format(LIST_FMT_UNKNOWN, {"d [RWCEAFMS] user 512 Jan 15 12:34 dir", "-", "d "});
}

} // namespace
