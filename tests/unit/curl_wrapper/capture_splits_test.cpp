// A listing in pieces, through the capture and the real parser: the entries never depend on where it was cut.
#include "curl_wrapper/listing_capture.h"
#include "support/logged.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace
{

// One line of each layout family, and what an entry holds of it:
// name, owner, size, year-month-day hour:minute, attributes, link, kind.
constexpr struct {
    const char *line;
    const char *entry;
} LINES[] = {
    {"-rwsr-xr-T   1 joe   users 5000000000 Jan 15 12:34 a  b \xc3\xbc.txt ",
     "a  b \xc3\xbc.txt , joe, 5000000000, 65535-1-15 12:34, 5754, 0, 2"},
    {"drwxr-xr-x12 joe users 4096 Feb  3  2001 folder/", "folder, joe, 4096, 2001-2-3 255:255, 755, 0, 1"},
    {"lrwxrwxrwx 1 joe 7 Mar 31 23:59 link -> target", "link -> target, joe, 7, 65535-3-31 23:59, 777, 1, 1"},
    {"- rw-r--r-- 1 joe users 5 Jan 15 12:34 abcdefghijklmnB",
     "abcdefghijklmn, joe, 5, 65535-1-15 12:34, 644, 0, 2"},
    {"01-15-12  03:04PM                 1234 a.lnk", "a.lnk, , 1234, 2012-1-15 15:4, -1, 0, 2"},
    {"2012-01-15 10:20:30 <DIR> docs -> x", "docs -> x, , 0, 2012-1-15 10:20, -1, 0, 1"},
};

std::string told(const list_info_t &entry)
{
    char text[1200];
    snprintf(text, sizeof text, "%s, %s, %lld, %d-%d-%d %d:%d, %s%x, %d, %d", entry.name, entry.owner,
             static_cast<long long>(entry.size), entry.year, entry.month, entry.day, entry.hour, entry.minute,
             entry.attributes < 0 ? "-" : "", static_cast<unsigned>(std::abs(entry.attributes)),
             entry.is_link, entry.kind);
    return text;
}

class in_pieces
{
public:
    in_pieces()
    {
        info_->pattern = "*";
        EXPECT_TRUE(list_capture_start(info_));
        logged();
        errno = 0; // an ERANGE from before would make every size 0
    }
    ~in_pieces() { list_setting_free(info_); }
    in_pieces(const in_pieces &) = delete;
    in_pieces &operator=(const in_pieces &) = delete;

    void write(std::string piece)
    {
        ASSERT_EQ(cb_list_write(piece.data(), 1, piece.size(), info_), piece.size());
    }
    const lines &entries()
    {
        EXPECT_TRUE(list_capture_end(info_));
        return entries_;
    }

private:
    static int cb_entry(list_info_t *entry, void *context, int)
    {
        static_cast<in_pieces *>(context)->entries_.push_back(told(*entry));
        return 0;
    }
    list_setting_info_t *info_ = list_setting_malloc(cb_entry, this);
    lines entries_;
};

// The listing with that end behind each line, also behind the last one or not.
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

class CaptureSplits : public testing::TestWithParam<std::tuple<const char *, bool>>
{
protected:
    const std::string text = listing(std::get<0>(GetParam()), std::get<1>(GetParam()));
};

} // namespace

TEST_P(CaptureSplits, ACutAnywhereChangesNothing)
{
    for (size_t cut = 0; cut <= text.size(); ++cut) {
        in_pieces capture;
        capture.write(text.substr(0, cut));
        capture.write(text.substr(cut));
        ASSERT_EQ(capture.entries(), expected()) << "cut at " << cut;
    }
    EXPECT_EQ(logged(), lines{});
}

TEST_P(CaptureSplits, PiecesOfAnySizeChangeNothing)
{
    for (size_t size = 1; size <= text.size(); ++size) {
        in_pieces capture;
        for (size_t at = 0; at < text.size(); at += size)
            capture.write(text.substr(at, size));
        ASSERT_EQ(capture.entries(), expected()) << "pieces of " << size;
    }
    EXPECT_EQ(logged(), lines{});
}

INSTANTIATE_TEST_SUITE_P(LineEnds, CaptureSplits,
                         testing::Combine(testing::Values("\r\n", "\n", "\r", "\r\n\r\n", "\n\r"),
                                          testing::Bool()));
