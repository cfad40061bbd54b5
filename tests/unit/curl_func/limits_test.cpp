#include "progress_fixture.h"

#include <climits>

// --- Activity

TEST_F(Progress, OnlyAChangeOfAtLeastOneByteIsMovement)
{
    const std::tuple<double, double, double, bool> table[] = {
        {0, 0, 0, false},         {0, 0, 0.999, false}, {0, 0, 1, true},
        {100, 0, 99.001, false},  {100, 0, 99, true},   {100, 0, 100, false},
        {100, 0, 100.999, false}, {100, 0, 101, true},  {100, 100, 100, true}, // complete
        {100, 101, 100, false},                                                // not yet
        {100, 99, 100, true},                                                  // more than complete
        {100, 0, 0, true},        {0, 500, 0, false},
    };
    for (const uint32_t kind : {JOB_DOWNLOAD, JOB_UPLOAD})
        for (const auto &[last, total, now, active] : table) {
            run(kind);
            handle.error = 0;
            timeout = {60, 0, 0, 0, 5, 0, last};
            EXPECT_EQ(progress_at(30, total, now), 0);
            EXPECT_EQ(timeout.last_updated_time, active ? 30 : 5) << last << ' ' << now;
            EXPECT_EQ(timeout.last_amount, now);
        }
}

TEST_F(Progress, AStallIsSeenBelowTheAmountOfAnEarlierTry)
{
    run(JOB_UPLOAD);
    shown.transferred_size = 1000; // by the first try
    EXPECT_EQ(progress_at(1, 5000, 300), 0);
    EXPECT_EQ(progress_at(61, 5000, 300), 0);
    EXPECT_EQ(progress_at(61.5, 5000, 300), 1);
    EXPECT_EQ(handle.error, 14);
    EXPECT_EQ(timeout.timed_out, 1u);
    EXPECT_EQ(shown.transferred_size, 1000); // never decreases
    logged();
}

// An earlier error is overwritten without a second log line.
TEST_F(Progress, InactivityEndsTheTryWhenItIsLongerThanTheLimit)
{
    const std::tuple<int32_t, double, bool> table[] = {
        {60, 65, false},  {60, 65.001, true}, {60, 64.9, false}, {120, 100, false},
        {120, 126, true}, {0, 1e9, false},    {-1, 1e9, false}};
    // error: before the call
    const std::pair<uint32_t, int32_t> jobs[] = {
        {JOB_DOWNLOAD, 0}, {JOB_UPLOAD, 0}, {JOB_UPLOAD, FTPCD_ERR_LOCAL_READ}};
    for (const auto &[kind, error] : jobs)
        for (const auto &[limit, at_s, ends] : table) {
            run(kind);
            handle.error = error;
            timeout = {limit, 0, 0, 0, 5, 0, 10};
            EXPECT_EQ(progress_at(at_s, 0, 10), ends ? 1 : 0) << limit << ' ' << at_s;
            EXPECT_EQ(timeout.timed_out, ends ? 1u : 0u);
            EXPECT_EQ(handle.error, ends ? 14 : error);
            EXPECT_EQ(timeout.last_updated_time, 5);
            EXPECT_EQ(logged(),
                      ends && error == 0
                          ? lines{"error: curl_func(1619): Timeout has occurred: [elapsed_time] " +
                                  std::to_string(static_cast<long>(at_s)) + ", [last_updated_time] 5\n"}
                          : lines{});
        }
}

TEST_F(Progress, WithoutAnElapsedTimeNothingTimesOut)
{
    run(JOB_UPLOAD);
    timeout.last_updated_time = -1000;
    shown.elapsed_time = 3;
    EXPECT_EQ(progress_at(-1, 100, 0), 0);
    EXPECT_EQ(progress_at(-1, 100, 50), 0);
    EXPECT_EQ(timeout.last_updated_time, -1000);
    EXPECT_EQ(shown.elapsed_time, 3);
    EXPECT_EQ(shown.transferred_size, 50);
    EXPECT_EQ(handle.curl_code, 0);
}

// --- The size limit

// An earlier error is overwritten without a second log line; a cancel takes precedence over both.
TEST_F(Progress, ADownloadOfMoreThan4096BytesIsRefused)
{
    const std::tuple<double, double, bool, std::string> table[] = {
        {4096, 0, false, ""},
        {4096, 4096, false, ""},
        {5000, 0, false, ""}, // not before data arrives
        {5000, 1, true, "1 of 5000"},
        {4097, 1, true, "1 of 4097"},
        {5000, 5000, true, "5000 of 5000"},
        {0, 4096, false, ""}, // size unknown
        {0, 4097, true, "4097 of 0"},
        {4096, 4097, true, "4097 of 4096"},
        {100, 50, false, ""},
    };
    for (const auto &[total, now, refused, size] : table) {
        run(JOB_DOWNLOAD);
        handle.error = 0;
        EXPECT_EQ(progress_at(1, total, now), refused ? 1 : 0) << total << ' ' << now;
        EXPECT_EQ(handle.error, refused ? 12 : 0);
        EXPECT_EQ(timeout.timed_out, 0u);
        EXPECT_EQ(logged(),
                  refused ? lines{"error: curl_func(1569): Download file size limit exceeded. size:" + size +
                                  ", limit: 4096\n"}
                          : lines{});
    }
    handle.error = FTPCD_ERR_LOCAL_WRITE;
    EXPECT_EQ(progress_at(1, 0, 5000), 1);
    EXPECT_EQ(handle.error, 12);
    job_.record.module_info.cancel = 1;
    EXPECT_EQ(progress_at(1, 0, 5000), 1);
    EXPECT_EQ(handle.error, 1);
}

TEST_F(Progress, ARefusedSizeIsNotAlsoATimeout)
{
    run(JOB_DOWNLOAD);
    timeout.last_amount = 5000;
    EXPECT_EQ(progress_at(1000, 6000, 5000), 1);
    EXPECT_EQ(handle.error, 12);
    EXPECT_EQ(timeout.timed_out, 0u);
    logged();
}

TEST_F(Progress, AnUploadHasNoSizeLimit)
{
    run(JOB_UPLOAD);
    EXPECT_EQ(progress_at(1, 5e9, 4e9), 0);
    EXPECT_EQ(handle.error, 0);
    EXPECT_EQ(shown.total_size, 5e9);
    EXPECT_EQ(shown.transferred_size, 4e9);
}

TEST_F(Progress, SizesBeyondALongAreLoggedAsItsLimit)
{
    EXPECT_EQ(whole_number(1e30), LONG_MAX);
    EXPECT_EQ(whole_number(-1e30), LONG_MIN);
    EXPECT_EQ(whole_number(61.99), 61);
    EXPECT_EQ(whole_number(-1), -1);
    run(JOB_DOWNLOAD);
    EXPECT_EQ(progress_at(1, 1e30, 1), 1);
    EXPECT_EQ(logged(), lines{"error: curl_func(1569): Download file size limit exceeded. size:1 of " +
                              std::to_string(LONG_MAX) + ", limit: 4096\n"});
}
