#include "strutil/guards.h"
#include "strutil/strutil.h"
#include "support/failing_heap.h"
#include "support/logged.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>

using testing::SizeIs;
using testing::StrEq;

namespace
{

constexpr struct {
    const char *bytes;
    size_t n;
    char sep;
    const char *text;
} CONVERSIONS[] = {
    {"\x0A\xFF", 2, ':', "0A:FF"},
    {"\x0A", 1, ':', "0A"},
    {"\x00\x7F\x80\xC3", 4, ' ', "00 7F 80 C3"},
    {"\x12\x34\x56", 3, '\0', "12"}, // a NUL between bytes ends the text
};

const char RULE[] = "---------------------------------"; // 33 dashes

// The head line of a dump of n bytes at data.
std::string dump_head(const void *data, size_t n)
{
    const auto first = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(data));
    char head[80];
    snprintf(head, sizeof head, "Dump: 0x%08X - 0x%08X (%u bytes)", first,
             first + static_cast<uint32_t>(n) - 1, static_cast<uint32_t>(n));
    return head;
}

class HexDump : public testing::Test
{
protected:
    uint8_t bytes_[40];
    HexDump()
    {
        for (size_t i = 0; i < sizeof bytes_; i++)
            bytes_[i] = static_cast<uint8_t>(0xA0 + i);
    }
    // The lines between head and closing rule of a dump of the first n bytes; checks both.
    lines data_lines(size_t n)
    {
        hex_dump(bytes_, n);
        lines all = logged();
        EXPECT_THAT(all, SizeIs(testing::Ge(3u)));
        if (all.size() < 3)
            return {};
        EXPECT_EQ(all.front(), RULE);
        EXPECT_EQ(all[1], dump_head(bytes_, n));
        EXPECT_EQ(all.back(), RULE);
        return {all.begin() + 2, all.end() - 1};
    }
};

} // namespace

TEST(BinToHex, WritesUpperCasePairsWithTheSeparatorBetweenThem)
{
    for (const auto &c : CONVERSIONS) {
        char text[16];
        memset(text, '#', sizeof text);
        bin_to_hex(c.bytes, c.n, c.sep, text);
        EXPECT_THAT(text, StrEq(c.text));
        EXPECT_EQ(text[c.n * 3 - 1], '\0');
        EXPECT_EQ(text[c.n * 3], '#') << "wrote more than n * 3 bytes";
    }
}

TEST(BinToHex, WritesAnEmptyStringForNothing)
{
    char text[] = "####";
    bin_to_hex(nullptr, 3, ':', text);
    EXPECT_THAT(text, StrEq(""));
    text[0] = '#';
    bin_to_hex("abc", 0, ':', text);
    EXPECT_THAT(text, StrEq(""));
    EXPECT_EQ(text[1], '#');
}

TEST(BinToHex, SurvivesANullDestination)
{
    EXPECT_EXIT((bin_to_hex("abc", 3, ':', nullptr), exit(0)), testing::ExitedWithCode(0), "");
}

TEST(MallocBinToHex, StoresTheTextInANewBufferAndReturnsItsSize)
{
    for (const auto &c : CONVERSIONS) {
        char *out = nullptr;
        EXPECT_EQ(malloc_bin_to_hex(c.bytes, c.n, c.sep, &out), c.n * 3);
        const heap_string text(out);
        EXPECT_THAT(text.get(), StrEq(c.text));
        EXPECT_EQ(bytes_asked_for(), c.n * 3);
    }
}

TEST(MallocBinToHex, StoresNullWhenThereIsNothingToConvert)
{
    char unchanged[] = "";
    char *out = unchanged;
    EXPECT_EQ(malloc_bin_to_hex(nullptr, 3, ':', &out), 0u);
    EXPECT_EQ(out, nullptr);
    out = unchanged;
    EXPECT_EQ(malloc_bin_to_hex("abc", 0, ':', &out), 0u);
    EXPECT_EQ(out, nullptr);
}

TEST(MallocBinToHex, StoresNullWhenMemoryIsExhausted)
{
    char unchanged[] = "";
    char *out = unchanged;
    const failing_heap heap(1);
    EXPECT_EQ(malloc_bin_to_hex("abc", 3, ':', &out), 0u);
    EXPECT_EQ(out, nullptr);
}

TEST(MallocBinToHex, StoresNullWhenTheSizeOverflows)
{
    char unchanged[] = "";
    char *out = unchanged;
    EXPECT_EQ(malloc_bin_to_hex("abc", SIZE_MAX / 3 + 1, ':', &out), 0u); // times 3 overflows to 2
    EXPECT_EQ(out, nullptr);
}

TEST_F(HexDump, PrintsSixteenBytesOnOneLine)
{
    EXPECT_EQ(data_lines(16), lines{"00000000 A0 A1 A2 A3 A4 A5 A6 A7  A8 A9 AA AB AC AD AE AF"});
}

TEST_F(HexDump, PrintsTheSeventeenthByteOnALineOfItsOwn)
{
    EXPECT_EQ(data_lines(17), (lines{"00000000 A0 A1 A2 A3 A4 A5 A6 A7  A8 A9 AA AB AC AD AE AF",
                                     "00000010 B0" + std::string(21 + 25, ' ')}));
}

TEST_F(HexDump, PadsAShortLastLineToTheSameWidth)
{
    EXPECT_EQ(data_lines(1), lines{"00000000 A0" + std::string(21 + 25, ' ')});
    EXPECT_EQ(data_lines(8), lines{"00000000 A0 A1 A2 A3 A4 A5 A6 A7" + std::string(25, ' ')});
    EXPECT_EQ(data_lines(9), lines{"00000000 A0 A1 A2 A3 A4 A5 A6 A7  A8" + std::string(21, ' ')});
    EXPECT_EQ(data_lines(15), lines{"00000000 A0 A1 A2 A3 A4 A5 A6 A7  A8 A9 AA AB AC AD AE   "});
    for (size_t n = 1; n <= sizeof bytes_; n++) {
        for (const auto &line : data_lines(n))
            EXPECT_THAT(line, SizeIs(8 + 1 + 23 + 2 + 23)) << n << " bytes";
    }
}

TEST_F(HexDump, CountsOffsetsInHex)
{
    const lines dumped = data_lines(40);
    ASSERT_THAT(dumped, SizeIs(3));
    EXPECT_EQ(dumped[2].substr(0, 8), "00000020");
}

TEST_F(HexDump, DoesNothingForNull)
{
    hex_dump(nullptr, 16);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(HexDump, PrintsNoDataLineForNoBytes) { EXPECT_EQ(data_lines(0), lines{}); }
