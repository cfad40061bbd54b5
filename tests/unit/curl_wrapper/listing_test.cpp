// The capture together with the real listing parser.
#include "capture.h"

namespace
{

// One line of each layout family, and its entry.
constexpr struct {
    const char *line;
    const char *entry;
} LINES[] = {
    {"-rwsr-xr-T   1 joe   users 5000000000 Jan 15 12:34 a  b \xc3\xbc.txt ",
     "a  b \xc3\xbc.txt , joe, 5000000000, 65535-1-15 12:34, 5754, 0, 2"},
    {"drwxr-xr-x12 joe users 4096 Feb  3  2001 folder/", "folder, joe, 4096, 2001-2-3 255:255, 755, 0, 1"},
    {"-rw-r-----    1 joe      users          12 Feb 29  2024 leap",
     "leap, joe, 12, 2024-2-29 255:255, 640, 0, 2"},
    {"lrwxrwxrwx 1 joe 7 Mar 31 23:59 link -> target", "link -> target, joe, 7, 65535-3-31 23:59, 777, 1, 1"},
    {"- rw-r--r-- 1 joe users 5 Jan 15 12:34 abcdefghijklmnB",
     "abcdefghijklmn, joe, 5, 65535-1-15 12:34, 644, 0, 2"},
    {"01-15-12  03:04PM                 1234 a.lnk", "a.lnk, , 1234, 2012-1-15 15:4, -1, 0, 2"},
    {"2012-01-15 10:20:30 <DIR> docs -> x", "docs -> x, , 0, 2012-1-15 10:20, -1, 0, 1"},
};

// All lines, each followed by `end`; the last one only if `last_too`.
std::string listing(const std::string &line_end, bool last_line_ends)
{
    std::string text;
    for (const auto &line : LINES)
        text += line.line + line_end;
    return last_line_ends ? text : text.substr(0, text.size() - line_end.size());
}

lines expected()
{
    lines entries;
    for (const auto &line : LINES)
        entries.emplace_back(line.entry);
    return entries;
}

class Cuts : public testing::TestWithParam<std::tuple<const char *, bool>>
{
protected:
    const std::string text = listing(std::get<0>(GetParam()), std::get<1>(GetParam()));
};

} // namespace

TEST_P(Cuts, InTwoPlacesChangeNothing)
{
    for (size_t cut = 0; cut <= text.size(); ++cut) {
        capture_t listing;
        listing.write(text.substr(0, cut));
        listing.write(text.substr(cut, 1));
        if (cut < text.size())
            listing.write(text.substr(cut + 1));
        EXPECT_TRUE(list_capture_end(listing.info));
        ASSERT_EQ(listing.entries, expected()) << "cut at " << cut;
    }
}

TEST_P(Cuts, IntoPiecesOfAnySizeChangeNothing)
{
    for (size_t size = 1; size <= text.size(); ++size) {
        capture_t listing;
        for (size_t at = 0; at < text.size(); at += size)
            listing.write(text.substr(at, size));
        EXPECT_TRUE(list_capture_end(listing.info));
        ASSERT_EQ(listing.entries, expected()) << "pieces of " << size;
    }
}

INSTANTIATE_TEST_SUITE_P(LineEnds, Cuts,
                         testing::Combine(testing::Values("\r\n", "\n", "\r", "\r\n\r\n", "\n\r"),
                                          testing::Bool()));

TEST(Listing, SkipsLinesOfNoKnownLayout)
{
    capture_t listing;
    listing.write("hello world\r\n-rw-r--r-- 1 joe users 11 Jan  2  2023 a\r\n");
    EXPECT_EQ(listing.entries.size(), 1u);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(2313): Unknown 'LIST' format: hello world\n"});
}

TEST(Listing, CutsALongNameAndOverrunsNothing)
{
    const std::string before = "-rw-r--r-- 1 joe users 11 Jan  2  2023 ";
    for (const size_t length : {1023u, 1024u, 1025u, 4096u, 1000000u}) {
        capture_t listing;
        listing.write(before + std::string(length, 'n') + "\n");
        EXPECT_EQ(listing.names, lines{std::string(std::min<size_t>(length, 1024), 'n')});
    }
}

TEST(Listing, SurvivesFieldsOfAnyLength)
{
    const char *fields[] = {"-rw-r--r--", "1", "joe", "users", "11", "Jan", "2", "2023", "name"};
    for (size_t longest = 0; longest < std::size(fields); ++longest) {
        for (const char filler : {'x', '9', '/', ':', '-'}) {
            capture_t listing;
            std::string line;
            for (size_t i = 0; i < std::size(fields); ++i)
                line += std::string(fields[i]) + (i == longest ? std::string(100000, filler) : "") + " ";
            listing.write(line + "\r\n");
            list_capture_end(listing.info); // the sanitizers see an overrun
            for (const std::string &name : listing.names)
                EXPECT_LE(name.size(), 1024u);
            EXPECT_LE(listing.last_owner.size(), 40u);
        }
    }
    logged();
}
