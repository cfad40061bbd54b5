// The capture together with the real listing parser.
#include "curl_wrapper/listing_capture.h"
#include "support/logged.h"

#include <gtest/gtest.h>

namespace
{

struct found_t {
    std::string name;
    std::string owner;
    int64_t size;
    int year, month, day, hour, minute;
    int attributes;
    int is_link;
    int kind;
    bool operator==(const found_t &) const = default;
};

void PrintTo(const found_t &f, std::ostream *out)
{
    *out << f.name << " of " << f.owner << ", " << f.size << " bytes, " << f.year << "-" << f.month << "-"
         << f.day << " " << f.hour << ":" << f.minute << ", attributes " << f.attributes << ", link "
         << f.is_link << ", kind " << f.kind;
}

class listing_t
{
public:
    std::vector<found_t> found;

    explicit listing_t(const char *pattern)
    {
        info_->pattern = pattern;
        EXPECT_TRUE(list_capture_start(info_));
        logged();
    }
    ~listing_t() { list_setting_free(info_); }
    listing_t(const listing_t &) = delete;
    listing_t &operator=(const listing_t &) = delete;

    void write(std::string data)
    {
        EXPECT_EQ(cb_list_write(data.data(), 1, data.size(), info_), data.size());
    }
    bool end() { return list_capture_end(info_); }

private:
    static int cb_entry(list_info_t *e, void *context, int)
    {
        static_cast<listing_t *>(context)->found.push_back({e->name, e->owner, e->size, e->year, e->month,
                                                            e->day, e->hour, e->minute, e->attributes,
                                                            e->is_link, e->kind});
        return 0;
    }
    list_setting_info_t *info_ = list_setting_malloc(cb_entry, this);
};

} // namespace

TEST(Listing, GivesTheEntriesOfAUnixServer)
{
    listing_t listing("*");
    listing.write("total 8\r\n"
                  "drwxr-xr-x    2 joe      users        4096 Feb 29  2024 a directory\r\n"
                  "-rw-r-----    1 joe      users  5000000000 Jan  2  2023 big.bin\r\n"
                  "lrwxrwxrwx    1 root     root            7 Mar  3  2022 link -> big.bin\r\n");
    EXPECT_TRUE(listing.end());
    EXPECT_EQ(listing.found,
              (std::vector<found_t>{
                  {"a directory", "joe", 4096, 2024, 2, 29, 255, 255, 0x755, 0, LIST_KIND_DIRECTORY},
                  {"big.bin", "joe", 5000000000, 2023, 1, 2, 255, 255, 0x640, 0, LIST_KIND_FILE},
                  {"link -> big.bin", "root", 7, 2022, 3, 3, 255, 255, 0x777, 1, LIST_KIND_DIRECTORY}}));
}

TEST(Listing, GivesTheEntriesOfAWindowsServer)
{
    listing_t listing("b.txt");
    listing.write(
        "10-23-12  03:25PM       <DIR>          a\r\n10-24-12  11:05AM              1234 b.txt\r\n");
    EXPECT_TRUE(listing.end());
    EXPECT_EQ(listing.found,
              (std::vector<found_t>{{"b.txt", "", 1234, 2012, 10, 24, 11, 5, -1, 0, LIST_KIND_FILE}}));
}

TEST(Listing, IsTheSameInWhateverPiecesItArrives)
{
    const std::string text = "-rw-r--r-- 1 joe users 11 Jan  2  2023 a b.txt\r\n"
                             "-rw-r--r-- 1 joe users 22 Jan  2  2023 b.txt\n"
                             "-rw-r--r-- 1 joe users 33 Jan  2  2023 \xc3\xbc.txt";
    for (size_t cut = 0; cut <= text.size(); ++cut) {
        listing_t listing("*");
        listing.write(text.substr(0, cut));
        listing.write(text.substr(cut));
        listing.end();
        ASSERT_EQ(listing.found.size(), 3u) << cut;
        EXPECT_EQ(listing.found[0].name, "a b.txt");
        EXPECT_EQ(listing.found[1].size, 22);
        EXPECT_EQ(listing.found[2].name, "\xc3\xbc.txt");
    }
    EXPECT_EQ(logged(), lines{});
}

TEST(Listing, SkipsLinesOfNoKnownLayout)
{
    listing_t listing("*");
    listing.write("hello world\r\n-rw-r--r-- 1 joe users 11 Jan  2  2023 a\r\n");
    EXPECT_EQ(listing.found.size(), 1u);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(2313): Unknown 'LIST' format: hello world\n"});
}

TEST(Listing, CutsALongNameAndOverrunsNothing)
{
    const std::string before = "-rw-r--r-- 1 joe users 11 Jan  2  2023 ";
    for (const size_t length : {1023u, 1024u, 1025u, 4096u, 1000000u}) {
        listing_t listing("*");
        listing.write(before + std::string(length, 'n') + "\n");
        ASSERT_EQ(listing.found.size(), 1u) << length;
        EXPECT_EQ(listing.found[0].name, std::string(std::min<size_t>(length, 1024), 'n'));
    }
}

TEST(Listing, SurvivesFieldsOfAnyLength)
{
    const char *fields[] = {"-rw-r--r--", "1", "joe", "users", "11", "Jan", "2", "2023", "name"};
    for (size_t longest = 0; longest < std::size(fields); ++longest) {
        for (const char filler : {'x', '9', '/', ':', '-'}) {
            listing_t listing("*");
            std::string line;
            for (size_t i = 0; i < std::size(fields); ++i)
                line += std::string(fields[i]) + (i == longest ? std::string(100000, filler) : "") + " ";
            listing.write(line + "\r\n");
            listing.end(); // no overrun: the sanitizers would tell
            for (const found_t &found : listing.found) {
                EXPECT_LE(found.name.size(), 1024u);
                EXPECT_LE(found.owner.size(), 40u);
            }
        }
    }
}
