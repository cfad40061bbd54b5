// What the support library does for every unit test. Tests whose names end in OnPurpose fail when
// tests/unit/CMakeLists.txt says so.
#include "support/logged.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <syslog.h>

TEST(Repeat, FailsOnPurpose) { EXPECT_EQ(getenv("FAIL_ON_PURPOSE"), nullptr); }

TEST(Logged, LeavesALineOnPurpose)
{
    syslog(LOG_ERR, "error: left");
    if (getenv("LEAVE_A_LINE") == nullptr) {
        EXPECT_EQ(logged(), lines{"error: left"});
    }
}

TEST(Logged, ALineOfAnUnexpectedPriorityHasThatInFront)
{
    syslog(LOG_INFO, "error: x");
    syslog(LOG_ERR, "y");
    EXPECT_EQ(logged(), (lines{"priority 6: error: x", "priority 3: y"}));
}
