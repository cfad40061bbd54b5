#include "job_slot_fixture.h"
#include "support/failing_threads.h"

#include <cerrno>
#include <cstring>

INSTANTIATE_TEST_SUITE_P(BothEngines, JobSlot, testing::Values(&FORGETS, &KEEPS));

static const std::string NO_THREAD = "errno(11) Resource temporarily unavailable\n";

// --- Lock

TEST_P(JobSlot, InitResetsTheHeadAndMakesTheLockRecursive)
{
    slot.record.module_info = {1, 2, 3, 4};
    slot.started = 1;
    EXPECT_EQ(job_init(&slot), 0);
    EXPECT_EQ(slot.started, 0u);
    const job_lock outer(&slot);
    expect_head(0, 0, 0, 0); // takes it again
}

TEST_P(JobSlot, InitFailsWithoutARecursiveLock)
{
    threads_.settype = ENOTSUP;
    EXPECT_EQ(job_init(&slot), -1);
    EXPECT_EQ(logged(), lines{"error: m(1): pthread_mutexattr_settype(): 95\n"});
}

TEST_P(JobSlot, AFailedLockOrUnlockIsOnlyLogged)
{
    threads_.lock = EINVAL;
    job_store_result(&slot, FTPCD_ERR_TIMEOUT);
    EXPECT_EQ(logged(), lines{"error: m(2): pthread_mutex_lock(): 22\n"});
    threads_.unlock = EPERM;
    job_store_result(&slot, FTPCD_ERR_BUSY);
    EXPECT_EQ(logged(), lines{"error: m(3): pthread_mutex_unlock(): 1\n"});
    expect_head(0, 0, FTPCD_ERR_BUSY, 0);
}

TEST_P(JobSlot, TheLockKeepsOtherThreadsOut)
{
    constexpr uint32_t ROUNDS = 20000;
    const auto count = [this] {
        for (uint32_t i = 0; i < ROUNDS; i++) {
            const job_lock lock(&slot);
            slot.record.module_info.result++;
        }
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(state().module_info.result, 2 * ROUNDS);
}

// --- Start

TEST_P(JobSlot, AStartCopiesTheRequestUpToResumeAndResetsTheFigures)
{
    for (const job_kind kind : {JOB_DOWNLOAD, JOB_UPLOAD, JOB_DL_FILE_INFO}) {
        memset(&request, 'x', sizeof request);
        slot.record.module_info = {0, 9, 9, 1};
        slot.record.exec_info = {1, 2, 3, 4, 55, 6, 7, 8, 9};
        const transfer_request_t sent = request;
        start_and_hold(kind);
        memset(&request, 'y', sizeof request); // the caller may reuse it at once
        const job_record_t job = state();
        expect_head(1, kind, 0, 0);
        EXPECT_EQ(memcmp(&job.request, &sent, 2076), 0);
        EXPECT_EQ(job.request.resume, 0u);
        EXPECT_EQ(job.exec_info.total_size + job.exec_info.transferred_size + job.exec_info.elapsed_time, 0);
        EXPECT_EQ(job.exec_info.retry_count, 0u);
        EXPECT_EQ(job.exec_info.zixi_error, 55u); // only the Zixi engine resets it
        let_go();
        EXPECT_EQ(job_finished(&slot), 0);
    }
}

TEST_P(JobSlot, AStartResetsTheRemoteFileAsItsKindRequires)
{
    const remote_file_t known{0x01020301, 1, 500, 2024, 12, 31, 23, 59, 0x755, 0, 77};
    const std::pair<job_kind, remote_file_t> table[] = {
        {JOB_DOWNLOAD, known},
        {JOB_UPLOAD, {0x01020334, 1, 500, 2024, 12, 31, 23, 59, 0x755, 0, 77}},
        {JOB_DL_FILE_INFO, {0, 0, 0, 2024, 12, 31, 23, 59, 0x755, 0, 77}},
    };
    for (const auto &[kind, expected] : table) {
        slot.record.remote_file = known;
        start_and_hold(kind);
        const remote_file_t now = state().remote_file;
        EXPECT_EQ(memcmp(&now, &expected, sizeof now), 0);
        EXPECT_EQ(job_upload_flag(&slot), expected.looked_up & 0xFF);
        let_go();
        EXPECT_EQ(job_finished(&slot), 0);
    }
}

TEST_P(JobSlot, AStartWhileAJobRunsIsBusyAndChangesNothing)
{
    start_and_hold(JOB_UPLOAD);
    const job_record_t before = state();
    strcpy(request.host, "other");
    for (const job_kind kind : {JOB_DOWNLOAD, JOB_UPLOAD, JOB_DL_FILE_INFO})
        EXPECT_EQ(job_start(&slot, kind, &request, 1), 3u);
    const job_record_t after = state();
    EXPECT_EQ(memcmp(&before, &after, sizeof before), 0);
    let_go();
}

TEST_P(JobSlot, WithoutAThreadTheStartFailsWith5AndTheNextOneSucceeds)
{
    threads_.create = EAGAIN;
    EXPECT_EQ(start(), 5u);
    lines expected = refusal(NO_THREAD);
    expected.insert(expected.begin(), "error: m(4): " + NO_THREAD);
    EXPECT_EQ(logged(), expected);
    expect_head(0, JOB_DOWNLOAD, 5, 0);
    EXPECT_EQ(job_finished(&slot), -1);
    start_and_hold();
    let_go();
}

TEST_P(JobSlot, AStartBeforeTheJoinIsRefusedAndTheWorkerDetachedOrKept)
{
    start_and_hold(JOB_DOWNLOAD);
    let_go();
    errno = EAGAIN;
    EXPECT_EQ(start(JOB_UPLOAD), 5u);
    EXPECT_EQ(logged(), refusal(NO_THREAD));
    expect_head(0, JOB_UPLOAD, 5, 0);
    if (GetParam() == &KEEPS) {
        EXPECT_EQ(start(JOB_UPLOAD), 5u) << "as long as it is not joined";
        EXPECT_EQ(job_finished(&slot), 0);
    }
    EXPECT_EQ(job_finished(&slot), -1);
    start_and_hold();
    let_go();
    logged();
}

// --- End

TEST_P(JobSlot, AFinishedJobIsReportedOnceAndItsOutcomeKept)
{
    EXPECT_EQ(job_finished(&slot), -1); // none yet
    start_and_hold();
    EXPECT_EQ(job_finished(&slot), -1); // still running
    let_go();
    slot.record.module_info.result = 16;
    EXPECT_EQ(job_finished(&slot), 0);
    EXPECT_EQ(job_finished(&slot), -1);
    expect_head(0, JOB_DOWNLOAD, 16, 0);
}

TEST_P(JobSlot, AFailedJoinIsLoggedAndTheWorkerForgotten)
{
    start_and_hold();
    let_go();
    threads_.join = ESRCH;
    EXPECT_EQ(job_finished(&slot), ESRCH);
    EXPECT_EQ(logged(), lines{"error: m(7): errno(3) No such process\n"});
    EXPECT_EQ(job_finished(&slot), -1);
}

TEST_P(JobSlot, TheStateIsTheWholeRecord)
{
    struct {
        uint8_t before;
        job_record_t record;
        uint8_t after;
    } out;
    memset(&out, 0xEE, sizeof out);
    memset(&slot.record, 0x11, sizeof slot.record);
    job_get_state(&slot, &out.record);
    EXPECT_EQ(memcmp(&out.record, &slot.record, 2192), 0);
    EXPECT_EQ(out.before, 0xEE);
    EXPECT_EQ(out.after, 0xEE);
    slot.record = {};
}
