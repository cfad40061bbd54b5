#include "zixi_func/progress.h"

#include "support/logged.h"

#include <climits>
#include <gtest/gtest.h>

namespace
{

constexpr int64_t BEGIN_MS = 1700000000000;

// Samples of one upload, each with the time since the one before and its log line.
struct sample_t {
    int64_t interval_ms;
    uint64_t sent;
    uint64_t total;
    const char *line;
};

void expect_lines(const std::vector<sample_t> &samples)
{
    zixif_progress_t progress = {BEGIN_MS, 0, 0};
    int64_t now_ms = BEGIN_MS;
    for (const sample_t &sample : samples) {
        now_ms += sample.interval_ms;
        zixif_progress_sample(&progress, sample.sent, sample.total, now_ms);
        EXPECT_EQ(logged(), lines{std::string("zixi_func(731): Uploaded: ") + sample.line + "\n"});
        EXPECT_EQ(progress.elapsed_ms, now_ms - BEGIN_MS);
    }
}

} // namespace

TEST(Progress, SpeedOfTheFirstSampleCountsFromTheStart)
{
    // 5 MB in a second is 40000 kbit/s; 15 MB are left, 3 s
    expect_lines({{1000, 5000000, 20000000, "25% 5MB/20MB Speed: 40.  0Mbps elapsed:0[m] / remain:0[m]"}});
    // 1 MB in a second is 8000 kbit/s; 1200 MB are left, 1200 s
    expect_lines({{1000, 1000000, 1201000000, "0% 1MB/1201MB Speed: 8.  0Mbps elapsed:0[m] / remain:20[m]"}});
    // 1 MB in two seconds is 4000 kbit/s; 2400 s
    expect_lines({{2000, 1000000, 1201000000, "0% 1MB/1201MB Speed: 4.  0Mbps elapsed:0[m] / remain:40[m]"}});
}

TEST(Progress, SpeedOfLaterSamplesCountsFromTheTotal)
{
    expect_lines({
        {1000, 5000000, 20000000, "25% 5MB/20MB Speed: 40.  0Mbps elapsed:0[m] / remain:0[m]"},
        {1000, 10000000, 20000000, "50% 10MB/20MB Speed: -80.  0Mbps elapsed:0[m] / remain:-1[m]"},
        {1000, 18765432, 20000000, "93% 18MB/20MB Speed: -9.-876Mbps elapsed:0[m] / remain:-1[m]"},
        {1000, 19999000, 20000000, "99% 19MB/20MB Speed: 0. -8Mbps elapsed:0[m] / remain:-1[m]"},
        {1000, 20000000, 20000000, "100% 20MB/20MB Speed: 0.  0Mbps elapsed:0[m] / remain:-1[m]"},
    });
}

TEST(Progress, ThousandthsArePaddedWithBlanks)
{
    expect_lines({{1000, 1000, 1000, "100% 0MB/0MB Speed: 0.  8Mbps elapsed:0[m] / remain:0[m]"}});
    expect_lines({{1000, 130000, 130000, "100% 0MB/0MB Speed: 1. 40Mbps elapsed:0[m] / remain:0[m]"}});
    expect_lines({{1000, 250125, 250125, "100% 0MB/0MB Speed: 2.  1Mbps elapsed:0[m] / remain:0[m]"}});
    expect_lines({{1000, 196875, 196875, "100% 0MB/0MB Speed: 1.575Mbps elapsed:0[m] / remain:0[m]"}});
}

TEST(Progress, NothingSentIsNoSpeedAndNoRemainingTime)
{
    expect_lines({{1000, 0, 20000000, "0% 0MB/20MB Speed: 0.  0Mbps elapsed:0[m] / remain:-1[m]"}});
    // less than a kbit/s
    expect_lines({{1000, 100, 20000000, "0% 0MB/20MB Speed: 0.  0Mbps elapsed:0[m] / remain:-1[m]"}});
}

TEST(Progress, ElapsedTimeIsToldInWholeMinutes)
{
    expect_lines({
        {59999, 0, 1000000, "0% 0MB/1MB Speed: 0.  0Mbps elapsed:0[m] / remain:-1[m]"},
        {1, 1000000, 1000000, "100% 1MB/1MB Speed: 0.  0Mbps elapsed:1[m] / remain:-1[m]"},
        {3540000, 1000000, 1000000, "100% 1MB/1MB Speed: 0.  0Mbps elapsed:60[m] / remain:-1[m]"},
    });
}

TEST(Progress, SizesAbove4GiBAreNotCut)
{
    // 4500 MB in a second is 36 000 000 kbit/s
    expect_lines({
        {1000, 4500000000, 6000000000, "75% 4500MB/6000MB Speed: 36000.  0Mbps elapsed:0[m] / remain:0[m]"},
        {1000, 5000000000, 6000000000, "83% 5000MB/6000MB Speed: -8000.  0Mbps elapsed:0[m] / remain:-1[m]"},
    });
}

TEST(Progress, ATotalOf0Shows0Percent)
{
    expect_lines({
        {1000, 0, 0, "0% 0MB/0MB Speed: 0.  0Mbps elapsed:0[m] / remain:-1[m]"},
        {1000, 5000000, 0, "0% 5MB/0MB Speed: 40.  0Mbps elapsed:0[m] / remain:0[m]"},
    });
}

TEST(Progress, AnIntervalOf0IsNoSpeed)
{
    expect_lines({{0, 5000000, 20000000, "25% 5MB/20MB Speed: 0.  0Mbps elapsed:0[m] / remain:-1[m]"}});
}

TEST(Progress, AClockSetBackGivesNegativeTimes)
{
    expect_lines({
        {1000, 5000000, 20000000, "25% 5MB/20MB Speed: 40.  0Mbps elapsed:0[m] / remain:0[m]"},
        {-121000, 20000000, 20000000, "100% 20MB/20MB Speed: 0.  0Mbps elapsed:-2[m] / remain:-1[m]"},
    });
}

// Run under UndefinedBehaviorSanitizer as well.
TEST(Progress, NoNumbersCrashIt)
{
    const uint64_t amounts[] = {0,         1,         uint64_t{1} << 58, uint64_t{1} << 60, uint64_t{1} << 61,
                                INT64_MAX, UINT64_MAX};
    size_t taken = 0;
    for (const uint64_t sent : amounts)
        for (const uint64_t total : amounts)
            for (const int64_t interval_ms : {-1000, -1, 0, 1, 1000}) {
                zixif_progress_t progress = {BEGIN_MS, 0, 0};
                zixif_progress_sample(&progress, sent, total, BEGIN_MS + interval_ms);
                zixif_progress_sample(&progress, total, sent, BEGIN_MS + 2 * interval_ms);
                taken += 2;
            }
    EXPECT_EQ(logged().size(), taken);
}
