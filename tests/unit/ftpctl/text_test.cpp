#include "ftpctl/text.h"

#include <cmath>
#include <gmock/gmock.h>

namespace
{

ftpclient_progress_t progress(int64_t total, int64_t transferred, int64_t elapsed_ms)
{
    return {total, transferred, elapsed_ms, 0, 0, 0, 0, 0, 0};
}

ftpclient_file_info_t found(int64_t size, int32_t attributes)
{
    ftpclient_file_info_t file = {};
    file.looked_up = 1;
    file.exists = 1;
    file.size_bytes = size;
    file.year = file.month = file.day = file.hour = file.minute = FTPCLIENT_UNKNOWN;
    file.attributes = attributes;
    return file;
}

} // namespace

TEST(Text, SizesUseDecimalUnits)
{
    const std::pair<double, const char *> cases[] = {
        {0, "0 B"},       {1, "1 B"},           {999, "999 B"},      {1000, "1.0 kB"},
        {4096, "4.1 kB"}, {999949, "999.9 kB"}, {999950, "1.0 MB"},  {4294967296, "4.3 GB"},
        {5e12, "5.0 TB"}, {1e18, "1.0 EB"},     {1e21, "1000.0 EB"}, {-5, "0 B"},
    };
    for (const auto &[bytes, text] : cases)
        EXPECT_EQ(text_size(bytes), text);
    EXPECT_EQ(text_size(std::nan("")), "0 B");
}

TEST(Text, DurationsAreMinutesAndSecondsWithHoursIfNeeded)
{
    const std::pair<double, const char *> cases[] = {
        {0, "0:00"},       {7.4, "0:07"},         {59.5, "1:00"}, {754, "12:34"}, {3599, "59:59"},
        {3600, "1:00:00"}, {363723, "101:02:03"}, {-1, "0:00"},   {1e300, "0:00"}};
    for (const auto &[seconds, text] : cases)
        EXPECT_EQ(text_duration(seconds), text);
}

TEST(Text, AnOutcomeCountsEveryByteAndTheRetries)
{
    EXPECT_EQ(text_outcome(progress(0, 0, 40)), "0 bytes in 0.0 s");
    ftpclient_progress_t moved = progress(5368709120, 4294967296, 61250);
    EXPECT_EQ(text_outcome(moved), "4294967296 of 5368709120 bytes in 61.2 s");
    moved.retries = 1;
    EXPECT_EQ(text_outcome(moved), "4294967296 of 5368709120 bytes in 61.2 s, 1 retry");
    EXPECT_EQ(text_amount(moved), "4294967296 of 5368709120 bytes in 61.2 s");
}

TEST(Text, DetailsAreTheDaemonsCodes)
{
    ftpclient_progress_t failed = {};
    EXPECT_EQ(text_details(16, failed), "FTPCD_ERR_NETWORK 16");
    failed.curl_code = 9;
    failed.response_type = 1;
    failed.response_code = 550;
    EXPECT_EQ(text_details(16, failed), "FTPCD_ERR_NETWORK 16, libcurl code 9, server answered 550");
    failed.retries = 1;
    EXPECT_EQ(text_details(16, failed), "FTPCD_ERR_NETWORK 16, libcurl code 9, server answered 550, 1 retry");
    failed.response_type = 0;
    failed.retries = 4;
    EXPECT_EQ(text_details(16, failed), "FTPCD_ERR_NETWORK 16, libcurl code 9, 4 retries");
}

TEST(Text, DetailsOfAZixiJobAreTheLibrarysError)
{
    ftpclient_progress_t failed = {};
    failed.response_type = 3;
    failed.curl_code = 7;
    failed.retries = 7;
    EXPECT_EQ(text_details(16, failed), "FTPCD_ERR_NETWORK 16");
    failed.zixi_error = -22;
    EXPECT_EQ(text_details(16, failed), "FTPCD_ERR_NETWORK 16, Zixi error -22");
    EXPECT_EQ(text_outcome(failed), "0 bytes in 0.0 s");
}

