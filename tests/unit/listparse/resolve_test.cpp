#include "listing.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

std::string line_of(char type, const std::string &name)
{
    return std::string(1, type) + "rw-r--r-- 1 own group 1234 Jan 15 12:34 " + name;
}

struct name_row {
    char type;
    const char *text; // end of the line, from the name on
    entry_t entry;
};

// All members but type, name and is_link must be as usual.
void expect_names(list_format_t format, std::initializer_list<name_row> table)
{
    for (const name_row &row : table)
        EXPECT_EQ(resolve(line_of(row.type, row.text), format),
                  row.entry.bytes(1234).dated(0, 1, 15).at(12, 34).mode(0x644).owned("own"))
            << row.type << ' ' << row.text;
}

TEST(Resolve, NameRunsToTheEndOfTheLineWithItsBlanks)
{
    for (const std::string name : {"name", "a  b   c", "name  ", "\tname", "\xE6\x97\xA5\xE6\x9C\xAC.txt"})
        expect_names(0x200, {{'-', name.c_str(), file(name)}});
    expect_names(0x200, {{'-', "   name", file("name")}}); // leading blanks only separate
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

TEST(Resolve, EmptyNameAfterATrailingBlankKeepsTheType)
{
    expect_names(0x200, {{'-', "", file("")},
                         {'d', "", directory("")},
                         {'l', "", directory("").linked()},
                         {'b', "", no_entry("")}});
}

TEST(Resolve, DotAndDotDotAreNoEntries)
{
    expect_names(0x200, {
                            {'d', ".", no_entry(".")},
                            {'d', "..", no_entry("..")},
                            {'-', ".", no_entry(".")},
                            {'d', "./", no_entry(".")},
                            {'d', "..\\", no_entry("..")},
                            {'d', "...", directory("...")},
                            {'d', ". ", directory(". ")},
                            {'d', ".a", directory(".a")},
                            {'-', "..lnk", no_entry(".").linked()}, // "." without the suffix
                        });
}

TEST(Resolve, FirstByteOfTheLineIsTheType)
{
    expect_names(0x200, {{'d', "name", directory("name")}, {'l', "name", directory("name").linked()}});
    for (const char type : {'-', '+', 'f'})
        expect_names(0x200, {{type, "name", file("name")}});
    for (const char type :
         {'D', 'L', 'F', 'b', 'c', 'p', 's', '\xFF'}) // though detection takes the first two
        expect_names(0x200, {{type, "name", no_entry("name")}});
}

TEST(Resolve, LeadingBlankIsAnUnknownType)
{
    expect_entries({{"blank", " " + line_of('-', "name"), 0x200,
                     no_entry("name").bytes(1234).dated(0, 1, 15).at(12, 34).mode(0x644).owned("own")}});
}

TEST(Resolve, OneTrailingSlashOfADirectoryIsRemoved)
{
    expect_names(0x200, {
                            {'d', "dir/", directory("dir")},
                            {'d', "dir\\", directory("dir")},
                            {'d', "dir//", directory("dir/")},
                            {'d', "dir/\\", directory("dir/")},
                            {'d', "a/b", directory("a/b")},
                            {'d', "dir/ ", directory("dir/ ")},
                            {'l', "link/", directory("link").linked()},
                            {'l', "link -> target/", directory("link -> target").linked()},
                            {'-', "file/", file("file/")},
                            {'b', "disk/", no_entry("disk/")},
                        });
}

TEST(Resolve, LnkSuffixMeansALinkUnderItsFlagAndAnArrowIsKept)
{
    expect_names(0x200, {
                            {'-', "shortcut.lnk", file("shortcut").linked()},
                            {'d', "shortcut.lnk", directory("shortcut").linked()},
                            {'l', "shortcut.lnk", directory("shortcut").linked()},
                            {'b', "shortcut.lnk", no_entry("shortcut").linked()},
                            {'-', "a.lnk.lnk", file("a.lnk").linked()},
                            {'-', "a -> b.lnk", file("a -> b").linked()},
                            {'-', ".lnk", file("").linked()},
                            {'d', "dir.lnk/", directory("dir.lnk")}, // the slash is removed after the search
                            {'l', "link -> target", directory("link -> target").linked()},
                        });
    // not at the end, or the name is shorter than the suffix
    for (const char *name : {"a.lnk.txt", "a.LNK", "a.lnk ", "alnk", "a", "lnk", ".ln", "a -> b"})
        expect_names(0x200, {{'-', name, file(name)}});
}

TEST(Resolve, ArrowIsCutWithoutFlags)
{
    expect_names(0, {
                        {'l', "link -> target", directory("link").linked()},
                        {'l', "a -> b -> c", directory("a").linked()},
                        {'l', "dir/ -> target", directory("dir").linked()},
                        {'-', "a -> b", file("a")},
                        {'l', "a->b", directory("a->b").linked()},
                        {'l', "a ->", directory("a ->").linked()},
                        {'l', "a -> ", directory("a").linked()},
                        {'l', ". -> b", no_entry(".").linked()},
                        {'-', "shortcut.lnk", file("shortcut.lnk")},
                    });
}

TEST(Resolve, FourteenCharacterFlagCutsTheNameAndStripsBlanks)
{
    for (list_format_t format : {0x100, 0x300})
        expect_names(format, {
                                 {'d', "ABCDEFGHIJKLMNOPQ", directory("ABCDEFGHIJKLMN")},
                                 {'d', "ABCDEFGHIJKLMN", directory("ABCDEFGHIJKLMN")},
                                 {'d', "ABC", directory("ABC")},
                                 {'d', "ABC   ", directory("ABC")},
                                 {'d', "ABC           OPQ", directory("ABC")},
                                 {'d', "A             OPQ", directory("A")},
                                 {'d', "A B C", directory("A B C")},
                                 {'d', "ABCDEFGHIJKLM/OPQ", directory("ABCDEFGHIJKLM")},
                                 {'d', "ABC/", directory("ABC")},
                                 {'d', "..            OPQ", no_entry("..")},
                                 {'l', "ABC", directory("ABC").linked()},
                                 // suffix and arrow are ignored
                                 {'d', "ABC.lnk", directory("ABC.lnk")},
                                 {'l', "a -> b", directory("a -> b").linked()},
                             });
}

TEST(Resolve, FourteenCharacterFlagNeedsABAfterAFilesName)
{
    for (list_format_t format : {0x100, 0x300})
        expect_names(format, {
                                 {'-', "ABCDEFGHIJKLMNB", file("ABCDEFGHIJKLMN")},
                                 {'-', "ABCDEFGHIJKLMNBxyz", file("ABCDEFGHIJKLMN")},
                                 {'+', "ABC           B", file("ABC")},
                                 {'f', "ABCDEFGHIJKLMNB", file("ABCDEFGHIJKLMN")},
                                 {'-', "ABCDEFGHIJKLMNC", no_entry("ABCDEFGHIJKLMN")},
                                 {'-', "ABCDEFGHIJKLMNb", no_entry("ABCDEFGHIJKLMN")},
                                 {'-', "ABCDEFGHIJKLMNOB", no_entry("ABCDEFGHIJKLMN")},
                                 // too short for that byte; the one of the line before must not count
                                 {'-', "ABCDEFGHIJKLMNB", file("ABCDEFGHIJKLMN")},
                                 {'-', "ABCDEFGHIJKLMN", no_entry("ABCDEFGHIJKLMN")},
                                 {'-', "ABC", no_entry("ABC")},
                                 {'-', "B", no_entry("B")},
                             });
}

TEST(Resolve, LongNameIsCutTo1024Bytes)
{
    for (size_t length : {1023u, 1024u, 1025u, 5000u, 1000000u}) {
        const std::string name(length, 'n');
        expect_names(0x200, {{'-', name.c_str(), file(name.substr(0, 1024))},
                             {'l', (name + " -> target").c_str(),
                              directory((name + " -> target").substr(0, 1024)).linked()}});
    }
}

TEST(Resolve, DetachedTypeAndGluedLinkCountKeepThePermissions)
{
    const std::pair<const char *, uint32_t> table[] = {
        {"drwxr-xr-x12", 0x755},   {"- rwsr-sr-t 1", 0x7755}, {"d rwxr-x---12", 0x750},
        {"drwxr-xr-x+ 1", 0x755},  {"drwxrwxrw 1", 0x776}, // a missing ninth is a dash
        {"  drwxr-xr-x 1", 0x755},
    };
    for (const auto &[mode, attributes] : table) {
        std::string left;
        list_format_t format = detect(mode + std::string(" own group 1234 Jan 15 12:34 name"), &left);
        EXPECT_NE(format, LIST_FMT_UNKNOWN) << mode;
        EXPECT_EQ(resolve(left, format).attributes, attributes) << mode;
    }
}

} // namespace
