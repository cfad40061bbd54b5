#include "tools/text.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>

namespace
{

exec_info_t exec_info(double total, double transferred, double elapsed)
{
    exec_info_t info = {};
    info.total_size = total;
    info.transferred_size = transferred;
    info.elapsed_time = elapsed;
    return info;
}

remote_file_t found(int64_t size, int32_t attributes)
{
    remote_file_t file = {};
    file.looked_up = 1;
    file.exists = 1;
    file.size = size;
    file.year = 65535;
    file.month = file.day = file.hour = file.minute = 255;
    file.attributes = attributes;
    return file;
}

} // namespace

TEST(Text, SizesHaveDecimalUnits)
{
    const struct {
        double bytes;
        const char *text;
    } cases[] = {
        {0, "0 B"},       {1, "1 B"},           {999, "999 B"},      {1000, "1.0 kB"},
        {4096, "4.1 kB"}, {999949, "999.9 kB"}, {999950, "1.0 MB"},  {4294967296, "4.3 GB"},
        {5e12, "5.0 TB"}, {1e18, "1.0 EB"},     {1e21, "1000.0 EB"}, {-5, "0 B"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(text_size(c.bytes), c.text);
    EXPECT_EQ(text_size(std::nan("")), "0 B");
}

TEST(Text, CountsOfBytesAreWhole)
{
    EXPECT_EQ(text_bytes(0), 0);
    EXPECT_EQ(text_bytes(5368709120.0), 5368709120);
    EXPECT_EQ(text_bytes(9007199254740991.0), 9007199254740991);
    EXPECT_EQ(text_bytes(-1), 0);
    EXPECT_EQ(text_bytes(1e300), 0);
    EXPECT_EQ(text_bytes(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST(Text, DurationsAreMinutesAndSecondsOrWithHours)
{
    const struct {
        double seconds;
        const char *text;
    } cases[] = {{0, "0:00"},       {7.4, "0:07"},         {59.5, "1:00"}, {754, "12:34"}, {3599, "59:59"},
                 {3600, "1:00:00"}, {363723, "101:02:03"}, {-1, "0:00"},   {1e300, "0:00"}};
    for (const auto &c : cases)
        EXPECT_EQ(text_duration(c.seconds), c.text);
}

TEST(Text, AnOutcomeCountsEveryByte)
{
    EXPECT_EQ(text_outcome(exec_info(0, 0, 0.04)), "0 bytes in 0.0 s");
    EXPECT_EQ(text_outcome(exec_info(5368709120, 4294967296, 61.25)),
              "4294967296 of 5368709120 bytes in 61.2 s");
}

TEST(Text, DetailsTellTheCauseOfAFailure)
{
    exec_info_t info = {};
    EXPECT_EQ(text_details(info), "");
    info.curl_code = 9;
    info.response_code_type = 1;
    info.response_code = 550;
    EXPECT_EQ(text_details(info), "libcurl code 9, server answered 550");
    info.retry_count = 1;
    EXPECT_EQ(text_details(info), "libcurl code 9, server answered 550, 1 retry");
    info.response_code_type = 0;
    info.retry_count = 4;
    EXPECT_EQ(text_details(info), "libcurl code 9, 4 retries");
}

TEST(Text, DetailsOfAZixiJobAreTheLibrarysError)
{
    exec_info_t info = {};
    info.response_code_type = 3;
    info.curl_code = 7;
    EXPECT_EQ(text_details(info), "");
    info.zixi_error = static_cast<uint32_t>(-22);
    EXPECT_EQ(text_details(info), "Zixi error -22");
}

TEST(Text, AStateIsIdleRunningOrCancelling)
{
    EXPECT_EQ(text_state({0, 0, 0, 0}, {}), "idle, no job since the daemon started");
    EXPECT_EQ(text_state({1, 2, 0, 0}, exec_info(100, 40, 1.5)), "running: upload, 40 of 100 bytes in 1.5 s");
    EXPECT_EQ(text_state({1, 1, 0, 1}, exec_info(0, 40, 1)), "cancelling: download, 40 bytes in 1.0 s");
    EXPECT_EQ(text_state({0, 3, 0, 0}, {}),
              "idle, last job: file information, 0 bytes in 0.0 s, FTPCD_ERR_NONE (0): Done.");
    EXPECT_EQ(
        text_state({0, 2, 1, 1}, exec_info(100, 40, 2)),
        "idle, last job: upload, 40 of 100 bytes in 2.0 s, FTPCD_ERR_CANCELED (1): The job was cancelled.");
}

TEST(Text, ARemoteFileHasWhatItsListingGave)
{
    remote_file_t file = found(5368709120, 0x644);
    EXPECT_EQ(text_remote_file("f", file), "f: 5368709120 bytes, rw-r--r--");
    file.month = 2;
    file.day = 9;
    file.hour = 7;
    file.minute = 5;
    EXPECT_EQ(text_remote_file("f", file), "f: 5368709120 bytes, 02-09 07:05, rw-r--r--");
    file.year = 2023;
    file.hour = file.minute = 255;
    EXPECT_EQ(text_remote_file("f", file), "f: 5368709120 bytes, 2023-02-09, rw-r--r--");
    EXPECT_EQ(text_remote_file("f", found(0, -1)), "f: 0 bytes");
    EXPECT_EQ(text_remote_file("f", found(-1, 0x755)), "f: size unknown, rwxr-xr-x");
    EXPECT_EQ(text_remote_file("f", found(1, 0x7755)), "f: 1 bytes, rwxr-xr-x (special bits 7)");
    EXPECT_EQ(text_remote_file("f", found(1, 0)), "f: 1 bytes, ---------");
}

TEST(Text, AFileThatIsNotThereSaysWhy)
{
    remote_file_t file = {};
    EXPECT_EQ(text_remote_file("f", file), "f: not listed as a file, perhaps a folder or link");
    file.looked_up = 1;
    EXPECT_EQ(text_remote_file("f", file), "f: no such file");
}

TEST(Text, JobKindsHaveNames)
{
    EXPECT_STREQ(text_job_kind(0), "no job");
    EXPECT_STREQ(text_job_kind(1), "download");
    EXPECT_STREQ(text_job_kind(2), "upload");
    EXPECT_STREQ(text_job_kind(3), "file information");
    EXPECT_STREQ(text_job_kind(4), "no job");
}
