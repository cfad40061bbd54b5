// How a failing test looks. By itself it passes: tests/unit/CMakeLists.txt makes it fail.
#include <cstdlib>
#include <gtest/gtest.h>

TEST(Repeat, FailsOnPurpose) { EXPECT_EQ(getenv("FAIL_ON_PURPOSE"), nullptr); }
