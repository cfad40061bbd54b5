// A job whose end the test decides, with each engine's ways.
#pragma once

#include "job_slot/job_slot.h"
#include "support/logged.h"
#include "wire/wire.h"

#include <gmock/gmock.h>
#include <semaphore.h>
#include <thread>

inline sem_t reached_;
inline sem_t may_end_;

// The work of a job: lasts until let_go.
inline void held(job_slot_t *slot)
{
    sem_post(&reached_);
    sem_wait(&may_end_);
    job_store_result(slot, job_is_cancelled(slot) ? FTPCD_ERR_CANCELED : FTPCD_ERR_NONE);
}

inline constexpr job_engine_t FORGETS = {
    held, unjoined_t::forgotten, "m(1)", "m(2)", "m(3)", "m(4)", "m(5)", nullptr, "m(7)"};
inline constexpr job_engine_t KEEPS = {held,   unjoined_t::kept, "m(1)", "m(2)", "m(3)",
                                       "m(4)", "m(5)",           "m(6)", "m(7)"};

// In the names of tests.
inline void PrintTo(const job_engine_t *engine, std::ostream *out)
{
    *out << (engine == &KEEPS ? "Keeps" : "Forgets");
}

class JobSlot : public testing::TestWithParam<const job_engine_t *>
{
protected:
    JobSlot()
    {
        slot.engine = GetParam();
        sem_init(&reached_, 0, 0);
        sem_init(&may_end_, 0, 0);
        EXPECT_EQ(job_init(&slot), 0);
    }
    ~JobSlot() override { job_finished(&slot); }

    uint32_t start(job_kind kind = JOB_DOWNLOAD) { return job_start(&slot, kind, &request, 0x34); }
    void start_and_hold(job_kind kind = JOB_DOWNLOAD)
    {
        ASSERT_EQ(start(kind), 0u);
        sem_wait(&reached_);
    }
    void let_go()
    {
        sem_post(&may_end_);
        while (state().module_info.running != 0)
            std::this_thread::yield();
    }
    job_record_t state()
    {
        job_record_t copy;
        job_get_state(&slot, &copy);
        return copy;
    }
    void expect_head(uint32_t running, uint32_t exec, uint32_t result, uint32_t cancel)
    {
        const module_info_t head = state().module_info;
        EXPECT_EQ((std::vector{head.running, head.exec, head.result, head.cancel}),
                  (std::vector{running, exec, result, cancel}));
    }
    // What a start without a worker logs after the line with errno, if any.
    lines refusal(const std::string &text) const
    {
        lines expected{"error: m(5): " + text};
        if (GetParam() == &KEEPS)
            expected.push_back("error: m(6): failed to create thread.\n");
        return expected;
    }

    job_slot_t slot;
    transfer_request_t request{};
};
