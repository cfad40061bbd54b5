#include "worker_fixture.h"

#include <atomic>
#include <cerrno>

TEST_F(Worker, ADownloadGoesIntoTheLocalFile)
{
    write("local", "what stood there before");
    script([](curl_e_handle_t *) {
        EXPECT_EQ(progress(6, 0), 0);
        EXPECT_EQ(receive("abc"), 3u);
        EXPECT_EQ(receive("def"), 3u);
        wrapper_.total_time_s = 2;
        EXPECT_EQ(progress(6, 6), 0);
        wrapper_.size_download = 6;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 0u);
    EXPECT_EQ(content(path("local")), "abcdef");
    EXPECT_EQ(shown.total_size, 6);
    EXPECT_EQ(shown.transferred_size, 6);
    EXPECT_EQ(shown.elapsed_time, 2);
    EXPECT_EQ(wrapper_.asked, story({"writefunc_data()", "progressfunc_data()", "copy.fresh_connect(0)",
                                     "connect_timeout(60)", "operation_timeout(0)", "perform()"}));
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Worker, ADownloadWhoseSettingsAreRefusedLeavesTheLocalFileAlone)
{
    write("local", "old");
    wrapper_.refused = "port";
    EXPECT_EQ(run(JOB_DOWNLOAD), 5u);
    EXPECT_EQ(content(path("local")), "old");
    expect_all_given_back();
}

TEST_F(Worker, ADownloadWhoseCallbackIsRefusedStopsThere)
{
    expect_stops_at_each(JOB_DOWNLOAD, {"writefunc_data", "progressfunc_data"});
}

TEST_F(Worker, ADownloadThatFailsOrTimesOutKeepsItsPartialFileWhole)
{
    for (const int curl_code : {18, 28}) {
        wrapper_ = {};
        script([curl_code](curl_e_handle_t *handle) {
            receive("part");
            ends_with(16, curl_code)(handle);
        });
        EXPECT_EQ(run(JOB_DOWNLOAD), 16u);
        EXPECT_EQ(content(path("local")), "part");
    }
    EXPECT_THAT(logged(), testing::Contains("error: curl_func(1272): Timeout retry limit reached.\n"));
}

TEST_F(Worker, ADownloadThatIsTriedAgainStartsFromAnEmptyFile)
{
    script([](curl_e_handle_t *handle) {
        receive("the long first body");
        ends_with(16, 56)(handle);
    });
    script([this](curl_e_handle_t *) {
        EXPECT_EQ(content(path("local")), "");
        receive("short");
        wrapper_.size_download = 5;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 0u);
    EXPECT_EQ(content(path("local")), "short");
    EXPECT_EQ(shown.retry_count, 1u);
}

TEST_F(Worker, ACancelledDownloadRemovesItsFile)
{
    script([](curl_e_handle_t *handle) {
        receive("part");
        meets_a_cancel(handle);
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 1u);
    EXPECT_EQ(shown.curl_code, 42u);
    EXPECT_EQ(content(path("local")), "<none>");
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Worker, AFileThatCannotBeRemovedIsLogged)
{
    system.remove = EBUSY;
    script(meets_a_cancel);
    EXPECT_EQ(run(JOB_DOWNLOAD), 1u);
    EXPECT_EQ(logged(), lines{"error: curl_func(665): errno(16) Device or resource busy\n"});
}

TEST_F(Worker, ADownloadThatCannotBeStoredIsALocalWriteErrorUnlessItFailedBefore)
{
    const struct {
        std::atomic<int> fake_system::*fault;
        int32_t error; // of the transfer
        uint32_t result;
        const char *id;
    } table[] = {{&fake_system::fflush, 0, 9, "653"},
                 {&fake_system::fclose, 0, 9, "657"},
                 {&fake_system::fflush, 16, 16, "653"}};
    for (const auto &row : table) {
        script([&](curl_e_handle_t *handle) {
            receive("abc");
            system.*row.fault = ENOSPC;
            ends_with(row.error, row.error == 0 ? 0 : 18)(handle);
        });
        EXPECT_EQ(run(JOB_DOWNLOAD), row.result);
        EXPECT_EQ(logged(), lines{"error: curl_func(" + std::string(row.id) +
                                  "): errno(28) No space left on device\n"});
    }
}

TEST_F(Worker, ACancelAfterTheLastByteStillRemovesTheFile)
{
    script([](curl_e_handle_t *) {
        receive("abc");
        job_.record.module_info.cancel = 1;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 1u);
    EXPECT_EQ(content(path("local")), "<none>");
}

TEST_F(Worker, ADownloadIgnoresTheResumeFlagAndTheRemoteFile)
{
    remote_file = {1, 1, 500, 0, 0, 0, 0, 0, 0, 0, 0};
    script([](curl_e_handle_t *handle) { EXPECT_EQ(handle->resume, 0); });
    EXPECT_EQ(run(JOB_DOWNLOAD), 0u);
    EXPECT_EQ(remote_file.looked_up, 1u);
    EXPECT_EQ(remote_file.size, 500);
}
