#include "curl_func/listing_callback.h"

#include "job_fixture.h"

#include <cstring>

class Listing : public JobFixture
{
protected:
    static list_info_t entry_of(const char *name)
    {
        static char line[] = "";
        auto *own_name = const_cast<char *>(name);
        return {line, own_name, line, 5'000'000'000, 2024, 12, 31, 23, 59, 0x755, 0, LIST_KIND_FILE};
    }

    int give(list_info_t entry) { return cb_list(&entry, &wanted, 1); }

    void expect_found(const remote_file_t &expected) const
    {
        EXPECT_EQ(memcmp(&found, &expected, sizeof found), 0) << testing::PrintToString(found);
    }

    remote_file_t &found = job_.record.remote_file;
    cb_list_info_t wanted{"a.txt", &job_};
};

TEST_F(Listing, TheWantedFileIsKept)
{
    found.unused = 0xABCD;
    EXPECT_EQ(give(entry_of("a.txt")), 0);
    expect_found({1, 1, 5'000'000'000, 2024, 12, 31, 23, 59, 0x755, 0, 0xABCD});
    EXPECT_EQ(logged(), lines{"curl_func(1778): a.txt, size: 5000000000\n"});
}

TEST_F(Listing, UnknownFieldsAreStillUnknownInWiderTypes)
{
    list_info_t entry = entry_of("a.txt");
    entry.size = -1;
    entry.year = 65535;
    entry.month = entry.day = entry.hour = entry.minute = 255;
    entry.attributes = -1;
    EXPECT_EQ(give(entry), 0);
    expect_found({1, 1, -1, 65535, 255, 255, 255, 255, -1, 0, 0});
    EXPECT_EQ(logged(), lines{"curl_func(1778): a.txt, size: -1\n"});
}

TEST_F(Listing, OfSeveralTheLastIsKept)
{
    list_info_t second = entry_of("a.txt");
    second.size = 2;
    EXPECT_EQ(give(entry_of("a.txt")), 0);
    EXPECT_EQ(give(second), 0);
    EXPECT_EQ(found.size, 2);
    logged();
}

TEST_F(Listing, AnotherNameIsOnlyLogged)
{
    for (const char *name : {"A.txt", "a.txt ", "a.tx", "", "b"}) {
        EXPECT_EQ(give(entry_of(name)), 0);
        EXPECT_EQ(logged(), lines{"curl_func(1778): " + std::string(name) + ", size: 5000000000\n"});
        expect_found({});
    }
}

TEST_F(Listing, ADirectoryLinkOrDeviceOfTheNameIsNotTheFile)
{
    const std::pair<uint8_t, uint8_t> table[] = {{0, 1}, {0, 0}, {0, 3}, {1, 2}, {1, 1}, {255, 2}};
    for (const auto &[is_link, kind] : table) {
        list_info_t entry = entry_of("a.txt");
        entry.is_link = is_link;
        entry.kind = kind;
        EXPECT_EQ(give(entry), 0);
        expect_found({});
    }
}

TEST_F(Listing, AMissingNameMatchesNothing)
{
    EXPECT_EQ(give(entry_of(nullptr)), 0);
    wanted.name = nullptr;
    EXPECT_EQ(give(entry_of("a.txt")), 0);
    EXPECT_EQ(found.exists, 0u);
}

TEST_F(Listing, GoesOnWithoutAnEntryAndEndsWithoutAContext)
{
    EXPECT_EQ(cb_list(nullptr, &wanted, 1), 0);
    EXPECT_EQ(logged(), lines{"error: curl_func(1754): 'struct list_info_t' is not available.\n"});
    list_info_t entry = entry_of("a.txt");
    EXPECT_EQ(cb_list(&entry, nullptr, 1), 1);
    EXPECT_EQ(logged(), lines{"error: curl_func(1760): 'struct cb_list_info_t' has not been set.\n"});
}
