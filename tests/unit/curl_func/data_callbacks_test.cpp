#include "curl_func/callbacks.h"

#include "job_fixture.h"

class Callbacks : public JobFixture
{
protected:
    ~Callbacks() override
    {
        if (file.file != nullptr)
            fclose(file.file);
    }

    void open(const std::string &path, const char *mode)
    {
        file.file = fopen(path.c_str(), mode);
        ASSERT_NE(file.file, nullptr);
    }

    curl_e_handle_t handle{};
    cb_file_info_t file{&handle, nullptr};
    char data[16] = "abcdefghij";
};

// --- cb_write

TEST_F(Callbacks, WritePutsTheDataIntoTheFile)
{
    open(path("f"), "wb");
    EXPECT_EQ(cb_write(data, 1, 10, &file), 10u);
    EXPECT_EQ(cb_write(data, 2, 3, &file), 3u); // items, not bytes
    EXPECT_EQ(cb_write(data, 1, 0, &file), 0u);
    ASSERT_EQ(fflush(file.file), 0);
    EXPECT_EQ(content(path("f")), "abcdefghijabcdef");
    EXPECT_EQ(handle.error, 0);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Callbacks, WriteRefusesNoData)
{
    EXPECT_EQ(cb_write(nullptr, 1, 10, &file), 0u);
    EXPECT_EQ(logged(), lines{"error: curl_func(1442): Download data pointer is null.\n"});
    EXPECT_EQ(handle.error, 0);
}

TEST_F(Callbacks, WriteRefusesNoContext)
{
    EXPECT_EQ(cb_write(data, 1, 10, nullptr), 0u);
    EXPECT_EQ(logged(), lines{"error: curl_func(1448): CURLOPT_WRITEDATA has not been set.\n"});
}

TEST_F(Callbacks, AFullDiskIsALocalWriteError)
{
    open("/dev/full", "wb");
    setvbuf(file.file, nullptr, _IONBF, 0);
    EXPECT_EQ(cb_write(data, 1, 10, &file), 0u);
    EXPECT_EQ(handle.error, 9);
    EXPECT_EQ(logged(), lines{"error: curl_func(1454): errno(28) No space left on device\n"});
}

// --- cb_write_null

TEST_F(Callbacks, WriteNullTakesEverything)
{
    EXPECT_EQ(cb_write_null(data, 1, 10, nullptr), 10u);
    EXPECT_EQ(cb_write_null(data, 3, 5, nullptr), 15u);
    EXPECT_EQ(cb_write_null(nullptr, 1, 0, nullptr), 0u);
}

// --- cb_read

TEST_F(Callbacks, ReadGivesTheFilesContentAndAShortPieceAtItsEnd)
{
    open(write("f", "0123456789"), "rb");
    EXPECT_EQ(cb_read(data, 1, 6, &file), 6u);
    EXPECT_EQ(std::string(data, 6), "012345");
    EXPECT_EQ(cb_read(data, 1, 6, &file), 4u);
    EXPECT_EQ(std::string(data, 4), "6789");
    EXPECT_EQ(cb_read(data, 1, 6, &file), 0u);
    EXPECT_EQ(handle.error, 0);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Callbacks, ReadRefusesNoBuffer)
{
    EXPECT_EQ(cb_read(nullptr, 1, 6, &file), 0u);
    EXPECT_EQ(logged(), lines{"error: curl_func(1491): Upload data pointer is null.\n"});
}

TEST_F(Callbacks, ReadRefusesNoContext)
{
    EXPECT_EQ(cb_read(data, 1, 6, nullptr), 0u);
    EXPECT_EQ(logged(), lines{"error: curl_func(1497): CURLOPT_READDATA has not been set.\n"});
}

TEST_F(Callbacks, AFileThatCannotBeReadAbortsTheUpload)
{
    open(path("."), "rb"); // a directory opens, but does not read
    EXPECT_EQ(cb_read(data, 1, 6, &file), 0x10000000u);
    EXPECT_EQ(handle.error, 10);
    EXPECT_EQ(logged(), lines{"error: curl_func(1504): errno(21) Is a directory\n"});
}

// --- cb_list

class Listing : public JobFixture
{
protected:
    static list_info_t entry_of(const char *name)
    {
        static char line[] = "";
        list_info_t entry{};
        entry.line = line;
        entry.name = const_cast<char *>(name);
        entry.owner = line;
        entry.size = 5'000'000'000;
        entry.year = 2024;
        entry.month = 12;
        entry.day = 31;
        entry.hour = 23;
        entry.minute = 59;
        entry.attributes = 0x755;
        entry.kind = LIST_KIND_FILE;
        return entry;
    }

