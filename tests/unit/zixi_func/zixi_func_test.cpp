#include "zixi_func/zixi_func.h"

#include "fake_feeder.h"
#include "job_slot/job_record.h"
#include "support/logged.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <syslog.h>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

int settype_result_ = 0;
int create_result_ = 0;
int join_result_ = 0;
thread_local int lock_result_ = 0; // the tools of the test lock as well
thread_local int unlock_result_ = 0;

int once(int *result)
{
    const int value = *result;
    *result = 0;
    return value;
}

} // namespace

extern "C" {
int __real_pthread_mutexattr_settype(pthread_mutexattr_t *attributes, int kind);
int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t *attributes, int kind)
{
    const int failure = once(&settype_result_);
    return failure != 0 ? failure : __real_pthread_mutexattr_settype(attributes, kind);
}

// A failure is told only: the lock is taken and given back all the same.
int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    const int failure = once(&lock_result_);
    const int rc = __real_pthread_mutex_lock(mutex);
    return failure != 0 ? failure : rc;
}

int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    const int failure = once(&unlock_result_);
    const int rc = __real_pthread_mutex_unlock(mutex);
    return failure != 0 ? failure : rc;
}

int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *),
                          void *context);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *),
                          void *context)
{
    const int failure = once(&create_result_);
    return failure != 0 ? failure : __real_pthread_create(thread, attributes, start, context);
}

// The thread is joined even when a failure is told, so that nothing leaks.
int __real_pthread_join(pthread_t thread, void **result);
int __wrap_pthread_join(pthread_t thread, void **result)
{
    const int failure = once(&join_result_);
    const int rc = __real_pthread_join(thread, result);
    return failure != 0 ? failure : rc;
}
}

