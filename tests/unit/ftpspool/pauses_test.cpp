#include "ftpspool/pauses.h"

#include <gtest/gtest.h>

TEST(Pauses, DoubleWithEachFailureUpToTheLongest)
{
    pauses_t pauses(5000, 60000, [] { return 0.0; });
    for (const int64_t length : {5000, 10000, 20000, 40000, 60000, 60000})
        EXPECT_EQ(pauses.failed(1, 0), length);
    pauses_t years(315360000000, 315360000000, [] { return 0.0; });
    for (int i = 0; i < 200; i++)
        EXPECT_EQ(years.failed(1, 0), 315360000000);
}

TEST(Pauses, AreShortenedByUpToHalf)
{
    double random = 1;
    pauses_t pauses(5000, 60000, [&] { return random; });
    EXPECT_EQ(pauses.failed(1, 0), 2500);
    random = 0.5;
    EXPECT_EQ(pauses.failed(1, 0), 7500); // of 10000, not of twice what was left
}

TEST(Pauses, BelongToOneServerAndEndWithASuccess)
{
    pauses_t pauses(5000, 60000, [] { return 0.0; });
    EXPECT_EQ(pauses.end_ms(1), 0);
    pauses.failed(1, 100);
    pauses.failed(1, 7000);
    EXPECT_EQ(pauses.end_ms(1), 17000);
    EXPECT_EQ(pauses.end_ms(2), 0);
    pauses.succeeded(1);
    EXPECT_EQ(pauses.end_ms(1), 0);
    EXPECT_EQ(pauses.failed(1, 0), 5000);
}