TEST(Text, AResultIsShownAsItsCauseIfKnown)
{
    ftpclient_progress_t failed = {};
    EXPECT_EQ(text_result(0, failed), "done");
    EXPECT_EQ(text_result(12, failed),
              "the remote file is too large; the device downloads at most 4096 bytes "
              "(FTPCD_ERR_SIZE_LIMIT 12)");
    failed.curl_code = 67;
    failed.response_type = 1;
    failed.response_code = 530;
    EXPECT_EQ(text_result(16, failed), ftpclient_cause_text(FTPCLIENT_CAUSE_LOGIN) +
                                           std::string("; check user and password (FTPCD_ERR_NETWORK 16, "
                                                       "libcurl code 67, server answered 530)"));
}

TEST(Text, AStateIsIdleRunningOrCancelling)
{
    EXPECT_EQ(text_state({}), "idle, no job since the daemon started");
    EXPECT_EQ(text_state({1, 2, 0, 0, progress(100, 40, 1500)}), "running: upload, 40 of 100 bytes in 1.5 s");
    EXPECT_EQ(text_state({1, 1, 0, 1, progress(0, 40, 1000)}), "cancelling: download, 40 bytes in 1.0 s");
    EXPECT_EQ(text_job(0), "a job");
    EXPECT_EQ(text_state({0, 3, 0, 0, {}}), "idle, last job: file information, 0 bytes in 0.0 s, done");
    EXPECT_EQ(text_state({0, 2, 1, 1, progress(100, 40, 2000)}),
              "idle, last job: upload, 40 of 100 bytes in 2.0 s, the job was cancelled; start it again "
              "(FTPCD_ERR_CANCELED 1)");
}

TEST(Text, ARemoteFileHasTheValuesOfItsListing)
{
    ftpclient_file_info_t file = found(5368709120, 0x644);
    EXPECT_EQ(text_remote_file("f", file), "f: 5368709120 bytes, rw-r--r--");
    file.month = 2;
    file.day = 9;
    file.hour = 7;
    file.minute = 5;
    EXPECT_EQ(text_remote_file("f", file), "f: 5368709120 bytes, 02-09 07:05, rw-r--r--");
    file.year = 2023;
    file.hour = file.minute = FTPCLIENT_UNKNOWN;
    EXPECT_EQ(text_remote_file("f", file), "f: 5368709120 bytes, 2023-02-09, rw-r--r--");
    EXPECT_EQ(text_remote_file("f", found(0, -1)), "f: 0 bytes");
    EXPECT_EQ(text_remote_file("f", found(-1, 0x755)), "f: size unknown, rwxr-xr-x");
    EXPECT_EQ(text_remote_file("f", found(1, 0x7755)), "f: 1 bytes, rwxr-xr-x (special bits 7)");
    EXPECT_EQ(text_remote_file("f", found(1, 0)), "f: 1 bytes, ---------");
}

TEST(Text, AMissingFileSaysWhy)
{
    ftpclient_file_info_t file = {};
    EXPECT_EQ(text_remote_file("f", file), "f: not listed as a file, perhaps a folder or link");
    file.looked_up = 1;
    EXPECT_EQ(text_remote_file("f", file), "f: no such file");
}

TEST(Text, ATimeNeedsYearMonthAndDay)
{
    ftpclient_file_info_t file = found(1, -1);
    EXPECT_EQ(text_iso_time(file), "");
    file.month = 5;
    file.day = 1;
    file.hour = 12;
    file.minute = 34;
    EXPECT_EQ(text_iso_time(file), "") << "a listing with the time of day omits the year";
    file.year = 2024;
    EXPECT_EQ(text_iso_time(file), "2024-05-01T12:34");
    file.minute = FTPCLIENT_UNKNOWN;
    EXPECT_EQ(text_iso_time(file), "2024-05-01");
}
