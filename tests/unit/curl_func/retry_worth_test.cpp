#include "retry_fixture.h"

// --- How often, how long, how far apart

TEST_F(Perform, AnUploadThatKeepsStallingIsTriedFiveTimesWithDoubledLimits)
{
    script(5, stalls());
    run();
    EXPECT_EQ(wrapper_.asked_of("connect_timeout"),
              (calls{"connect_timeout(60)", "connect_timeout(120)", "connect_timeout(240)",
                     "connect_timeout(480)", "connect_timeout(960)"}));
    lines log;
    for (int retry = 1; retry <= 5; retry++) {
        log.push_back(retry_line(14, 42, retry));
        if (retry < 5)
            log.push_back(limits_line(60 << retry, 0));
    }
    EXPECT_EQ(logged(), log);
    EXPECT_EQ(handle.error, 14);
    EXPECT_EQ(handle.curl_code, 42);
    EXPECT_EQ(shown.retry_count, 4u);
}

TEST_F(Perform, ALookUpThatKeepsTimingOutDoublesItsOperationLimit)
{
    job_.record.module_info.exec = JOB_DL_FILE_INFO;
    timeout = {0, 180, -1, 0, 0, 0, 0};
    script(5, ends_with(16, 28));
    run();
    EXPECT_EQ(wrapper_.asked_of("operation_timeout"),
              (calls{"operation_timeout(180)", "operation_timeout(360)", "operation_timeout(720)",
                     "operation_timeout(1440)", "operation_timeout(2880)"}));
    EXPECT_EQ(handle.error, 16);
    EXPECT_EQ(handle.curl_code, 28);
}

TEST_F(Perform, ADownloadThatTimesOutIsNotTriedAgain)
{
    job_.record.module_info.exec = JOB_DOWNLOAD;
    timeout.timeout_retry_limit = 0;
    script(1, stalls());
    run();
    EXPECT_EQ(handle.error, 14);
    EXPECT_EQ(handle.curl_code, 42);
    EXPECT_EQ(logged(),
              (lines{retry_line(14, 42, 1), "error: curl_func(1272): Timeout retry limit reached.\n"}));
    EXPECT_EQ(file.resets, 1); // before the budget is checked
    EXPECT_EQ(file.emptied, 0);
    EXPECT_EQ(system.naps, 0);
    EXPECT_EQ(wrapper_.asked_of("copy.fresh_connect"), calls{"copy.fresh_connect(0)"});
}

TEST_F(Perform, TimeoutsUseUpTheirBudget)
{
    timeout.timeout_retry_limit = 2;
    script(3, ends_with(16, 28));
    run();
    EXPECT_EQ(timeout.timeout_retry_limit, 0);
    EXPECT_EQ(logged(),
              (lines{retry_line(16, 28, 1), limits_line(120, 0), retry_line(16, 28, 2), limits_line(240, 0),
                     retry_line(16, 28, 3), "error: curl_func(1272): Timeout retry limit reached.\n"}));
}

