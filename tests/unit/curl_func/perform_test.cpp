#include "curl_func/perform.h"

#include "curl_func/callbacks.h"
#include "job_fixture.h"

#include <cerrno>

class Perform : public JobFixture
{
protected:
    Perform() { curlf_info_.module_info.exec = JOB_UPLOAD; }

    // Runs the tries that were scripted; all of them must be made.
    void run()
    {
        const int scripted = static_cast<int>(wrapper_.tries.size());
        curl_perform(&handle, &info);
        EXPECT_EQ(wrapper_.performed, scripted);
    }

    void script(int count, const std::function<void(curl_e_handle_t *)> &play)
    {
        for (int i = 0; i < count; i++)
            wrapper_.tries.push_back(play);
    }

    // A try that the progress callback ends for inactivity.
    std::function<void(curl_e_handle_t *)> stalls()
    {
        return [this](curl_e_handle_t *h) {
            timeout.timed_out = 1;
            ends_with(14, 42)(h);
        };
    }

    static int count_reset(void *arg)
    {
        ++*static_cast<int *>(arg);
        return 0;
    }

    curl_e_handle_t handle{};
    exec_info_t &shown = curlf_info_.exec_info;
    timeout_info_t timeout{60, 0, -1, 0, 0, 0, 0};
    perform_info_t info{&timeout, &curlf_info_.exec_info, &curlf_info_, nullptr, nullptr, nullptr};
};

static std::string retry_line(int error, int curl_code, int retry)
{
    return "error: curl_func(1364): curl_perform(" + std::to_string(error) + ", " +
           std::to_string(curl_code) + ") ... retry(" + std::to_string(retry) + ")\n";
}

static std::string limits_line(int connection, int operation)
{
    return "curl_func(1283): [connection_limit] " + std::to_string(connection) + ", [operation_limit] " +
           std::to_string(operation) + "\n";
}

TEST_F(Perform, WithoutInstructionsItFails)
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

TEST_F(Perform, WithoutLimitsNoneAreSet)
{
    info.timeout_info = nullptr;
    info.exec_info = nullptr;
    script(1, ends_with(0));
    run();
    EXPECT_EQ(wrapper_.asked,
              (calls{"copy.fresh_connect(0)", "connect_timeout(0)", "operation_timeout(0)", "perform()"}));
}

TEST_F(Perform, ALimitThatIsRefusedEndsItBeforeTheTransfer)
{
    wrapper_.refused = "connect_timeout";
    run();
    EXPECT_EQ(handle.error, 5);
    EXPECT_EQ(wrapper_.asked, (calls{"copy.fresh_connect(0)", "connect_timeout(60)"}));

    wrapper_ = {};
    handle = {};
    wrapper_.refused = "operation_timeout";
    run();
    EXPECT_EQ(handle.error, 5);
    EXPECT_EQ(wrapper_.asked,
              (calls{"copy.fresh_connect(0)", "connect_timeout(60)", "operation_timeout(0)"}));
}

TEST_F(Perform, AFreshConnectionThatIsRefusedIsNoFailureOfTheTransfer)
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
        timeout = {60, 0, -1, 0, 0, 0, 0};
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
        const lines log = logged();
        if (row.again)
            EXPECT_THAT(log, testing::Contains(retry_line(row.error, row.curl_code, 1)));
        else
            EXPECT_EQ(log, lines{}) << label;
    }
}

TEST_F(Perform, AnAbortWithoutLimitsIsNotTriedAgain)
{
    info.timeout_info = nullptr;
    script(1, ends_with(14, 42));
    run();
    EXPECT_EQ(handle.error, 14);
}

TEST_F(Perform, ATimeoutWithoutLimitsIs)
{
    info.timeout_info = nullptr;
    script(1, ends_with(16, 28));
    script(1, ends_with(0));
    run();
    EXPECT_EQ(logged(), lines{retry_line(16, 28, 1)});
}

TEST_F(Perform, LibcurlsOwnTimeoutCountsAsOne)
{
    script(1, ends_with(16, 28));
    script(1, ends_with(0));
    run();
    EXPECT_EQ(logged(), (lines{retry_line(16, 28, 1), limits_line(120, 0)}));
    EXPECT_EQ(wrapper_.asked_of("connect_timeout"), (calls{"connect_timeout(60)", "connect_timeout(120)"}));
}