    int give(list_info_t entry) { return cb_list(&entry, &wanted, 1); }

    remote_file_t &found = job_.record.remote_file;
    cb_list_info_t wanted{"a.txt", &job_};
};

TEST_F(Listing, TheWantedFileIsKept)
{
    found.unused = 0xABCD;
    EXPECT_EQ(give(entry_of("a.txt")), 0);
    EXPECT_EQ(found.looked_up, 1u);
    EXPECT_EQ(found.exists, 1u);
    EXPECT_EQ(found.size, 5'000'000'000);
    EXPECT_EQ(found.year, 2024);
    EXPECT_EQ(found.month, 12);
    EXPECT_EQ(found.day, 31);
    EXPECT_EQ(found.hour, 23);
    EXPECT_EQ(found.minute, 59);
    EXPECT_EQ(found.attributes, 0x755);
    EXPECT_EQ(found.is_link, 0);
    EXPECT_EQ(found.unused, 0xABCDu);
    EXPECT_EQ(logged_with_priority(),
              (std::vector<log_line>{{6, "curl_func(1778): a.txt, size: 5000000000\n"}}));
}

TEST_F(Listing, UnknownFieldsKeepTheirValueWhenTheyAreWidened)
{
    list_info_t entry = entry_of("a.txt");
    entry.size = -1;
    entry.year = 65535;
    entry.month = entry.day = entry.hour = entry.minute = 255;
    entry.attributes = -1;
    EXPECT_EQ(give(entry), 0);
    EXPECT_EQ(found.size, -1);
    EXPECT_EQ(found.year, 65535);
    EXPECT_EQ(found.month, 255);
    EXPECT_EQ(found.day, 255);
    EXPECT_EQ(found.hour, 255);
    EXPECT_EQ(found.minute, 255);
    EXPECT_EQ(found.attributes, -1);
    EXPECT_EQ(logged(), lines{"curl_func(1778): a.txt, size: -1\n"});
}

TEST_F(Listing, TheLastOfSeveralStays)
{
    list_info_t second = entry_of("a.txt");
    second.size = 2;
    EXPECT_EQ(give(entry_of("a.txt")), 0);
    EXPECT_EQ(give(second), 0);
    EXPECT_EQ(found.size, 2);
}

TEST_F(Listing, AnotherNameIsLoggedOnly)
{
    for (const char *name : {"A.txt", "a.txt ", "a.tx", "", "b"}) {
        EXPECT_EQ(give(entry_of(name)), 0);
        EXPECT_EQ(logged(), lines{"curl_func(1778): " + std::string(name) + ", size: 5000000000\n"});
        EXPECT_EQ(found.looked_up, 0u);
        EXPECT_EQ(found.exists, 0u);
    }
}

TEST_F(Listing, DirectoriesLinksAndOthersOfTheNameAreNoFile)
{
    struct {
        uint8_t is_link;
        uint8_t kind;
    } const table[] = {{0, 1}, {0, 0}, {0, 3}, {1, 2}, {1, 1}, {255, 2}};
    for (const auto &row : table) {
        list_info_t entry = entry_of("a.txt");
        entry.is_link = row.is_link;
        entry.kind = row.kind;
        EXPECT_EQ(give(entry), 0);
        EXPECT_EQ(found.looked_up, 0u);
        EXPECT_EQ(found.exists, 0u);
        EXPECT_EQ(logged(), lines{});
    }
}

TEST_F(Listing, NamesThatAreMissingMatchNothing)
{
    EXPECT_EQ(give(entry_of(nullptr)), 0);
    wanted.name = nullptr;
    EXPECT_EQ(give(entry_of("a.txt")), 0);
    EXPECT_EQ(found.exists, 0u);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Listing, WithoutAnEntryItGoesOnWithoutAContextItEnds)
{
    EXPECT_EQ(cb_list(nullptr, &wanted, 1), 0);
    EXPECT_EQ(logged(), lines{"error: curl_func(1754): 'struct list_info_t' is not available.\n"});
    list_info_t entry = entry_of("a.txt");
    EXPECT_EQ(cb_list(&entry, nullptr, 1), 1);
    EXPECT_EQ(logged(), lines{"error: curl_func(1760): 'struct cb_list_info_t' has not been set.\n"});
}
