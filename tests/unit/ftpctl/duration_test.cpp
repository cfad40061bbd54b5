#include "ftpctl/deadline.h"
#include "ftpctl/duration.h"

#include <climits>
#include <gtest/gtest.h>

using std::chrono::milliseconds;

TEST(Duration, IsSecondsOrHasAUnit)
{
    const std::pair<const char *, int64_t> cases[] = {
        {"90", 90000},  {"1.5", 1500},  {"0", 0},        {"0.3", 300},      {".5", 500},       {"500ms", 500},
        {"90s", 90000}, {"5m", 300000}, {"1h", 3600000}, {"2d", 172800000}, {"1.5h", 5400000}, {"0s", 0}};
    for (const auto &[text, length_ms] : cases)
        EXPECT_EQ(duration_parse(text), milliseconds(length_ms)) << text;
}

TEST(Duration, RejectsEverythingElse)
{
    for (const char *text :
         {"", "x", "-1", "+1", "5 m", "5M", "m", "1h30m", "1e9", "inf", "nan", "0x10", "5ms "})
        EXPECT_EQ(duration_parse(text), std::nullopt) << text;
}

TEST(Duration, LongerThanTenYearsIsTenYears)
{
    EXPECT_EQ(duration_parse("9999999999999999d"), std::chrono::hours(24 * 3650));
}

TEST(Duration, IsWrittenShort)
{
    const std::pair<int64_t, const char *> cases[] = {{0, "0s"},       {500, "500ms"},   {1500, "1500ms"},
                                                      {1000, "1s"},    {90000, "90s"},   {600000, "10m"},
                                                      {3600000, "1h"}, {86400000, "1d"}, {5400000, "90m"}};
    for (const auto &[length_ms, text] : cases)
        EXPECT_EQ(duration_text(milliseconds(length_ms)), text);
}

TEST(Deadline, WithoutALimitNeverPasses)
{
    const deadline_t deadline(std::nullopt);
    EXPECT_FALSE(deadline.passed());
    EXPECT_EQ(deadline.poll_ms(), -1);
}

TEST(Deadline, CountsDownToZero)
{
    const deadline_t later(std::chrono::hours(1));
    EXPECT_FALSE(later.passed());
    EXPECT_GT(later.poll_ms(), 3599000);
    EXPECT_LE(later.poll_ms(), 3600000);
    const deadline_t past(milliseconds(0));
    EXPECT_TRUE(past.passed());
    EXPECT_EQ(past.poll_ms(), 0);
}

TEST(Deadline, HoldsTheLongestLimit)
{
    const deadline_t deadline(milliseconds::max());
    EXPECT_FALSE(deadline.passed());
    EXPECT_EQ(deadline.poll_ms(), INT_MAX);
}
