#include "retry_fixture.h"

#include <cerrno>

TEST_F(Perform, WithoutItsArgumentItFails)
{
    curl_perform(&handle, nullptr);
    EXPECT_EQ(handle.error, 5);
    EXPECT_EQ(logged(), lines{"error: curl_func(1207): perform_info_t has not been set.\n"});
    EXPECT_EQ(wrapper_.asked, calls{});
}

TEST_F(Perform, ATransferThatEndsWellIsTriedOnce)
{
    timeout = {60, 180, 0, 0, 44, 1, 77};
    script(1, [this](curl_e_handle_t *) {
        EXPECT_EQ(timeout.last_updated_time, 0);
        EXPECT_EQ(timeout.timed_out, 0u);
        EXPECT_EQ(timeout.last_amount, 0);
    });
    run();
    EXPECT_EQ(handle.error, 0);
    EXPECT_EQ(wrapper_.asked,
              (calls{"copy.fresh_connect(0)", "connect_timeout(60)", "operation_timeout(180)", "perform()"}));
    EXPECT_EQ(shown.retry_count, 0u);
    EXPECT_EQ(system.naps, 0);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Perform, WithoutLimitsSetsNone)
{
    info.timeout_info = nullptr;
    info.exec_info = nullptr;
    script(1, ends_with(0));
    run();
    EXPECT_EQ(wrapper_.asked,
              (calls{"copy.fresh_connect(0)", "connect_timeout(0)", "operation_timeout(0)", "perform()"}));
}

TEST_F(Perform, ARefusedLimitEndsItBeforeTheTransfer)
{
    const calls asked{"copy.fresh_connect(0)", "connect_timeout(60)", "operation_timeout(0)"};
    for (const ptrdiff_t last : {1, 2}) {
        wrapper_ = {};
        handle = {};
        wrapper_.refused = last == 1 ? "connect_timeout" : "operation_timeout";
        run();
        EXPECT_EQ(handle.error, 5);
        EXPECT_EQ(wrapper_.asked, calls(asked.begin(), asked.begin() + last + 1));
    }
}

TEST_F(Perform, ARefusedFreshConnectionOptionIsIgnored)
{
    wrapper_.refused = "copy.fresh_connect";
    script(1, ends_with(16, 56));
    script(1, ends_with(0));
    run();
    EXPECT_EQ(handle.error, 0);
}

// --- Which failure is worth another try

TEST_F(Perform, OnlyTimeoutsBrokenDataConnectionsAndAProxys417AreTriedAgain)
{
    struct {
        int32_t error;
        int32_t curl_code;
        int32_t response_code;
        bool timed_out; // the progress callback found inactivity
        bool again;
    } const table[] = {
        {16, 55, 0, false, true},   {16, 56, 0, false, true},    {14, 55, 0, false, true},
        {14, 56, 0, true, true},    {16, 28, 0, false, true},    {14, 28, 0, false, true},
        {14, 28, 421, true, true},  {14, 42, 0, true, true},     {16, 42, 0, true, true},
        {16, 42, 0, false, false},  {14, 42, 0, false, false},   {1, 42, 0, true, false}, // cancelled
        {1, 42, 0, false, false},   {1, 56, 0, false, false},    {1, 28, 0, false, false},
        {12, 42, 0, false, false}, // too large
        {9, 23, 0, false, false},   {10, 42, 0, false, false},   {5, 55, 0, false, false},
        {6, 56, 0, false, false},   {7, 28, 0, false, false},    {15, 28, 0, false, false},
        {21, 60, 0, false, false},  {22, 60, 0, false, false},   {16, 22, 417, false, true},
        {14, 22, 417, false, true}, {16, 22, 404, false, false}, {16, 22, 0, false, false},
        {16, 0, 417, false, false}, {16, 0, 550, false, false},  {16, 2, 0, false, false},
        {16, 6, 0, false, false},   {16, 7, 0, false, false},    {16, 9, 0, false, false},
        {16, 12, 0, false, false},  {16, 18, 0, false, false},   {16, 23, 0, false, false},
        {16, 25, 0, false, false},  {16, 35, 0, false, false},   {16, 52, 0, false, false},
        {16, 60, 0, false, false},  {16, 67, 530, false, false}, {16, 78, 550, false, false},
        {16, 79, 0, false, false},
    };
    for (const auto &row : table) {
        wrapper_ = {};
        handle = {};
        const bool is_timeout = row.timed_out || row.curl_code == 28;
        timeout = {60, 0, is_timeout ? ANY_NUMBER : 0, 0, 0, 0, 0};
        wrapper_.tries.push_back([&](curl_e_handle_t *h) {
            timeout.timed_out = row.timed_out ? 1 : 0;
            ends_with(row.error, row.curl_code, row.response_code)(h);
        });
        if (row.again)
            wrapper_.tries.push_back(ends_with(0));
        run();
        const std::string label = std::to_string(row.error) + '/' + std::to_string(row.curl_code);
        EXPECT_EQ(handle.error, row.again ? 0 : row.error) << label;
        EXPECT_EQ(handle.curl_code, row.again ? 0 : row.curl_code) << label;
        EXPECT_EQ(shown.retry_count, row.again ? 1u : 0u) << label;
        lines log;
        if (row.again)
            log.push_back(retry_line(row.error, row.curl_code, 1));
        if (row.again && is_timeout)
            log.push_back(limits_line(120, 0));
        EXPECT_EQ(logged(), log) << label;
        EXPECT_EQ(timeout.connection_limit, row.again && is_timeout ? 120 : 60) << label;
    }
}

