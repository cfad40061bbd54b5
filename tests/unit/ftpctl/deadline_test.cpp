#include "ftpctl/deadline.h"

#include <climits>
#include <gmock/gmock.h>

using namespace std::chrono_literals;

TEST(Deadline, WithoutALimitNeverPasses)
{
    const deadline_t deadline(std::nullopt);
    EXPECT_FALSE(deadline.passed());
    EXPECT_EQ(deadline.poll_ms(), -1);
}

TEST(Deadline, CountsDownToZero)
{
    const deadline_t later(1h);
    EXPECT_FALSE(later.passed());
    EXPECT_GT(later.poll_ms(), 3599000);
    EXPECT_LE(later.poll_ms(), 3600000);
    const deadline_t past(0ms);
    EXPECT_TRUE(past.passed());
    EXPECT_EQ(past.poll_ms(), 0);
}

TEST(Deadline, HoldsTheLongestLimit)
{
    const deadline_t deadline(std::chrono::milliseconds::max());
    EXPECT_FALSE(deadline.passed());
    EXPECT_EQ(deadline.poll_ms(), INT_MAX);
}
