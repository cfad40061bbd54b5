#include "zixi_func/job.h"

#include "support/logged.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <thread>

namespace
{

// What the next call of the engine meets; the tools of the test lock as well.
thread_local int settype_result_ = 0;
thread_local int lock_result_ = 0;
thread_local int unlock_result_ = 0;
int settype_kind_ = -1;

int once(int *result)
{
    const int value = *result;
    *result = 0;
    return value;
}

} // namespace

extern "C" {
int __real_pthread_mutexattr_settype(pthread_mutexattr_t *attributes, int kind);
int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);

int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t *attributes, int kind)
{
    settype_kind_ = kind;
    const int failure = once(&settype_result_);
    return failure != 0 ? failure : __real_pthread_mutexattr_settype(attributes, kind);
}

// A failure is told only: the lock is taken and given back all the same.
int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    const int failure = once(&lock_result_);
    const int rc = __real_pthread_mutex_lock(mutex);
    return failure != 0 ? failure : rc;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    const int failure = once(&unlock_result_);
    const int rc = __real_pthread_mutex_unlock(mutex);
    return failure != 0 ? failure : rc;
}
}

TEST(Job, InitMakesTheLockRecursiveAndResetsTheHead)
{
    ASSERT_EQ(zixif_job_init(), 0);
    {
        const zixif_lock held;
        zixif_info(held).job.module_info = {1, 2, 3, 4};
        zixif_info(held).started = 1;
    }
    ASSERT_EQ(zixif_job_init(), 0);
    EXPECT_EQ(settype_kind_, 1);
    const zixif_lock outer;
    const zixif_lock inner; // would never return on a plain mutex
    const module_info_t &head = zixif_info(inner).job.module_info;
    EXPECT_EQ(head.running + head.exec + head.result + head.cancel, 0u);
    EXPECT_EQ(zixif_info(inner).started, 0u);
    EXPECT_EQ(logged(), lines{});
}

TEST(Job, InitFailsWhenTheLockCannotBeMadeRecursive)
{
    settype_result_ = EINVAL;
    EXPECT_EQ(zixif_job_init(), -1);
    EXPECT_EQ(logged(), lines{"error: zixi_func(921): pthread_mutexattr_settype(): 22\n"});
}

TEST(Job, AFailedLockOrUnlockIsLoggedAndTheScopeRunsOn)
{
    ASSERT_EQ(zixif_job_init(), 0);
    {
        lock_result_ = EAGAIN;
        const zixif_lock held;
        zixif_info(held).started = 7;
    }
    EXPECT_EQ(logged(), lines{"error: zixi_func(944): pthread_mutex_lock(): 11\n"});
    {
        const zixif_lock held;
        EXPECT_EQ(zixif_info(held).started, 7u);
        unlock_result_ = EPERM;
    }
    EXPECT_EQ(logged(), lines{"error: zixi_func(962): pthread_mutex_unlock(): 1\n"});
}

TEST(Job, TheLockKeepsOtherThreadsOut)
{
    ASSERT_EQ(zixif_job_init(), 0);
    constexpr uint32_t ROUNDS = 20000;
    const auto count = [] {
        for (uint32_t i = 0; i < ROUNDS; i++) {
            const zixif_lock held;
            zixif_info(held).started++;
        }
    };
    std::thread other(count);
    count();
    other.join();
    const zixif_lock held;
    EXPECT_EQ(zixif_info(held).started, 2 * ROUNDS);
}
