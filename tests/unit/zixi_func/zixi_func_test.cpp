// The operations, with real workers. job_slot_test covers what both engines share.
#include "zixi_func/zixi_func.h"

#include "fake_feeder.h"
#include "job_slot/job_record.h"
#include "support/failing_threads.h"
#include "support/logged.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using namespace std::chrono_literals;

struct ZixiFunc : testing::Test {
    fake_feeder_t feeder;
    transfer_request_t request = zixi_request();
    std::atomic<bool> held = false; // keeps the upload in its first call

    ZixiFunc()
    {
        feeder_ = &feeder;
        feeder.on_event = [this](const std::string &event) {
            while (event == "zixi_configure_logging" && held)
                std::this_thread::sleep_for(1ms);
        };
        zixif_init();
        feeder.events.clear();
        logged();
    }
    ~ZixiFunc() override
    {
        held = false;
        if (zixif_is_alive() == 1) {
            EXPECT_EQ(finish(), 0);
        }
        logged(); // of a test that is not about the log
    }
    static job_record_t state()
    {
        job_record_t job;
        zixif_get_state(&job);
        return job;
    }
    static bool wait_for(const std::function<bool()> &condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + 30s;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }
    // Joins the running job's worker.
    static int finish()
    {
        int rc = -1;
        wait_for([&rc] { return (rc = zixif_finished()) != -1; });
        return rc;
    }
    static bool wait_until_idle()
    {
        return wait_for([] { return state().module_info.running == 0; });
    }
};

} // namespace

TEST_F(ZixiFunc, InitLogsTheLibrarysVersion)
{
    EXPECT_EQ(zixif_init(), 0);
    EXPECT_THAT(feeder.events, ElementsAre("zixi_version"));
    EXPECT_EQ(logged(), lines{"zixi_func(180): libZixifeeder/1.22.333.4444\n"});
}

TEST_F(ZixiFunc, InitGoesOnWithoutAVersion)
{
    feeder.version = {-3};
    EXPECT_EQ(zixif_init(), 0);
    EXPECT_EQ(logged(), lines{"error: zixi_func(1170): ZIXI_ERROR_NOT_INITIALIZED(-3) \n"});
    EXPECT_EQ(zixif_ftp_upload(&request), 0u);
}

TEST_F(ZixiFunc, LockAndThreadFailuresAreLoggedWithItsOwnIds)
{
    threads_.create = EAGAIN;
    EXPECT_EQ(zixif_ftp_upload(&request), 5u);
    const std::string no_thread = "errno(11) Resource temporarily unavailable\n";
    EXPECT_EQ(logged(), (lines{"error: zixi_func(853): " + no_thread, "error: zixi_func(394): " + no_thread,
                               "error: zixi_func(401): failed to create thread.\n"}));
    EXPECT_EQ(zixif_is_alive(), 0u);
    threads_.lock = EAGAIN;
    EXPECT_EQ(zixif_is_alive(), 0u);
    EXPECT_EQ(logged(), lines{"error: zixi_func(944): pthread_mutex_lock(): 11\n"});
    threads_.unlock = EPERM;
    EXPECT_EQ(zixif_is_alive(), 0u);
    EXPECT_EQ(logged(), lines{"error: zixi_func(962): pthread_mutex_unlock(): 1\n"});
    feeder.events.clear();
    threads_.settype = ENOTSUP;
    EXPECT_EQ(zixif_init(), -1);
    EXPECT_EQ(logged(), lines{"error: zixi_func(921): pthread_mutexattr_settype(): 95\n"});
    EXPECT_THAT(feeder.events, IsEmpty());
}

