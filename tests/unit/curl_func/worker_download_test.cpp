#include "worker_fixture.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

TEST_F(Worker, ADownloadThatCannotOpenItsFileFailsWithoutBlocking)
{
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0); // without a reader
    const struct {
        const char *name;
        int stream_error;
        const char *error;
    } table[] = {{"no/such/folder", 0, "errno(2) No such file or directory"},
                 {"pipe", 0, "errno(6) No such device or address"},
                 {"local", ENOMEM, "errno(12) Cannot allocate memory"}};
    for (const auto &row : table) {
        set_local_path(path(row.name));
        system.fdopen = row.stream_error;
        EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
        EXPECT_EQ(logged(), lines{"error: curl_func(615): " + std::string(row.error) + "\n"});
        EXPECT_EQ(wrapper_.performed, 0);
        expect_all_given_back();
    }
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

TEST_F(Worker, ADownloadNotStoredOnDiskIsALocalWriteErrorUnlessItFailedBefore)
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

TEST_F(Worker, ADownloadWhoseFileIsNotThereAtTheEndIsALocalWriteError)
{
    const std::string local = path("local");
    const std::function<void()> changes[] = {
        [&] { ASSERT_EQ(unlink(local.c_str()), 0); },
        [&] { ASSERT_EQ(rename(write("other", "abc").c_str(), local.c_str()), 0); },
        [&] { append(local, "more"); },
    };
    for (const auto &change : changes) {
        script([&](curl_e_handle_t *) {
            receive("abc");
            change();
        });
        EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
        EXPECT_THAT(logged(), testing::ElementsAre("error: curl_func(655): The local file was changed or "
                                                   "replaced while it was written.\n"));
    }
}

TEST_F(Worker, ADownloadThroughALinkIsStoredInItsTarget)
{
    ASSERT_EQ(symlink("target", path("local").c_str()), 0);
    script([](curl_e_handle_t *) { receive("abc"); });
    EXPECT_EQ(run(JOB_DOWNLOAD), 0u);
    EXPECT_EQ(content(path("target")), "abc");
}

TEST_F(Worker, ADownloadIntoAPipeWithoutAReaderOrRoomFailsWithoutBlocking)
{
    ASSERT_EQ(mkfifo(path("local").c_str(), 0600), 0);
    const auto open_reader = [this] { return open(path("local").c_str(), O_RDONLY | O_NONBLOCK); };
    const int gone = open_reader();
    script([&](curl_e_handle_t *) {
        receive("abc");
        close(gone);
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
    EXPECT_EQ(logged(), lines{"error: curl_func(653): errno(32) Broken pipe\n"});

    const int idle = open_reader();
    script([&](curl_e_handle_t *handle) {
        EXPECT_LT(receive(std::string(1 << 20, 'x')), size_t(1) << 20);
        handle->curl_code = 23;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
    close(idle);
}

TEST_F(Worker, ACancelledDownloadRemovesNoDeviceAndNoOtherFile)
{
    set_local_path("/dev/null");
    script(meets_a_cancel);
    system.remove = EBUSY; // protects this machine's /dev/null
    EXPECT_EQ(run(JOB_DOWNLOAD), 1u);
    EXPECT_EQ(system.remove, EBUSY) << "something was removed";
    EXPECT_EQ(logged(), lines{});
    system.remove = 0;

    set_local_path(path("local"));
    script([this](curl_e_handle_t *handle) {
        ASSERT_EQ(rename(write("other", "kept").c_str(), path("local").c_str()), 0);
        meets_a_cancel(handle);
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 1u);
    EXPECT_EQ(content(path("local")), "kept");
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
