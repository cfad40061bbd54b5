#include "ftpctl/watch.h"

#include <gtest/gtest.h>

static ftpclient_state_t upload(int running, int64_t transferred)
{
    return {running, FTPCLIENT_UPLOAD, 0, 0, {100, transferred, 0, 0, 0, 0, 0, 0, 0}};
}

TEST(WatchPace, ShowsTheFirstStateAndThenOnlyChanges)
{
    watch_pace pace;
    EXPECT_TRUE(pace.is_due(0, {}));
    EXPECT_FALSE(pace.is_due(0.1, {}));
    EXPECT_TRUE(pace.is_due(0.2, upload(1, 0)));
    EXPECT_FALSE(pace.is_due(5, upload(1, 0)));
    EXPECT_TRUE(pace.is_due(5.1, upload(0, 0)));
}

TEST(WatchPace, ShowsProgressOnceASecond)
{
    watch_pace pace;
    EXPECT_TRUE(pace.is_due(0, upload(1, 10)));
    EXPECT_FALSE(pace.is_due(0.5, upload(1, 20)));
    EXPECT_TRUE(pace.is_due(1.0, upload(1, 30)));
    EXPECT_FALSE(pace.is_due(1.9, upload(1, 40)));
}

TEST(WatchPace, ShowsEachOtherChangeAtOnce)
{
    const auto changes = {
        +[](ftpclient_state_t &state) { state.job = FTPCLIENT_DOWNLOAD; },
        +[](ftpclient_state_t &state) { state.result = 16; },
        +[](ftpclient_state_t &state) { state.cancelled = 1; },
        +[](ftpclient_state_t &state) { state.progress.curl_code = 28; },
        +[](ftpclient_state_t &state) { state.progress.response_type = 1; },
        +[](ftpclient_state_t &state) { state.progress.response_code = 426; },
        +[](ftpclient_state_t &state) { state.progress.retries = 1; },
    };
    int number = 0;
    for (const auto &change : changes) {
        watch_pace pace;
        ftpclient_state_t state = upload(1, 10);
        EXPECT_TRUE(pace.is_due(0, state));
        change(state);
        EXPECT_TRUE(pace.is_due(0.1, state)) << "change " << number++;
    }
}

TEST(WatchPace, IgnoresElapsedTimeAndUnsetValues)
{
    watch_pace pace;
    ftpclient_state_t state = upload(1, 10);
    EXPECT_TRUE(pace.is_due(0, state));
    state.progress.elapsed_ms = 9000;
    state.progress.zixi_error = 7;
    state.progress.unused = 7;
    EXPECT_FALSE(pace.is_due(9, state));
}
