#include "curl_func/data_callbacks.h"

#include "job_fixture.h"

#include <cerrno>

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

TEST_F(Callbacks, WriteStoresTheDataInTheFile)
{
    open(path("f"), "wb");
    EXPECT_EQ(cb_write(data, 1, 10, &file), 10u);
    EXPECT_EQ(cb_write(data, 2, 3, &file), 3u); // items, not bytes
    EXPECT_EQ(cb_write(data, 1, 0, &file), 0u);
    ASSERT_EQ(fflush(file.file), 0);
    EXPECT_EQ(content(path("f")), "abcdefghijabcdef");
    EXPECT_EQ(handle.error, 0);
}

TEST_F(Callbacks, WriteAndReadRefuseNullPointers)
{
    EXPECT_EQ(cb_write(nullptr, 1, 10, &file), 0u);
    EXPECT_EQ(cb_write(data, 1, 10, nullptr), 0u);
    EXPECT_EQ(cb_read(nullptr, 1, 6, &file), 0u);
    EXPECT_EQ(cb_read(data, 1, 6, nullptr), 0u);
    EXPECT_EQ(handle.error, 0);
    EXPECT_EQ(logged(), (lines{"error: curl_func(1442): Download data pointer is null.\n",
                               "error: curl_func(1448): CURLOPT_WRITEDATA has not been set.\n",
                               "error: curl_func(1491): Upload data pointer is null.\n",
                               "error: curl_func(1497): CURLOPT_READDATA has not been set.\n"}));
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

TEST_F(Callbacks, WriteNullAcceptsEverything)
{
    EXPECT_EQ(cb_write_null(data, 1, 10, nullptr), 10u);
    EXPECT_EQ(cb_write_null(data, 3, 5, nullptr), 15u);
    EXPECT_EQ(cb_write_null(nullptr, 1, 0, nullptr), 0u);
}

// --- cb_read

TEST_F(Callbacks, ReadReturnsTheFilesContentAndAShortPieceAtItsEnd)
{
    open(write("f", "0123456789"), "rb");
    EXPECT_EQ(cb_read(data, 1, 6, &file), 6u);
    EXPECT_EQ(std::string(data, 6), "012345");
    EXPECT_EQ(cb_read(data, 1, 6, &file), 4u);
    EXPECT_EQ(std::string(data, 4), "6789");
    EXPECT_EQ(cb_read(data, 1, 6, &file), 0u);
    EXPECT_EQ(handle.error, 0);
}

TEST_F(Callbacks, AFileThatCannotBeReadAbortsTheUpload)
{
    open(path("."), "rb"); // a directory opens, but does not read
    EXPECT_EQ(cb_read(data, 1, 6, &file), 0x10000000u);
    EXPECT_EQ(handle.error, 10);
    EXPECT_EQ(logged(), lines{"error: curl_func(1504): errno(21) Is a directory\n"});
}

// --- The resets

TEST_F(Callbacks, BothResetsRewindTheFileToItsFirstByte)
{
    file.file = fopen(write("f", "0123456789").c_str(), "rb");
    for (const auto reset : {curl_download_reset, curl_upload_reset}) {
        ASSERT_EQ(fseek(file.file, 7, SEEK_SET), 0);
        EXPECT_EQ(reset(&file), 0);
        EXPECT_EQ(ftell(file.file), 0);
        EXPECT_EQ(fgetc(file.file), '0');
    }
}

TEST_F(Callbacks, AResetThatFailsIsLogged)
{
    file.file = fopen(write("f", "0").c_str(), "rb");
    system.fseeko = EIO;
    EXPECT_NE(curl_download_reset(&file), 0);
    EXPECT_EQ(logged(), lines{"error: curl_func(688): errno(5) Input/output error\n"});
    system.fseeko = ESPIPE;
    EXPECT_NE(curl_upload_reset(&file), 0);
    EXPECT_EQ(logged(), lines{"error: curl_func(825): errno(29) Illegal seek\n"});
}

TEST_F(Callbacks, AShorterSecondBodyReplacesTheFirstWhole)
{
    file.file = fopen(path("f").c_str(), "wb");
    fputs("the long first body", file.file);
    EXPECT_EQ(curl_download_reset(&file), 0);
    EXPECT_EQ(content(path("f")), "the long first body"); // kept: there may be no second try
    EXPECT_EQ(curl_download_empty(&file), 0);
    fputs("short", file.file);
    ASSERT_EQ(fflush(file.file), 0);
    EXPECT_EQ(content(path("f")), "short");
}

TEST_F(Callbacks, ADeviceIsNotTruncated)
{
    file.file = fopen("/dev/null", "wb");
    EXPECT_NE(curl_download_empty(&file), 0);
}
