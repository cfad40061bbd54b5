#include "strutil/guards.h"
#include "strutil/strutil.h"
#include "support/failing_heap.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <string>

using testing::StrEq;

namespace
{

// Calls the builder that takes `count` strings with the first `count` of `s`.
char *malloc_str_of(size_t count, const std::array<const char *, 6> &s)
{
    switch (count) {
    case 1:
        return malloc_str1(s[0]);
    case 2:
        return malloc_str2(s[0], s[1]);
    case 3:
        return malloc_str3(s[0], s[1], s[2]);
    case 4:
        return malloc_str4(s[0], s[1], s[2], s[3]);
    case 5:
        return malloc_str5(s[0], s[1], s[2], s[3], s[4]);
    default:
        return malloc_str6(s[0], s[1], s[2], s[3], s[4], s[5]);
    }
}

int copy_string_of(size_t count, char *dst, size_t size, const std::array<const char *, 4> &s)
{
    switch (count) {
    case 1:
        return copy_string(dst, size, s[0]);
    case 2:
        return copy_string2(dst, size, s[0], s[1]);
    case 3:
        return copy_string3(dst, size, s[0], s[1], s[2]);
    default:
        return copy_string4(dst, size, s[0], s[1], s[2], s[3]);
    }
}

constexpr std::array<const char *, 6> WORDS = {"one", "", "three", "4", "fi ve", "6\n"};
constexpr std::array<const char *, 6> JOINED = {
    "one", "one", "onethree", "onethree4", "onethree4fi ve", "onethree4fi ve6\n",
};

class MallocStr : public testing::TestWithParam<size_t>
{
};
class CopyString : public testing::TestWithParam<size_t>
{
protected:
    static constexpr std::array<const char *, 4> PARTS = {"ab", "", "cde", "f"};
    static constexpr std::array<const char *, 4> WHOLE = {"ab", "ab", "abcde", "abcdef"};
};

} // namespace

TEST_P(MallocStr, JoinsItsArgumentsIntoANewBufferOfExactlyTheirSize)
{
    const heap_string joined(malloc_str_of(GetParam(), WORDS));
    ASSERT_THAT(joined.get(), StrEq(JOINED[GetParam() - 1]));
    EXPECT_EQ(bytes_asked_for(), strlen(JOINED[GetParam() - 1]) + 1);
    EXPECT_NE(joined.get(), WORDS[0]);
}

TEST_P(MallocStr, JoinsEmptyStringsIntoAnEmptyString)
{
    const heap_string joined(malloc_str_of(GetParam(), {"", "", "", "", "", ""}));
    EXPECT_THAT(joined.get(), StrEq(""));
}

TEST_P(MallocStr, IsNullWhenAnyArgumentIsNull)
{
    for (size_t absent = 0; absent < GetParam(); absent++) {
        auto words = WORDS;
        words[absent] = nullptr;
        EXPECT_EQ(malloc_str_of(GetParam(), words), nullptr) << "argument " << absent;
    }
}

TEST_P(MallocStr, IsNullWhenMemoryIsExhausted)
{
    const failing_heap heap(1);
    EXPECT_EQ(malloc_str_of(GetParam(), WORDS), nullptr);
}

INSTANTIATE_TEST_SUITE_P(OneToSix, MallocStr, testing::Range<size_t>(1, 7));

TEST(MallocData, CopiesBytesWithoutATerminator)
{
    const char bytes[] = {'a', '\0', 'b'};
    const heap_string copy(static_cast<char *>(malloc_data(bytes, sizeof bytes)));
    EXPECT_EQ(bytes_asked_for(), 3u);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(memcmp(copy.get(), bytes, sizeof bytes), 0);
}

TEST(MallocData, IsNullForNull) { EXPECT_EQ(malloc_data(nullptr, 3), nullptr); }

TEST(MallocData, IsNullWhenMemoryIsExhausted)
{
    const failing_heap heap(1);
    EXPECT_EQ(malloc_data("abc", 3), nullptr);
}

TEST(MallocData, IsNullForASizeThatNoMemoryHolds) { EXPECT_EQ(malloc_data("abc", SIZE_MAX), nullptr); }

