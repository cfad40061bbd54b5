#include "ftpctl/progress_text.h"

#include <gmock/gmock.h>

namespace
{

ftpclient_progress_t at(int64_t total, int64_t transferred, int32_t retries = 0)
{
    return {total, transferred, 0, 0, 0, 0, 0, retries, 0};
}

} // namespace

TEST(ProgressLine, ShowsWhatIsKnown)
{
    const std::tuple<ftpclient_progress_t, double, const char *> cases[] = {
        {at(0, 0), 0, "0 B"},
        {at(0, 1500), 500, "1.5 kB, 500 B/s"},
        {at(1000, 0), 0, "0 %, 0 B of 1.0 kB"},
        {at(5000000000, 2250000000), 98.1e6, "45 %, 2.2 GB of 5.0 GB, 98.1 MB/s, 0:28 left"},
        {at(5368709120, 4294967296), 1e6, "80 %, 4.3 GB of 5.4 GB, 1.0 MB/s, 17:54 left"},
        {at(4096, 4096), 4096, "100 %, 4.1 kB of 4.1 kB, 4.1 kB/s"},
        {at(1000, 999), 0, "99 %, 999 B of 1.0 kB"},
        {at(1000, 500, 2), 0, "50 %, 500 B of 1.0 kB, retry 2"},
        {at(100, 200), 0, "100 %, 200 B of 100 B"},
    };
    for (const auto &[progress, rate, line] : cases)
        EXPECT_EQ(progress_line(progress, rate), line);
}

TEST(ProgressBar, FillsWithThePercentage)
{
    EXPECT_EQ(progress_bar(at(1000, 500), 0, 200),
              "[####################....................] 50 %, 500 B of 1.0 kB");
    EXPECT_EQ(progress_bar(at(1000, 1000), 0, 200),
              "[########################################] 100 %, 1.0 kB of 1.0 kB");
    EXPECT_EQ(progress_bar(at(1000, 999), 0, 200),
              "[#######################################.] 99 %, 999 B of 1.0 kB");
    EXPECT_EQ(progress_bar(at(0, 0), 0, 200), "[........................................] 0 B");
}

TEST(ProgressBar, IsNeverWiderThanTheTerminal)
{
    for (size_t width = 0; width < 120; width++)
        EXPECT_LE(progress_bar(at(5000000000, 2250000000), 98.1e6, width).size(), width);
    EXPECT_EQ(progress_bar(at(1000, 500), 0, 34), "[#####.....] 50 %, 500 B of 1.0 kB");
    EXPECT_EQ(progress_bar(at(1000, 500), 0, 33), "50 %, 500 B of 1.0 kB");
    EXPECT_EQ(progress_bar(at(1000, 500), 0, 4), "50 %");
}

TEST(RateMeter, IsTheAverageOfTheLastSeconds)
{
    rate_meter rate;
    EXPECT_EQ(rate.bytes_per_s(), 0);
    rate.sample(10, 0);
    EXPECT_EQ(rate.bytes_per_s(), 0);
    rate.sample(11, 1000);
    EXPECT_EQ(rate.bytes_per_s(), 1000);
    rate.sample(12, 4000);
    EXPECT_EQ(rate.bytes_per_s(), 2000);
    for (int second = 13; second <= 30; second++)
        rate.sample(second, 4000);
    EXPECT_EQ(rate.bytes_per_s(), 0) << "old samples do not count";
}

TEST(RateMeter, RestartsWithEachTry)
{
    rate_meter rate;
    rate.sample(10, 0);
    rate.sample(11, 5000);
    rate.sample(12, 100);
    EXPECT_EQ(rate.bytes_per_s(), 0);
    rate.sample(13, 300);
    EXPECT_EQ(rate.bytes_per_s(), 200);
}

TEST(RateMeter, TwoSamplesAtTheSameTimeGiveNoRate)
{
    rate_meter rate;
    rate.sample(10, 0);
    rate.sample(10, 100);
    EXPECT_EQ(rate.bytes_per_s(), 0);
}

TEST(LinePace, AFastJobGetsOneLinePerSecond)
{
    line_pace pace;
    EXPECT_FALSE(pace.is_due(100.0, at(1000, 500))) << "not in the first second";
    EXPECT_FALSE(pace.is_due(100.9, at(1000, 600)));
    EXPECT_TRUE(pace.is_due(101.0, at(1000, 700)));
    EXPECT_FALSE(pace.is_due(101.5, at(1000, 900)));
    EXPECT_TRUE(pace.is_due(102.0, at(1000, 1000)));
}

TEST(LinePace, ASlowJobGetsALineForEveryTenPercent)
{
    line_pace pace;
    EXPECT_FALSE(pace.is_due(100, at(1000, 0)));
    EXPECT_FALSE(pace.is_due(200, at(1000, 99)));
    EXPECT_TRUE(pace.is_due(300, at(1000, 100)));
    EXPECT_FALSE(pace.is_due(400, at(1000, 199)));
    EXPECT_TRUE(pace.is_due(500, at(1000, 205)));
    EXPECT_FALSE(pace.is_due(600, at(1000, 299)));
}

TEST(LinePace, AJobOfUnknownSizeGetsOneLinePerSecondWhileItMoves)
{
    line_pace pace;
    EXPECT_FALSE(pace.is_due(100.0, at(0, 0)));
    EXPECT_FALSE(pace.is_due(101.5, at(0, 0)));
    EXPECT_TRUE(pace.is_due(102.0, at(0, 10)));
    EXPECT_FALSE(pace.is_due(102.5, at(0, 20)));
    EXPECT_TRUE(pace.is_due(103.0, at(0, 20)));
    EXPECT_FALSE(pace.is_due(109.0, at(0, 20)));
}

TEST(LinePace, ANewTryCountsFromZero)
{
    line_pace pace;
    EXPECT_FALSE(pace.is_due(100, at(1000, 0)));
    EXPECT_TRUE(pace.is_due(102, at(1000, 900)));
    EXPECT_FALSE(pace.is_due(104, at(1000, 0)));
    EXPECT_TRUE(pace.is_due(106, at(1000, 100)));
}
