#include "job_fixture.h"

#include <cerrno>
#include <thread>

class Job : public JobFixture
{
};

TEST_F(Job, ItsMutexCanBeTakenTwice)
{
    const job_lock outer;
    const job_lock inner;
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Job, AMutexThatCannotBeRecursiveIsLogged)
{
    system.settype = EINVAL;
    EXPECT_EQ(job_mutex_init(), -1);
    EXPECT_EQ(logged(), lines{"error: curl_func(2101): pthread_mutexattr_settype(): 22\n"});
}

TEST_F(Job, AFailedLockIsLoggedAndTheScopeRunsOn)
{
    curlf_info_.module_info.running = 1;
    system.lock = EINVAL;
    EXPECT_TRUE(job_running(&curlf_info_));
    EXPECT_EQ(logged(), lines{"error: curl_func(2124): pthread_mutex_lock(): 22\n"});
}

TEST_F(Job, AFailedUnlockIsLoggedAndTheScopeRunsOn)
{
    system.unlock = EPERM;
    job_store_result(&curlf_info_, FTPCD_ERR_TIMEOUT);
    EXPECT_EQ(logged(), lines{"error: curl_func(2142): pthread_mutex_unlock(): 1\n"});
    EXPECT_EQ(curlf_info_.module_info.result, 14u);
}

TEST_F(Job, AnotherThreadWaitsForTheLock)
{
    std::thread other;
    {
        const job_lock lock;
        other = std::thread([] { job_store_result(&curlf_info_, 1); });
        curlf_info_.module_info.result = 5;
        EXPECT_EQ(curlf_info_.module_info.result, 5u);
    }
    other.join();
    EXPECT_EQ(curlf_info_.module_info.result, 1u);
}

TEST_F(Job, TheResumeFlagIsTheFirstByteOfTheRemoteFileAndLeavesTheOthers)
{
    struct {
        uint32_t resume;
        uint32_t looked_up;
        uint32_t expected;
        bool resumes;
    } const table[] = {
        {0, 1, 0, false},
        {1, 0, 1, true},
        {1, 1, 1, true},
        {0x100, 1, 0, false}, // only the low byte counts
        {0x1FE, 0, 0xFE, true},
        {0, 0x01020304, 0x01020300, false},
        {2, 0x01020304, 0x01020302, true},
    };
    for (const auto &row : table) {
        curlf_info_.remote_file = {row.looked_up, 7, 8, 1, 2, 3, 4, 5, 6, 7, 8};
        job_set_resume(&curlf_info_, row.resume);
        EXPECT_EQ(curlf_info_.remote_file.looked_up, row.expected) << row.resume;
        EXPECT_EQ(job_resumes(&curlf_info_), row.resumes) << row.resume;
        EXPECT_EQ(curlf_info_.remote_file.exists, 7u);
        EXPECT_EQ(curlf_info_.remote_file.size, 8);
        EXPECT_EQ(curlf_info_.remote_file.unused, 8u);
    }
}