TEST_F(Perform, WithoutLimitsATimeoutIsTriedAgainAndAnAbortIsNot)
{
    info.timeout_info = nullptr;
    script(1, ends_with(16, 28));
    script(1, ends_with(14, 42));
    run();
    EXPECT_EQ(handle.error, 14);
    EXPECT_EQ(logged(), lines{retry_line(16, 28, 1)});
}

TEST_F(Perform, EveryProxy417IsTriedAgainWithHttp10)
{
    script(2, ends_with(16, 22, 417));
    script(1, ends_with(0));
    run();
    EXPECT_EQ(wrapper_.asked_of("copy.http_version"),
              (calls{"copy.http_version(1)", "copy.http_version(1)"}));
    EXPECT_EQ(wrapper_.asked_of("http_version"), calls{});
    EXPECT_EQ(logged(), (lines{retry_line(16, 22, 1), retry_line(16, 22, 2)}));
}

TEST_F(Perform, AProxy417IsTheFailureWhenHttp10IsRefused)
{
    wrapper_.refused = "copy.http_version";
    script(1, ends_with(16, 22, 417));
    run();
    EXPECT_EQ(handle.error, 16);
    EXPECT_EQ(handle.curl_code, 22);
    EXPECT_EQ(logged(), lines{});
}

// --- Completeness

TEST_F(Perform, ATransferShorterThanAnnouncedFails)
{
    struct {
        uint32_t kind;
        double downloaded;
        double uploaded;
        double total;
        int32_t error;
        double transferred; // stored afterwards; 7 before
    } const table[] = {
        {JOB_DOWNLOAD, 100, 0, 100, 0, 100}, {JOB_DOWNLOAD, 99, 500, 100, 16, 7},
        {JOB_DOWNLOAD, 150, 0, 100, 0, 150}, {JOB_DOWNLOAD, 50, 0, 0, 0, 50},  // no size announced
        {JOB_DOWNLOAD, 0, 0, 0, 0, 0},       {JOB_DOWNLOAD, -1, 0, 100, 0, 7}, // cannot be read
        {JOB_UPLOAD, 0, 100, 100, 0, 100},   {JOB_UPLOAD, 500, 99, 100, 16, 7},
        {JOB_UPLOAD, 0, -1, 100, 0, 7},      {JOB_DL_FILE_INFO, 0, 0, 100, 0, 7},
        {JOB_NONE, 0, 0, 100, 0, 7},
    };
    for (const auto &row : table) {
        wrapper_ = {};
        handle = {};
        shown.total_size = row.total;
        shown.transferred_size = 7;
        job_.record.module_info.exec = row.kind;
        wrapper_.size_download = row.downloaded;
        wrapper_.size_upload = row.uploaded;
        script(1, ends_with(0, 0, 226));
        run();
        EXPECT_EQ(handle.error, row.error) << row.kind << ' ' << row.total;
        EXPECT_EQ(handle.curl_code, row.error == 0 ? 0 : 18);
        EXPECT_EQ(handle.response_code, 226);
        EXPECT_EQ(shown.transferred_size, row.transferred) << row.kind << ' ' << row.total;
    }
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Perform, AFailedTransferIsNotComparedWithItsSize)
{
    shown.total_size = 100;
    shown.transferred_size = 7;
    wrapper_.size_upload = 100;
    script(1, ends_with(16, 7));
    run();
    EXPECT_EQ(handle.curl_code, 7);
    EXPECT_EQ(shown.transferred_size, 7);
}

TEST_F(Perform, WithoutAProgressBlockNoSizesAreCompared)
{
    info.exec_info = nullptr;
    wrapper_.size_upload = 1;
    script(1, ends_with(0));
    run();
    EXPECT_EQ(handle.error, 0);
}
