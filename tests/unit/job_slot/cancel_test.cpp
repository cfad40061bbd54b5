#include "job_slot_fixture.h"

#include <atomic>
#include <unistd.h>

static std::atomic<int> naps_;
static std::atomic<uint64_t> longest_nap_us_;

extern "C" int __wrap_usleep(useconds_t us)
{
    naps_++;
    longest_nap_us_ = std::max<uint64_t>(longest_nap_us_, us);
    std::this_thread::yield();
    return 0;
}

class Cancel : public JobSlot
{
protected:
    Cancel() { naps_ = 0; }
};
INSTANTIATE_TEST_SUITE_P(BothEngines, Cancel, testing::Values(&FORGETS, &KEEPS));

TEST_P(Cancel, ACancelWithoutAJobIs2AndItsFlagStaysUntilTheNextStart)
{
    EXPECT_EQ(job_cancel(&slot, nullptr), 2);
    expect_head(0, 0, 0, 1);
    EXPECT_EQ(naps_, 0);
    start_and_hold();
    expect_head(1, JOB_DOWNLOAD, 0, 0);
    let_go();
}

TEST_P(Cancel, ACancelWaitsUntilTheJobHasEnded)
{
    start_and_hold();
    std::thread job([] {
        while (naps_ < 100) // it goes on waiting
            std::this_thread::yield();
        sem_post(&may_end_);
    });
    EXPECT_EQ(job_cancel(&slot, nullptr), 0);
    job.join();
    expect_head(0, JOB_DOWNLOAD, 1, 1);
    EXPECT_EQ(longest_nap_us_, 100'000u);
    EXPECT_EQ(job_finished(&slot), 0);
}

TEST_P(Cancel, UnheardIsCalledWhenACancelHasNoEffectFor1500Ms)
{
    static job_slot_t *asked;
    asked = nullptr;
    start_and_hold();
    EXPECT_EQ(job_cancel(&slot,
                         [](job_slot_t *slot_) {
                             if (asked == nullptr) {
                                 EXPECT_EQ(naps_, 15);
                                 sem_post(&may_end_);
                             }
                             asked = slot_;
                         }),
              0);
    EXPECT_EQ(asked, &slot);
}