namespace
{

using namespace std::chrono_literals;

struct ZixiFunc : testing::Test {
    fake_feeder_t feeder;
    transfer_request_t request = zixi_request();
    std::atomic<bool> held = false; // the upload stays in its first call while this is set

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
    // The join of the running job's worker.
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
    EXPECT_EQ(logged_with_priority(),
              (std::vector<log_line>{{LOG_INFO, "zixi_func(180): libZixifeeder/1.22.333.4444\n"}}));
}

TEST_F(ZixiFunc, InitGoesOnWithoutAVersion)
{
    feeder.version = {-3};
    EXPECT_EQ(zixif_init(), 0);
    EXPECT_EQ(logged(), lines{"error: zixi_func(1170): ZIXI_ERROR_NOT_INITIALIZED(-3) \n"});
    EXPECT_EQ(zixif_ftp_upload(&request), 0u);
}

TEST_F(ZixiFunc, InitFailsWithoutARecursiveLock)
{
    settype_result_ = ENOTSUP;
    EXPECT_EQ(zixif_init(), -1);
    EXPECT_EQ(logged(), lines{"error: zixi_func(921): pthread_mutexattr_settype(): 95\n"});
    EXPECT_THAT(feeder.events, IsEmpty());
}

TEST_F(ZixiFunc, AFailedLockOrUnlockIsLogged)
{
    lock_result_ = EAGAIN;
    EXPECT_EQ(zixif_is_alive(), 0u);
    EXPECT_EQ(logged(), lines{"error: zixi_func(944): pthread_mutex_lock(): 11\n"});
    unlock_result_ = EPERM;
    EXPECT_EQ(zixif_is_alive(), 0u);
    EXPECT_EQ(logged(), lines{"error: zixi_func(962): pthread_mutex_unlock(): 1\n"});
}

TEST_F(ZixiFunc, ADownloadIsRefusedAndStartsNothing)
{
    const job_record_t before = state();
    EXPECT_EQ(zixif_download(&request), 15u);
    const job_record_t after = state();
    EXPECT_EQ(memcmp(&before, &after, sizeof after), 0);
    EXPECT_EQ(zixif_is_alive(), 0u);
    EXPECT_EQ(zixif_finished(), -1);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(ZixiFunc, AnUploadRunsToItsEndAndIsReportedOnce)
{
    EXPECT_EQ(zixif_finished(), -1) << "nothing to join";
    held = true;
    ASSERT_EQ(zixif_ftp_upload(&request), 0u);
    EXPECT_EQ(zixif_is_alive(), 1u);
    EXPECT_EQ(zixif_finished(), -1) << "it runs";
    EXPECT_EQ(state().module_info.running, 1u);
    EXPECT_EQ(state().module_info.exec, 2u);
    held = false;
    ASSERT_TRUE(wait_until_idle());
    EXPECT_EQ(zixif_is_alive(), 1u) << "not joined yet";
    EXPECT_EQ(zixif_finished(), 0);
    EXPECT_EQ(zixif_finished(), -1) << "once only";
    EXPECT_EQ(zixif_is_alive(), 0u);
    const module_info_t head = state().module_info;
    EXPECT_EQ(head.exec, 2u);
    EXPECT_EQ(head.result, 0u);
    EXPECT_EQ(feeder.uploads.size(), 1u);
}

TEST_F(ZixiFunc, TheOverwriteByteComesFromTheWholeResumeWord)
{
    const struct {
        uint32_t resume;
        uint8_t overwrite;
    } rows[] = {{0, 1}, {1, 0}, {2, 0}, {256, 0}, {0x10000, 0}, {0xffffffff, 0}};
    for (const auto &row : rows) {
        feeder.uploads.clear();
        request.resume = row.resume;
        ASSERT_EQ(zixif_ftp_upload(&request), 0u);
        ASSERT_EQ(finish(), 0);
        EXPECT_EQ(feeder.uploads.at(0).block[45], row.overwrite) << row.resume;
    }
}

TEST_F(ZixiFunc, AStartResetsTheHeadAndTheFiguresButForTheLastError)
{
    feeder.upload = {-17};
    feeder.progress = {{0, 5, 10, 3}};
    ASSERT_EQ(zixif_ftp_upload(&request), 0u);
    ASSERT_EQ(finish(), 0);
    ASSERT_EQ(state().module_info.result, 16u);
    ASSERT_EQ(zixif_dl_file_info(&request), 0u);
    ASSERT_EQ(finish(), 0);
    const job_record_t job = state();
    EXPECT_EQ(job.module_info.result, 0u);
    EXPECT_EQ(static_cast<int>(job.exec_info.zixi_error), -17);
    EXPECT_EQ(job.exec_info.total_size, 0.0);
    EXPECT_EQ(job.exec_info.transferred_size, 0.0);
    EXPECT_EQ(job.exec_info.elapsed_time, 0.0);
}

TEST_F(ZixiFunc, FileInformationEndsAtOnceAndClearsTheFirst16Bytes)
{
    request.resume = 0;
    ASSERT_EQ(zixif_ftp_upload(&request), 0u); // sets the first byte of the area to 1
    ASSERT_EQ(finish(), 0);
    const job_record_t before = state();
    ASSERT_EQ(reinterpret_cast<const uint8_t *>(&before.remote_file)[0], 1);
    feeder.events.clear();
    ASSERT_EQ(zixif_dl_file_info(&request), 0u);
    ASSERT_EQ(finish(), 0);
    const job_record_t job = state();
    EXPECT_EQ(job.module_info.exec, 3u);
    EXPECT_EQ(job.module_info.result, 0u);
    EXPECT_EQ(job.exec_info.response_code_type, 3u);
    EXPECT_THAT(feeder.events, IsEmpty());
    const uint8_t zero[16] = {};
    EXPECT_EQ(memcmp(&job.remote_file, zero, 16), 0);
    EXPECT_EQ(memcmp(&job.remote_file.year, &before.remote_file.year, 32), 0);
}

TEST_F(ZixiFunc, ASecondStartIsBusyAndChangesNothing)
{
    held = true;
    ASSERT_EQ(zixif_ftp_upload(&request), 0u);
    ASSERT_TRUE(wait_for([] { return state().exec_info.response_code_type == 3; }));
    const job_record_t before = state();
    transfer_request_t other = zixi_request();
    strcpy(other.remote_path, "other");
    other.resume = 1;
    EXPECT_EQ(zixif_ftp_upload(&other), 3u);
    EXPECT_EQ(zixif_dl_file_info(&other), 3u);
    EXPECT_EQ(zixif_download(&other), 15u);
    const job_record_t after = state();
    EXPECT_EQ(memcmp(&before, &after, sizeof after), 0);
    held = false;
    EXPECT_EQ(finish(), 0);
    EXPECT_EQ(feeder.uploads.size(), 1u);
}

TEST_F(ZixiFunc, WithoutAThreadTheStartFailsWith5)
{
    create_result_ = EAGAIN;
    EXPECT_EQ(zixif_ftp_upload(&request), 5u);
    EXPECT_EQ(logged_with_priority(),
              (std::vector<log_line>{
                  {LOG_ERR, "error: zixi_func(853): errno(11) Resource temporarily unavailable\n"},
                  {LOG_ERR, "error: zixi_func(394): errno(11) Resource temporarily unavailable\n"},
                  {LOG_ERR, "error: zixi_func(401): failed to create thread.\n"}}));
    const module_info_t head = state().module_info;
    EXPECT_EQ(head.running, 0u);
    EXPECT_EQ(head.exec, 2u);
    EXPECT_EQ(head.result, 5u);
    EXPECT_EQ(zixif_is_alive(), 0u);
    EXPECT_EQ(zixif_finished(), -1);
    EXPECT_EQ(zixif_ftp_upload(&request), 0u) << "the next one may start";
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
    const module_info_t head = state().module_info;
    EXPECT_EQ(head.running, 0u);
    EXPECT_EQ(head.exec, 3u);
    EXPECT_EQ(head.result, 5u);
    EXPECT_EQ(zixif_ftp_upload(&request), 5u) << "as long as it is not joined";
    join_result_ = ESRCH;
    EXPECT_EQ(zixif_finished(), ESRCH);
    EXPECT_EQ(logged().back(), "error: zixi_func(882): errno(3) No such process\n");
    EXPECT_EQ(zixif_finished(), -1);
    EXPECT_EQ(zixif_ftp_upload(&request), 0u);
}

TEST_F(ZixiFunc, ACancelReturnsWhenTheJobHasStopped)
{
    feeder.progress = std::deque<progress_step_t>(100000, {0, 1, 2, 2}); // without a cancel, no end in sight
    feeder.on_event = [](const std::string &event) {
        if (event == "nanosleep(1.000000000)")
            std::this_thread::sleep_for(1ms);
    };
    ASSERT_EQ(zixif_ftp_upload(&request), 0u);
    ASSERT_TRUE(wait_for([] { return state().exec_info.transferred_size > 0; }));
    EXPECT_EQ(zixif_cancel(), 0);
    const module_info_t head = state().module_info;
    EXPECT_EQ(head.running, 0u);
    EXPECT_EQ(head.cancel, 1u);
    EXPECT_EQ(head.result, 1u);
    EXPECT_EQ(head.exec, 2u);
    EXPECT_EQ(zixif_is_alive(), 1u) << "the join is zixif_finished's";
    EXPECT_EQ(zixif_finished(), 0);
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
