#include "tools/watch.h"

#include "fake_daemon.h"

#include <gmock/gmock.h>

TEST(WatchPace, ShowsTheFirstStateAndThenOnlyChanges)
{
    watch_pace pace;
    EXPECT_TRUE(pace.is_due(0, idle()));
    EXPECT_FALSE(pace.is_due(0.1, idle()));
    EXPECT_TRUE(pace.is_due(0.2, running(2, 100, 0)));
    EXPECT_FALSE(pace.is_due(5, running(2, 100, 0)));
    EXPECT_TRUE(pace.is_due(5.1, ended(2, 0, 100, 0)));
}

TEST(WatchPace, ShowsProgressOnceASecond)
{
    watch_pace pace;
    EXPECT_TRUE(pace.is_due(0, running(2, 100, 10)));
    EXPECT_FALSE(pace.is_due(0.5, running(2, 100, 20)));
    EXPECT_TRUE(pace.is_due(1.0, running(2, 100, 30)));
    EXPECT_FALSE(pace.is_due(1.9, running(2, 100, 40)));
}

TEST(WatchPace, ShowsARetryAtOnce)
{
    watch_pace pace;
    state_reply_t state = running(2, 100, 10);
    EXPECT_TRUE(pace.is_due(0, state));
    state.exec_info.retry_count = 1;
    EXPECT_TRUE(pace.is_due(0.1, state));
}

TEST(WatchPace, IgnoresElapsedTimeAndWhatIsNotSet)
{
    watch_pace pace;
    state_reply_t state = running(2, 100, 10);
    EXPECT_TRUE(pace.is_due(0, state));
    state.exec_info.elapsed_time = 9;
    state.exec_info.zixi_error = 7;
    state.exec_info.unused = 7;
    EXPECT_FALSE(pace.is_due(9, state));
}
