// Shows the output of a failing test. It passes unless tests/unit/CMakeLists.txt makes it fail.
#include <cstdlib>
#include <gtest/gtest.h>

TEST(Repeat, FailsOnPurpose) { EXPECT_EQ(getenv("FAIL_ON_PURPOSE"), nullptr); }
