#include "strutil/strutil.h"

#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <string>

using testing::StrEq;

// A copy of `text` after `change`.
template <typename Change> static std::string changed(const char *text, Change change)
{
    std::string copy(text);
    change(copy.data());
    return copy.c_str();
}

TEST(Trim, RemovesWhiteSpaceAtBothEnds)
{
    const std::pair<const char *, const char *> cases[] = {
        {"  a b  ", "a b"},
        {"a", "a"},
        {"", ""},
        {"a b", "a b"},
        {" \t\n\v\f\r", ""},
        {" \t\n\v\f\ra\r\f\v\n\t ", "a"},
        {" a", "a"},
        {"a ", "a"},
        {" \xA0 ", "\xA0"}, // a byte above 127 is not white space
        {"\x1F\x7F", "\x1F\x7F"},
    };
    for (const auto &[before, after] : cases)
        EXPECT_EQ(changed(before, trim), after);
}

TEST(StripChar, RemovesRunsOfOneCharacterAtBothEnds)
{
    const struct {
        const char *before;
        char c;
        const char *after;
    } cases[] = {
        {"//a/b//", '/', "a/b"}, {"////", '/', ""},          {"", '/', ""},
        {"a//b", '/', "a//b"},   {" a ", '/', " a "},        {"/", '/', ""},
        {"a", '\0', "a"},        {"\xFFz\xFF", '\xFF', "z"}, {"/a", '/', "a"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(changed(c.before, [&c](char *s) { strip_char(s, c.c); }), c.after) << c.before;
}

TEST(ReplaceChar, ReplacesEveryByteUpToTheTerminatorAndNeverThatOne)
{
    char text[] = "a.b..c\0.d";
    replace_char(text, '.', '_');
    EXPECT_EQ(memcmp(text, "a_b__c\0.d", sizeof text), 0);
    replace_char(text, '\0', 'x');
    EXPECT_EQ(memcmp(text, "a_b__c\0.d", sizeof text), 0);
}

TEST(ReplaceChar, LeavesOtherBytesAlone)
{
    EXPECT_EQ(changed("", [](char *s) { replace_char(s, 'a', 'b'); }), "");
    EXPECT_EQ(changed("abc", [](char *s) { replace_char(s, '.', '_'); }), "abc");
    EXPECT_EQ(changed("a\xE9", [](char *s) { replace_char(s, '\xE9', 'e'); }), "ae");
}

TEST(ChangesInPlace, SurviveNull)
{
    EXPECT_EXIT((trim(nullptr), strip_char(nullptr, '/'), replace_char(nullptr, 'a', 'b'), exit(0)),
                testing::ExitedWithCode(0), "");
}