TEST_F(Perform, ABrokenDataConnectionLeavesTheLimitsAsTheyAre)
{
    timeout.timeout_retry_limit = 0;
    script(1, ends_with(16, 56));
    script(1, ends_with(0));
    run();
    EXPECT_EQ(logged(), lines{retry_line(16, 56, 1)});
    EXPECT_EQ(wrapper_.asked_of("connect_timeout"), (calls{"connect_timeout(60)", "connect_timeout(60)"}));
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

TEST_F(Perform, AProxy417StaysWhenHttp10IsRefused)
{
    wrapper_.refused = "copy.http_version";
    script(1, ends_with(16, 22, 417));
    run();
    EXPECT_EQ(handle.error, 16);
    EXPECT_EQ(handle.curl_code, 22);
    EXPECT_EQ(logged(), lines{});
}

// --- How often, how long, how far apart

TEST_F(Perform, AnUploadThatKeepsStallingIsTriedFiveTimesWithDoubledLimits)
{
    script(5, stalls());
    run();
    EXPECT_EQ(wrapper_.asked_of("connect_timeout"),
              (calls{"connect_timeout(60)", "connect_timeout(120)", "connect_timeout(240)",
                     "connect_timeout(480)", "connect_timeout(960)"}));
    EXPECT_EQ(logged(), (lines{retry_line(14, 42, 1), limits_line(120, 0), retry_line(14, 42, 2),
                               limits_line(240, 0), retry_line(14, 42, 3), limits_line(480, 0),
                               retry_line(14, 42, 4), limits_line(960, 0), retry_line(14, 42, 5)}));
    EXPECT_EQ(handle.error, 14);
    EXPECT_EQ(handle.curl_code, 42);
    EXPECT_EQ(shown.retry_count, 4u);
}

TEST_F(Perform, ALookUpThatKeepsTimingOutDoublesItsOperationLimit)
{
    curlf_info_.module_info.exec = JOB_DL_FILE_INFO;
    timeout = {0, 180, -1, 0, 0, 0, 0};
    script(5, ends_with(16, 28));
    run();
    EXPECT_EQ(wrapper_.asked_of("operation_timeout"),
              (calls{"operation_timeout(180)", "operation_timeout(360)", "operation_timeout(720)",
                     "operation_timeout(1440)", "operation_timeout(2880)"}));
    EXPECT_EQ(handle.error, 16);
    EXPECT_EQ(handle.curl_code, 28);
}

TEST_F(Perform, LinesAboutRetriesAreErrorsTheNewLimitsAreNot)
{
    script(1, stalls());
    script(1, ends_with(0));
    run();
    EXPECT_EQ(logged_with_priority(),
              (std::vector<log_line>{{3, retry_line(14, 42, 1)}, {6, limits_line(120, 0)}}));
}

TEST_F(Perform, ADownloadThatTimesOutIsNotTriedAgain)
{
    curlf_info_.module_info.exec = JOB_DOWNLOAD;
    timeout.timeout_retry_limit = 0;
    script(1, stalls());
    run();
    EXPECT_EQ(handle.error, 14);
    EXPECT_EQ(handle.curl_code, 42);
    EXPECT_EQ(logged(),
              (lines{retry_line(14, 42, 1), "error: curl_func(1272): Timeout retry limit reached.\n"}));
    EXPECT_EQ(system.naps, 0);
    EXPECT_EQ(wrapper_.asked_of("copy.fresh_connect"), calls{"copy.fresh_connect(0)"});
}

TEST_F(Perform, ABudgetOfTimeoutsIsUsedUp)
{
    timeout.timeout_retry_limit = 2;
    script(3, ends_with(16, 28));
    run();
    EXPECT_EQ(timeout.timeout_retry_limit, 0);
    EXPECT_EQ(logged(),
              (lines{retry_line(16, 28, 1), limits_line(120, 0), retry_line(16, 28, 2), limits_line(240, 0),
                     retry_line(16, 28, 3), "error: curl_func(1272): Timeout retry limit reached.\n"}));
}

TEST_F(Perform, ALongTryIsTriedAgainOnlyWhenItMovedNothing)
{
    struct {
        timeout_info_t timeout;
        double elapsed_s;
        double moved;
        long limit_s; // not allowed because of it, 0 = allowed
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
        {{60, 60, -1, 0, 0, 0, 0}, 121, 1, 120}, // not below: the connection limit rules
        {{60, 61, -1, 0, 0, 0, 0}, 182, 1, 0},
        {{60, 61, -1, 0, 0, 0, 0}, 183, 1, 182},
        {{0, 0, -1, 0, 0, 0, 0}, 61, 1, 60},
    };
    for (const auto &row : table) {
        wrapper_ = {};
        handle = {};
        timeout = row.timeout;
        shown = {};
        shown.transferred_size = row.moved;
        wrapper_.total_time_s = row.elapsed_s;
        script(1, ends_with(16, 56));
        if (row.limit_s == 0)
            script(1, ends_with(0));
        run();
        lines expected{retry_line(16, 56, 1)};
        if (row.limit_s != 0)
            expected.push_back("error: curl_func(1248): Retry is not allowed. (last elapsed time: " +
                               std::to_string(static_cast<long>(row.elapsed_s)) +
                               " > retry time limit: " + std::to_string(row.limit_s) + ")\n");
        EXPECT_EQ(logged(), expected) << row.elapsed_s;
        EXPECT_EQ(handle.error, row.limit_s == 0 ? 0 : 16);
    }
}

TEST_F(Perform, WithoutSizesALongTryIsNotTriedAgain)
{
    info.timeout_info = nullptr;
    info.exec_info = nullptr;
    wrapper_.total_time_s = 121;
    script(1, ends_with(16, 56));
    run();
    EXPECT_EQ(logged(),
              (lines{retry_line(16, 56, 1), "error: curl_func(1242): Retry is not allowed. (last elapsed "
                                            "time: 121 > retry time limit: 120)\n"}));
    EXPECT_EQ(handle.error, 16);

    wrapper_ = {};
    handle = {};
    wrapper_.total_time_s = 120;
    script(1, ends_with(16, 56));
    script(1, ends_with(0));
    run();
    EXPECT_EQ(logged(), lines{retry_line(16, 56, 1)});
}

TEST_F(Perform, WithoutLimitsTheRetryTimeIsTwoMinutes)
{
    info.timeout_info = nullptr;
    shown.transferred_size = 1;
    wrapper_.total_time_s = 121;
    script(1, ends_with(16, 56));
    run();
    EXPECT_EQ(logged(),
              (lines{retry_line(16, 56, 1), "error: curl_func(1248): Retry is not allowed. (last elapsed "
                                            "time: 121 > retry time limit: 120)\n"}));
}

TEST_F(Perform, FiveSecondsLieBetweenTwoTriesAndTheSecondConnectsAfresh)
{
    script(1, ends_with(16, 55));
    script(1, [this](curl_e_handle_t *) { EXPECT_EQ(shown.retry_count, 1u); });
    run();
    EXPECT_EQ(system.slept_us, 5'000'000u);
    EXPECT_EQ(wrapper_.asked,
              (calls{"copy.fresh_connect(0)", "connect_timeout(60)", "operation_timeout(0)", "perform()",
                     "copy.fresh_connect(1)", "connect_timeout(60)", "operation_timeout(0)", "perform()"}));
}

TEST_F(Perform, ACancelDuringThePauseEndsItAndTheNextTryMeetsIt)
{
    system.while_asleep = [this] {
        if (system.naps == 3)
            curlf_info_.module_info.cancel = 1;
    };
    script(1, ends_with(16, 55));
    script(1, ends_with(1, 42)); // as the progress callback sees to it
    run();
    EXPECT_EQ(system.naps, 3);
    EXPECT_LE(system.longest_nap_us, 100'000u);
    EXPECT_EQ(handle.error, 1);
}

// --- The local file

TEST_F(Perform, TheLocalFileIsResetBeforeEveryRetry)
{
    int resets = 0;
    info.reset = count_reset;
    info.reset_arg = &resets;
    script(5, ends_with(16, 56));
    run();
    EXPECT_EQ(resets, 4);
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

TEST_F(Perform, AFileIsResetBeforeTheBudgetOfTimeoutsIsAsked)
{
    int resets = 0;
    info.reset = count_reset;
    info.reset_arg = &resets;
    timeout.timeout_retry_limit = 0;
    script(1, stalls());
    run();
    EXPECT_EQ(resets, 1);
}

TEST_F(Perform, TheFileIsEmptiedWhenTheNextTryBeginsAndNotBefore)
{
    int emptied = 0;
    info.begin_again = count_reset;
    info.reset_arg = &emptied;
    system.while_asleep = [&] { EXPECT_EQ(emptied, 0); };
    script(1, ends_with(16, 56));
    script(1, [&](curl_e_handle_t *) { EXPECT_EQ(emptied, 1); });
    run();
    EXPECT_EQ(emptied, 1);
}

TEST_F(Perform, AFileThatIsNotTriedAgainIsNotEmptied)
{
    int emptied = 0;
    info.begin_again = count_reset;
    info.reset_arg = &emptied;
    timeout.timeout_retry_limit = 0;
    script(1, stalls());
    run();

    wrapper_ = {};
    handle = {};
    timeout = {60, 0, -1, 0, 0, 0, 0};
    shown.transferred_size = 1;
    wrapper_.total_time_s = 121;
    script(1, ends_with(16, 56));
    run();
    EXPECT_EQ(emptied, 0);
}

class LocalFile : public JobFixture
{
protected:
    ~LocalFile() override
    {
        if (file.file != nullptr)
            fclose(file.file);
    }

    cb_file_info_t file{nullptr, nullptr};
};

TEST_F(LocalFile, BothResetsGoToItsVeryStart)
{
    file.file = fopen(write("f", "0123456789").c_str(), "rb");
    for (const auto reset : {curl_download_reset, curl_upload_reset}) {
        ASSERT_EQ(fseek(file.file, 7, SEEK_SET), 0);
        EXPECT_EQ(reset(&file), 0);
        EXPECT_EQ(ftell(file.file), 0);
        EXPECT_EQ(fgetc(file.file), '0');
    }
    EXPECT_EQ(logged(), lines{});
}

TEST_F(LocalFile, AResetThatFailsIsLogged)
{
    file.file = fopen(write("f", "0").c_str(), "rb");
    system.fseeko = EIO;
    EXPECT_NE(curl_download_reset(&file), 0);
    EXPECT_EQ(logged(), lines{"error: curl_func(688): errno(5) Input/output error\n"});
    system.fseeko = ESPIPE;
    EXPECT_NE(curl_upload_reset(&file), 0);
    EXPECT_EQ(logged(), lines{"error: curl_func(825): errno(29) Illegal seek\n"});
}

TEST_F(LocalFile, AShorterSecondBodyKeepsNothingOfTheFirst)
{
    file.file = fopen(path("f").c_str(), "wb");
    fputs("the long first body", file.file);
    EXPECT_EQ(curl_download_reset(&file), 0);
    EXPECT_EQ(content(path("f")), "the long first body"); // kept while no second try is sure
    EXPECT_EQ(curl_download_empty(&file), 0);
    fputs("short", file.file);
    ASSERT_EQ(fflush(file.file), 0);
    EXPECT_EQ(content(path("f")), "short");
}

TEST_F(LocalFile, ADeviceIsLeftAsItIs)
{
    file.file = fopen("/dev/null", "wb");
    EXPECT_NE(curl_download_empty(&file), 0);
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
        double transferred; // shown afterwards; 7 before
    } const table[] = {
        {JOB_DOWNLOAD, 100, 0, 100, 0, 100}, {JOB_DOWNLOAD, 99, 500, 100, 16, 7},
        {JOB_DOWNLOAD, 150, 0, 100, 0, 150}, {JOB_DOWNLOAD, 50, 0, 0, 0, 50},  // announced nothing
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
        curlf_info_.module_info.exec = row.kind;
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

TEST_F(Perform, AFailedTransferIsNotMeasured)
{
    shown.total_size = 100;
    shown.transferred_size = 7;
    wrapper_.size_upload = 100;
    script(1, ends_with(16, 7));
    run();
    EXPECT_EQ(handle.curl_code, 7);
    EXPECT_EQ(shown.transferred_size, 7);
}

TEST_F(Perform, WithoutSizesNothingIsMeasured)
{
    info.exec_info = nullptr;
    wrapper_.size_upload = 1;
    script(1, ends_with(0));
    run();
    EXPECT_EQ(handle.error, 0);
}