TEST_F(Perform, ALongTryIsRepeatedOnlyWhenItMovedNothing)
{
    const timeout_info_t none{};
    struct {
        timeout_info_t timeout; // `none`: a NULL pointer instead
        double elapsed_s;
        double moved; // -1: no progress block
        long limit_s; // that forbids the retry; 0 = allowed
    } const table[] = {
        {{60, 0, -1, 0, 0, 0, 0}, 120, 1, 0},
        {{60, 0, -1, 0, 0, 0, 0}, 120.999, 1, 0}, // whole seconds count
        {{60, 0, -1, 0, 0, 0, 0}, 121, 1, 120},
        {{60, 0, -1, 0, 0, 0, 0}, 121, 0, 0},
        {{60, 0, -1, 0, 0, 0, 0}, 1e6, 0, 0},
        {{60, 0, -1, 0, 0, 0, 0}, -1, 1, 0}, // cannot be read
        {{120, 0, -1, 0, 0, 0, 0}, 180, 1, 0},
        {{120, 0, -1, 0, 0, 0, 0}, 181, 1, 180},
        {{0, 180, -1, 0, 0, 0, 0}, 420, 1, 0},
        {{0, 180, -1, 0, 0, 0, 0}, 421, 1, 420},
        {{0, 180, -1, 0, 0, 0, 0}, 421, 0, 0},
        {{60, 60, -1, 0, 0, 0, 0}, 121, 1, 120}, // not below: the connection limit counts
        {{60, 61, -1, 0, 0, 0, 0}, 182, 1, 0},
        {{60, 61, -1, 0, 0, 0, 0}, 183, 1, 182},
        {{0, 0, -1, 0, 0, 0, 0}, 61, 1, 60},
        {none, 121, 1, 120},
        {none, 121, -1, 120},
        {none, 120, -1, 0},
    };
    for (const auto &row : table) {
        wrapper_ = {};
        handle = {};
        timeout = row.timeout;
        shown = {};
        shown.transferred_size = row.moved;
        file.emptied = 0;
        info.timeout_info = row.timeout.timeout_retry_limit == 0 ? nullptr : &timeout;
        info.exec_info = row.moved == -1 ? nullptr : &shown;
        wrapper_.total_time_s = row.elapsed_s;
        script(1, ends_with(16, 56));
        if (row.limit_s == 0)
            script(1, ends_with(0));
        run();
        lines expected{retry_line(16, 56, 1)};
        if (row.limit_s != 0)
            expected.push_back("error: curl_func(" + std::string(row.moved == -1 ? "1242" : "1248") +
                               "): Retry is not allowed. (last elapsed time: " +
                               std::to_string(static_cast<long>(row.elapsed_s)) +
                               " > retry time limit: " + std::to_string(row.limit_s) + ")\n");
        EXPECT_EQ(logged(), expected) << row.elapsed_s;
        EXPECT_EQ(handle.error, row.limit_s == 0 ? 0 : 16);
        EXPECT_EQ(file.emptied, row.limit_s == 0 ? 1 : 0);
    }
}

TEST_F(Perform, TheSecondTryFollowsAfterFiveSecondsOnANewConnection)
{
    script(1, ends_with(16, 55));
    script(1, [this](curl_e_handle_t *) { EXPECT_EQ(shown.retry_count, 1u); });
    run();
    EXPECT_EQ(system.slept_us, 5'000'000u);
    EXPECT_EQ(wrapper_.asked,
              (calls{"copy.fresh_connect(0)", "connect_timeout(60)", "operation_timeout(0)", "perform()",
                     "copy.fresh_connect(1)", "connect_timeout(60)", "operation_timeout(0)", "perform()"}));
}

TEST_F(Perform, ACancelEndsThePauseAndTheNextTry)
{
    system.while_asleep = [this] {
        if (system.naps == 3)
            job_.record.module_info.cancel = 1;
    };
    script(1, ends_with(16, 55));
    script(1, ends_with(1, 42)); // as the progress callback ends it
    run();
    EXPECT_EQ(system.naps, 3);
    EXPECT_LE(system.longest_nap_us, 100'000u);
    EXPECT_EQ(handle.error, 1);
}

// --- The local file

TEST_F(Perform, TheLocalFileIsResetBeforeEveryRetry)
{
    script(5, ends_with(16, 56));
    run();
    EXPECT_EQ(file.resets, 4);
}

TEST_F(Perform, AResetThatFailsIsAnInternalError)
{
    info.reset = [](void *) { return -1; };
    script(1, ends_with(16, 56, 226));
    run();
    EXPECT_EQ(handle.error, 5);
    EXPECT_EQ(handle.curl_code, 0);
    EXPECT_EQ(handle.response_code, 0);
    EXPECT_EQ(logged(),
              (lines{retry_line(16, 56, 1), "error: curl_func(1258): curl_perform(): Failed to reset.\n"}));
    EXPECT_EQ(system.naps, 0);
}

TEST_F(Perform, TheFileIsNotEmptiedBeforeTheNextTryBegins)
{
    system.while_asleep = [this] { EXPECT_EQ(file.emptied, 0); };
    script(1, ends_with(16, 56));
    script(1, [this](curl_e_handle_t *) { EXPECT_EQ(file.emptied, 1); });
    run();
    EXPECT_EQ(file.emptied, 1);
}