TEST_F(ZixiFunc, ADownloadIsRefused)
{
    const job_record_t before = state();
    EXPECT_EQ(zixif_download(&request), 15u);
    const job_record_t after = state();
    EXPECT_EQ(memcmp(&before, &after, sizeof after), 0);
    EXPECT_EQ(zixif_is_alive(), 0u);
    EXPECT_EQ(zixif_finished(), -1);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(ZixiFunc, AnUploadRunsToItsEndAndIsReportedExactlyOnce)
{
    held = true;
    ASSERT_EQ(zixif_ftp_upload(&request), 0u);
    EXPECT_EQ(zixif_is_alive(), 1u);
    EXPECT_EQ(zixif_finished(), -1) << "still running";
    EXPECT_EQ(zixif_dl_file_info(&request), 3u);
    EXPECT_EQ(zixif_download(&request), 15u);
    EXPECT_EQ(state().module_info.exec, 2u);
    held = false;
    ASSERT_TRUE(wait_until_idle());
    EXPECT_EQ(zixif_is_alive(), 1u) << "not joined yet";
    EXPECT_EQ(zixif_finished(), 0);
    EXPECT_EQ(zixif_finished(), -1) << "once only";
    EXPECT_EQ(zixif_is_alive(), 0u);
    EXPECT_EQ(feeder.uploads.size(), 1u);
}

TEST_F(ZixiFunc, FileInformationEndsAtOnceAndLeavesTheLibraryAlone)
{
    ASSERT_EQ(zixif_dl_file_info(&request), 0u);
    ASSERT_EQ(finish(), 0);
    EXPECT_EQ(state().module_info.exec, 3u);
    EXPECT_EQ(state().module_info.result, 0u);
    EXPECT_THAT(feeder.events, IsEmpty());
}

TEST_F(ZixiFunc, TheOverwriteByteComesFromTheWholeResumeWord)
{
    const std::pair<uint32_t, uint8_t> rows[] = {{0, 1},   {1, 0},       {2, 0},
                                                 {256, 0}, {0x10000, 0}, {0xffffffff, 0}};
    for (const auto &[resume, overwrite] : rows) {
        feeder.uploads.clear();
        request.resume = resume;
        ASSERT_EQ(zixif_ftp_upload(&request), 0u);
        ASSERT_EQ(finish(), 0);
        EXPECT_EQ(feeder.uploads.at(0).block[45], overwrite) << resume;
    }
}

TEST_F(ZixiFunc, AStartBeforeTheJoinFailsWith5AndTheWorkerIsStillJoinedAndReported)
{
    ASSERT_EQ(zixif_ftp_upload(&request), 0u);
    ASSERT_TRUE(wait_until_idle());
    logged();
    errno = ENOENT;
    EXPECT_EQ(zixif_dl_file_info(&request), 5u);
    EXPECT_EQ(logged(), (lines{"error: zixi_func(394): errno(2) No such file or directory\n",
                               "error: zixi_func(401): failed to create thread.\n"}));
    EXPECT_EQ(zixif_is_alive(), 1u);
    EXPECT_EQ(state().module_info.result, 5u);
    threads_.join = ESRCH;
    EXPECT_EQ(zixif_finished(), ESRCH);
    EXPECT_EQ(logged(), lines{"error: zixi_func(882): errno(3) No such process\n"});
    EXPECT_EQ(zixif_finished(), -1);
    EXPECT_EQ(zixif_ftp_upload(&request), 0u);
}

TEST_F(ZixiFunc, ACancelReturnsWhenTheJobHasStopped)
{
    feeder.progress = std::deque<progress_step_t>(100000, {0, 1, 2, 2}); // ends only by the cancel
    feeder.on_event = [](const std::string &event) {
        if (event == "nanosleep(1.000000000)")
            std::this_thread::sleep_for(1ms);
    };
    ASSERT_EQ(zixif_ftp_upload(&request), 0u);
    ASSERT_TRUE(wait_for([] { return state().exec_info.transferred_size > 0; }));
    EXPECT_EQ(zixif_cancel(), 0);
    EXPECT_EQ(state().module_info.running, 0u);
    EXPECT_EQ(state().module_info.result, 1u);
    EXPECT_EQ(zixif_is_alive(), 1u) << "only zixif_finished joins";
}

TEST_F(ZixiFunc, TheRecordCanBeReadAtAnyTime)
{
    for (int i = 0; i < 100; i++)
        feeder.progress.push_back({0, static_cast<uint64_t>(i) + 1, 100, i == 99 ? 3 : 2});
    ASSERT_EQ(zixif_ftp_upload(&request), 0u);
    double last = 0;
    while (state().module_info.running != 0) {
        const double sent = state().exec_info.transferred_size;
        EXPECT_GE(sent, last);
        last = sent;
    }
    EXPECT_EQ(finish(), 0);
    EXPECT_EQ(state().exec_info.transferred_size, 100.0);
}
