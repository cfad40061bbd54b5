#include "listing.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

namespace
{

std::string line_of(char type, const std::string &name)
{
    return std::string(1, type) + "rw-r--r-- 1 own group 1234 Jan 15 12:34 " + name;
}

struct name_row {
    char type;
    const char *text; // the line from the name on
    int result;
    const char *name;
    uint32_t is_link;
};

// All but type, name and is_link must come out as ever.
void expect_names(list_format_t format, std::initializer_list<name_row> table)
{
    for (const name_row &row : table) {
        entry_t expected{.type = row.result,
                         .name = row.name,
                         .size = 1234,
                         .date = {0, 1, 15},
                         .time = {12, 34},
                         .attributes = RW_R_R,
                         .owner = "own",
                         .is_link = row.is_link,
                         .valid = ALL_GIVEN};
        EXPECT_EQ(resolve(line_of(row.type, row.text), format), expected) << row.type << ' ' << row.text;
    }
}

TEST(Resolve, RunsToTheEndOfTheLineWithItsBlanks)
{
    expect_names(0x200, {
                            {'-', "name", 1, "name", 0},
                            {'-', "a  b   c", 1, "a  b   c", 0},
                            {'-', "   name", 1, "name", 0}, // blanks in front separate
                            {'-', "name  ", 1, "name  ", 0},
                            {'-', "\tname", 1, "\tname", 0},
                            {'-', "\xE6\x97\xA5\xE6\x9C\xAC.txt", 1, "\xE6\x97\xA5\xE6\x9C\xAC.txt", 0},
                        });
}

TEST(Resolve, MissingNameIsNoEntry)
{
    for (const char *line :
         {"-rw-r--r-- 1 own group 1234 Jan 15 12:34", "-rw-r--r-- 1 own", "-rw-r--r--", "x", ""}) {
        entry_t entry = resolve(line, 0x200);
        EXPECT_EQ(entry.type, FILE_TYPE_NONE) << line;
        EXPECT_EQ(entry.name, "") << line;
    }
}

TEST(Resolve, EmptyNameBehindATrailingBlankKeepsTheType)
{
    expect_names(0x200, {
                            {'-', "", 1, "", 0},
                            {'d', "", 0, "", 0},
                            {'l', "", 0, "", 1},
                            {'b', "", -1, "", 0},
                        });
}

TEST(Resolve, ThisAndTheParentDirectoryAreNoEntries)
{
    expect_names(0x200, {
                            {'d', ".", -1, ".", 0},
                            {'d', "..", -1, "..", 0},
                            {'-', ".", -1, ".", 0},
                            {'d', "./", -1, ".", 0},
                            {'d', "..\\", -1, "..", 0},
                            {'d', "...", 0, "...", 0},
                            {'d', ". ", 0, ". ", 0},
                            {'d', ".a", 0, ".a", 0},
                            {'-', "..lnk", -1, ".", 1}, // what is left without its suffix
                        });
}

TEST(Resolve, FirstByteOfTheLineIsTheType)
{
    expect_names(0x200, {
                            {'d', "name", 0, "name", 0},
                            {'l', "name", 0, "name", 1},
                            {'-', "name", 1, "name", 0},
                            {'+', "name", 1, "name", 0},
                            {'f', "name", 1, "name", 0},
                            {'D', "name", -1, "name", 0}, // though detection takes these two
                            {'L', "name", -1, "name", 0},
                            {'F', "name", -1, "name", 0},
                            {'b', "name", -1, "name", 0},
                            {'c', "name", -1, "name", 0},
                            {'p', "name", -1, "name", 0},
                            {'s', "name", -1, "name", 0},
                            {'\xFF', "name", -1, "name", 0},
                        });
}

TEST(Resolve, BlankInFrontIsAnUnknownType)
{
    entry_t entry = resolve(" -rw-r--r-- 1 own group 1234 Jan 15 12:34 name", 0x200);
    EXPECT_EQ(entry.type, FILE_TYPE_NONE);
    EXPECT_EQ(entry.name, "name");
    EXPECT_EQ(entry.owner, "own");
    EXPECT_EQ(entry.attributes, RW_R_R);
}

TEST(Resolve, OneTrailingSlashOfADirectoryGoes)
{
    expect_names(0x200, {
                            {'d', "dir/", 0, "dir", 0},
                            {'d', "dir\\", 0, "dir", 0},
                            {'d', "dir//", 0, "dir/", 0},
                            {'d', "dir/\\", 0, "dir/", 0},
                            {'d', "a/b", 0, "a/b", 0},
                            {'d', "dir/ ", 0, "dir/ ", 0},
                            {'l', "link/", 0, "link", 1},
                            {'l', "link -> target/", 0, "link -> target", 1},
                            {'-', "file/", 1, "file/", 0},
                            {'b', "disk/", -1, "disk/", 0},
                        });
}

TEST(Resolve, LnkSuffixMakesALinkUnderItsFlag)
{
    expect_names(0x200, {
                            {'-', "shortcut.lnk", 1, "shortcut", 1},
                            {'d', "shortcut.lnk", 0, "shortcut", 1},
                            {'l', "shortcut.lnk", 0, "shortcut", 1},
                            {'b', "shortcut.lnk", -1, "shortcut", 1},
                            {'-', "a.lnk.lnk", 1, "a.lnk", 1},
                            {'-', "a -> b.lnk", 1, "a -> b", 1},
                            {'-', ".lnk", 1, "", 1},
                            {'-', "a.lnk.txt", 1, "a.lnk.txt", 0},
                            {'-', "a.LNK", 1, "a.LNK", 0},
                            {'-', "a.lnk ", 1, "a.lnk ", 0},
                            {'-', "alnk", 1, "alnk", 0},
                            {'d', "dir.lnk/", 0, "dir.lnk", 0}, // the slash goes after the search
                            // shorter than the suffix
                            {'-', "a", 1, "a", 0},
                            {'-', "lnk", 1, "lnk", 0},
                            {'-', ".ln", 1, ".ln", 0},
                        });
}

TEST(Resolve, ArrowStaysUnderTheLnkFlag)
{
    expect_names(0x200, {
                            {'l', "link -> target", 0, "link -> target", 1},
                            {'-', "a -> b", 1, "a -> b", 0},
                        });
}

TEST(Resolve, ArrowIsCutWithoutFlags)
{
    expect_names(0, {
                        {'l', "link -> target", 0, "link", 1},
                        {'l', "a -> b -> c", 0, "a", 1},
                        {'l', "dir/ -> target", 0, "dir", 1},
                        {'-', "a -> b", 1, "a", 0},
                        {'l', "a->b", 0, "a->b", 1},
                        {'l', "a ->", 0, "a ->", 1},
                        {'l', "a -> ", 0, "a", 1},
                        {'l', ". -> b", -1, ".", 1},
                        {'-', "shortcut.lnk", 1, "shortcut.lnk", 0},
                    });
}

TEST(Resolve, FourteenCharacterFlagCutsTheNameAndStripsBlanks)
{
    for (list_format_t format : {0x100, 0x300})
        expect_names(format, {
                                 {'d', "ABCDEFGHIJKLMNOPQ", 0, "ABCDEFGHIJKLMN", 0},
                                 {'d', "ABCDEFGHIJKLMN", 0, "ABCDEFGHIJKLMN", 0},
                                 {'d', "ABC", 0, "ABC", 0},
                                 {'d', "ABC   ", 0, "ABC", 0},
                                 {'d', "ABC           OPQ", 0, "ABC", 0},
                                 {'d', "A             OPQ", 0, "A", 0},
                                 {'d', "A B C", 0, "A B C", 0},
                                 {'d', "ABCDEFGHIJKLM/OPQ", 0, "ABCDEFGHIJKLM", 0},
                                 {'d', "ABC/", 0, "ABC", 0},
                                 {'d', "..            OPQ", -1, "..", 0},
                                 {'l', "ABC", 0, "ABC", 1},
                                 // neither suffix nor arrow are looked for
                                 {'d', "ABC.lnk", 0, "ABC.lnk", 0},
                                 {'l', "a -> b", 0, "a -> b", 1},
                             });
}

TEST(Resolve, FourteenCharacterFlagWantsABBehindTheNameOfAFile)
{
    for (list_format_t format : {0x100, 0x300})
        expect_names(format, {
                                 {'-', "ABCDEFGHIJKLMNB", 1, "ABCDEFGHIJKLMN", 0},
                                 {'-', "ABCDEFGHIJKLMNBxyz", 1, "ABCDEFGHIJKLMN", 0},
                                 {'+', "ABC           B", 1, "ABC", 0},
                                 {'f', "ABCDEFGHIJKLMNB", 1, "ABCDEFGHIJKLMN", 0},
                                 {'-', "ABCDEFGHIJKLMNC", -1, "ABCDEFGHIJKLMN", 0},
                                 {'-', "ABCDEFGHIJKLMNb", -1, "ABCDEFGHIJKLMN", 0},
                                 {'-', "ABCDEFGHIJKLMNOB", -1, "ABCDEFGHIJKLMN", 0},
                                 // no byte there at all
                                 {'-', "ABCDEFGHIJKLMN", -1, "ABCDEFGHIJKLMN", 0},
                                 {'-', "ABC", -1, "ABC", 0},
                                 {'-', "B", -1, "B", 0},
                             });
}

TEST(Resolve, ByteBehindAShortNameIsNotTakenFromTheLineBefore)
{
    resolve(line_of('-', "ABCDEFGHIJKLMNB"), 0x300);
    EXPECT_EQ(resolve(line_of('-', "short"), 0x300).type, FILE_TYPE_NONE);
}

TEST(Resolve, LongLinkNameIsCutToWhatTheBufferHolds)
{
    entry_t entry = resolve(line_of('l', std::string(3000, 'n') + " -> target"), 0x200);
    EXPECT_EQ(entry.name, std::string(1024, 'n'));
    EXPECT_EQ(entry.is_link, 1u);
    EXPECT_EQ(entry.type, FILE_TYPE_DIRECTORY);
}

TEST(Resolve, DetachedTypeAndGluedLinkCountGiveTheSamePermissions)
{
    struct {
        const char *line;
        uint32_t attributes;
    } const table[] = {
        {"drwxr-xr-x12 own group 1234 Jan 15 12:34 name", 0x755},
        {"- rwsr-sr-t 1 own group 1234 Jan 15 12:34 name", 0x7755},
        {"d rwxr-x---12 own group 1234 Jan 15 12:34 name", 0x750},
        {"drwxr-xr-x+ 1 own group 1234 Jan 15 12:34 name", 0x755},
        {"drwxrwxrw 1 own group 1234 Jan 15 12:34 name", 0x776}, // the ninth is missing: a dash
        {"  drwxr-xr-x 1 own group 1234 Jan 15 12:34 name", 0x755},
    };
    for (const auto &row : table) {
        std::string left;
        list_format_t format = detect(row.line, &left);
        EXPECT_NE(format, LIST_FMT_UNKNOWN) << row.line;
        EXPECT_EQ(resolve(left, format).attributes, row.attributes) << row.line;
    }
}

} // namespace