TEST(CopyStringOne, NeedsRoomForTheTerminator)
{
    char exact[5];
    EXPECT_EQ(copy_string(exact, 5, "abcd"), 0);
    EXPECT_THAT(exact, StrEq("abcd"));
    char narrow[5] = "....";
    EXPECT_EQ(copy_string(narrow, 4, "abcd"), -1);
    EXPECT_THAT(narrow, StrEq("...."));
}

TEST_P(CopyString, FillsABufferOfExactlyTheRightSize)
{
    const char *whole = WHOLE[GetParam() - 1];
    char dst[9];
    memset(dst, '#', sizeof dst);
    EXPECT_EQ(copy_string_of(GetParam(), dst, strlen(whole) + 1, PARTS), 0);
    EXPECT_THAT(dst, StrEq(whole));
    EXPECT_EQ(dst[strlen(whole) + 1], '#') << "wrote past the terminator";
}

TEST_P(CopyString, LeavesTheBufferUnchangedWhenTheResultDoesNotFit)
{
    for (size_t size = 0; size <= strlen(WHOLE[GetParam() - 1]); size++) {
        char dst[9] = "########";
        EXPECT_EQ(copy_string_of(GetParam(), dst, size, PARTS), -1) << "capacity " << size;
        EXPECT_THAT(dst, StrEq("########"));
    }
}

TEST_P(CopyString, LeavesTheBufferUnchangedWhenAnArgumentIsNull)
{
    for (size_t absent = 0; absent < GetParam(); absent++) {
        auto parts = PARTS;
        parts[absent] = nullptr;
        char dst[9] = "########";
        EXPECT_EQ(copy_string_of(GetParam(), dst, sizeof dst, parts), -1) << "argument " << absent;
        EXPECT_THAT(dst, StrEq("########"));
    }
}

TEST_P(CopyString, RefusesANullBuffer) { EXPECT_EQ(copy_string_of(GetParam(), nullptr, 100, PARTS), -1); }

INSTANTIATE_TEST_SUITE_P(OneToFour, CopyString, testing::Range<size_t>(1, 5));

TEST(MallocIns, InsertsStringsBeforeAPositionOrAfterTheEnd)
{
    const struct {
        const char *s;
        size_t pos;
        const char *ins;
        const char *with_one;
        const char *with_two; // with "<>" inserted as well
    } cases[] = {
        {"abc", 0, "X", "Xabc", "X<>abc"},
        {"abc", 1, "X", "aXbc", "aX<>bc"},
        {"abc", 2, "XY", "abXYc", "abXY<>c"},
        {"abc", 3, "X", "abcX", "abcX<>"},
        {"abc", 4, "X", "abcX", "abcX<>"},
        {"abc", SIZE_MAX, "X", "abcX", "abcX<>"},
        {"", 0, "X", "X", "X<>"},
        {"", 9, "", "", "<>"},
        {"abc", 1, "", "abc", "a<>bc"},
    };
    for (const auto &c : cases) {
        const heap_string one(malloc_ins_str1(c.s, c.pos, c.ins));
        EXPECT_THAT(one.get(), StrEq(c.with_one)) << c.s << " at " << c.pos;
        EXPECT_EQ(bytes_asked_for(), strlen(c.with_one) + 1);
        const heap_string two(malloc_ins_str2(c.s, c.pos, c.ins, "<>"));
        EXPECT_THAT(two.get(), StrEq(c.with_two)) << c.s << " at " << c.pos;
        EXPECT_EQ(bytes_asked_for(), strlen(c.with_two) + 1);
    }
}

TEST(MallocIns, IsNullForANullStringOrInsertion)
{
    EXPECT_EQ(malloc_ins_str1(nullptr, 0, "X"), nullptr);
    EXPECT_EQ(malloc_ins_str1("abc", 0, nullptr), nullptr);
    EXPECT_EQ(malloc_ins_str2(nullptr, 0, "X", "Y"), nullptr);
    EXPECT_EQ(malloc_ins_str2("abc", 0, nullptr, "Y"), nullptr);
}

TEST(MallocIns, IsNullWhenMemoryIsExhausted)
{
    {
        const failing_heap heap(1);
        EXPECT_EQ(malloc_ins_str1("abc", 1, "X"), nullptr);
    }
    const failing_heap heap(1);
    EXPECT_EQ(malloc_ins_str2("abc", 1, "X", "Y"), nullptr);
}
