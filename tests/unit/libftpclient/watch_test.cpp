// A program that takes no turns interferes: its job must never be mistaken for ours.
#include "run_fixture.h"

#include <ranges>
#include <thread>

class Stranger : public run_fixture
{
protected:
    // The looks that are queued with our last start: several after a doubt.
    static bool are_queued_served(played_daemon &daemon, const std::vector<uint32_t> &served)
    {
        const std::ptrdiff_t queued = daemon.starts() > 1 ? 5 : 1;
        return std::count(served.rbegin(), std::ranges::find(served.rbegin(), served.rend(), COMMAND_UPLOAD),
                          COMMAND_GET_STATE) >= queued;
    }
    // Interferes `times` times: once we have seen our job run, the job ends and is joined in a pass that the
    // stranger uses, and in the next pass the stranger starts its own. It never comes between requests that
    // are queued together.
    static played_daemon::stranger_t comes(int times, uint32_t kind, const played_job_t &job)
    {
        return [=, left = times, begun = size_t(0)](played_daemon &daemon, const auto &served) mutable {
            if (left == 0 || served.empty() || served.back() != COMMAND_GET_STATE ||
                daemon.starts() == begun || !are_queued_served(daemon, served))
                return false;
            if (daemon.is_running()) {
                daemon.let_job_end();
            } else if (daemon.is_noted()) {
                EXPECT_EQ(daemon.start(kind, job), 0u);
                begun = daemon.starts();
                left--;
            }
            return true;
        };
    }
    // An upload like ours that succeeds at once.
    static played_job_t good_upload(double bytes = LOCAL_BYTES)
    {
        played_job_t job;
        job.total = bytes;
        return job;
    }
    // Our job ends by itself with this result after many passes.
    void ours_ends_with(uint32_t result, bool moves = true)
    {
        server.lasts_ms = 1000;
        server.twist = [=](played_job_t &job, uint32_t, const transfer_request_t &) {
            job.result = result;
            job.moves = moves;
        };
    }
};

TEST_F(Stranger, ItsSuccessIsNotOurs)
{
    for (const bool moves : {true, false}) { // without progress the two jobs look the same
        ours_ends_with(FTPCD_ERR_NETWORK, moves);
        played_daemon daemon(played_daemon::REAL, server.plan(), comes(1, JOB_UPLOAD, good_upload()));
        EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_RESULT_NETWORK) << "our job was repeated";
        EXPECT_EQ(outcome.jobs, 2);
        EXPECT_EQ(daemon.starts(), 2u);
    }
}

TEST_F(Stranger, ItsFailureIsNotOurs)
{
    const std::tuple<uint32_t, double, uint32_t, int> cases[] = {
        {JOB_UPLOAD, LOCAL_BYTES, FTPCD_ERR_NETWORK, 0}, // all like ours
        {JOB_UPLOAD, LOCAL_BYTES + 1, 0, 0},             // another size
        {JOB_DOWNLOAD, LOCAL_BYTES, 0, 0},               // another kind
        {JOB_DL_FILE_INFO, 0, 0, 0},
        {JOB_UPLOAD, LOCAL_BYTES, FTPCD_ERR_NETWORK, 450}, // still runs when we ask
    };
    for (const auto &[kind, bytes, result, lasts_ms] : cases) {
        ours_ends_with(0);
        played_job_t job = good_upload(bytes);
        job.result = result;
        job.lasts_ms = lasts_ms;
        played_daemon daemon(played_daemon::REAL, server.plan(), comes(1, kind, job));
        EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK) << kind << " " << bytes;
        EXPECT_EQ(outcome.jobs, 2);
        EXPECT_EQ(outcome.progress.total_bytes, LOCAL_BYTES);
        EXPECT_EQ(server.size, LOCAL_BYTES);
    }
}

TEST_F(Stranger, ThatInterferesEachTimeLeavesTheOutcomeUnknown)
{
    ours_ends_with(FTPCD_ERR_NETWORK);
    played_daemon daemon(played_daemon::REAL, server.plan(), comes(100, JOB_UPLOAD, good_upload()));
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_ERR_UNKNOWN_OUTCOME);
    EXPECT_GT(daemon.starts(), 1u);
    EXPECT_LT(daemon.starts(), 10u);
}

// On a busy device a doubt comes from our own late requests; those that are queued together do not come late.
TEST_F(Stranger, IsKeptOutByRequestsThatAreQueuedWithTheNextStart)
{
    ours_ends_with(0);
    server.lasts_ms = 250;
    played_daemon daemon(played_daemon::REAL, server.plan(), comes(1, JOB_UPLOAD, good_upload()));
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
    EXPECT_EQ(daemon.starts(), 2u);
    const std::vector<uint32_t> served = daemon.commands();
    const auto after_start = std::find(served.rbegin(), served.rend(), uint32_t(COMMAND_UPLOAD)).base();
    EXPECT_EQ(std::vector(after_start, served.end()), std::vector(5, uint32_t(COMMAND_GET_STATE)));
}

// A client that is always woken late while the daemon works through what it has queued.
TEST_F(Stranger, ThatIsOnlyOurOwnLateWakeUpLeavesNoDoubtForLong)
{
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) {
        job.lasts_ms = 900;
        job.moves = false;
        job.result = FTPCD_ERR_NETWORK;
        job.curl_code = 67;
    };
    played_daemon daemon(played_daemon::REAL, server.plan());
    const call_holder call(daemon.path(), FTPCLIENT_FILE_INFO, request);
    const int result = call.go_on([&] {
        const std::vector<uint32_t> served = daemon.commands();
        if (std::ranges::count(served | std::views::reverse | std::views::take(2), COMMAND_GET_STATE) == 2)
            std::this_thread::sleep_for(milliseconds(100));
        return false;
    });
    EXPECT_EQ(result, FTPCLIENT_RESULT_NETWORK);
    EXPECT_LT(daemon.starts(), 5u);
    const std::vector<uint32_t> served = daemon.commands();
    const auto start = std::ranges::find_end(served, std::vector<uint32_t>{COMMAND_DL_FILE_INFO}).begin();
    ASSERT_GE(served.end() - start, 12) << "as many looks as the daemon's queue holds, and again";
    EXPECT_EQ(std::vector(start, start + 12), (std::vector<uint32_t>{5, 3, 3, 3, 3, 6, 3, 3, 3, 3, 3, 6}));
}

// A second run could find the file that the first has made.
TEST_F(Stranger, AZixiUploadThatMustNotOverwriteIsNotRepeated)
{
    for (const int overwrites : {0, 1}) {
        const request_holder zixi(FTPCLIENT_ZIXI_4);
        ASSERT_EQ(ftpclient_request_set_local_path(zixi, local.c_str()), FTPCLIENT_OK);
        ASSERT_EQ(ftpclient_request_set_overwrite(zixi, overwrites), FTPCLIENT_OK);
        ours_ends_with(0);
        played_daemon daemon(played_daemon::REAL, server.plan(), comes(1, JOB_UPLOAD, good_upload(5)));
        const open_client client(daemon.path());
        EXPECT_EQ(ftpclient_run(client, FTPCLIENT_UPLOAD, zixi, nullptr, 0, 30000),
                  overwrites ? FTPCLIENT_OK : FTPCLIENT_ERR_UNKNOWN_OUTCOME);
        EXPECT_EQ(daemon.starts(), overwrites ? 2u : 1u);
    }
}

// The stranger's look-up comes between the end of ours and command 6.
TEST_F(Stranger, ItsFileIsNotTheOneWeAskedFor)
{
    server.size = 77;
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.lasts_ms = 400; };
    played_job_t theirs;
    theirs.found = {1, 1, 999, 2012, 12, 31, 23, 59, 0x755, 0, 0};
    auto after_our_end = [theirs, was_there = false](played_daemon &daemon, const auto &served) mutable {
        // After the state that showed the end; the first state and command 6 are queued with the start.
        if (was_there || daemon.starts() == 0 || daemon.is_running() || !daemon.is_noted() ||
            served.back() != COMMAND_GET_STATE || served.at(served.size() - 2) == COMMAND_DL_FILE_INFO)
            return false;
        was_there = true;
        EXPECT_EQ(daemon.start(JOB_DL_FILE_INFO, theirs), 0u);
        return true;
    };
    played_daemon daemon(played_daemon::REAL, server.plan(), after_our_end);
    EXPECT_EQ(run(daemon, FTPCLIENT_FILE_INFO), FTPCLIENT_OK);
    EXPECT_EQ(outcome.file.size_bytes, 77);
    EXPECT_EQ(daemon.starts(), 2u);
}

TEST_F(Stranger, AResumedUploadWithAnUnknownOutcomeIsSentWhole)
{
    server.size = 400;
    server.lasts_ms = 1000;
    ASSERT_EQ(ftpclient_request_set_resume(request, 1), FTPCLIENT_OK);
    // Our append may have been retried unseen; then the remote file is spoiled, whatever its size.
    auto after_upload = [stranger = comes(1, JOB_UPLOAD, good_upload(600))](played_daemon &daemon,
                                                                            const auto &served) mutable {
        return std::ranges::count(served, uint32_t(COMMAND_UPLOAD)) == 1 && stranger(daemon, served);
    };
    played_daemon daemon(played_daemon::REAL, server.plan(), after_upload);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
    EXPECT_EQ(server.size, LOCAL_BYTES);
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES);
    EXPECT_EQ(count(daemon, COMMAND_DL_FILE_INFO), 2u);
    EXPECT_EQ(count(daemon, COMMAND_UPLOAD), 2u);
    EXPECT_EQ(daemon.requests().at(1).resume, 1u);
    EXPECT_EQ(daemon.requests().at(2).resume, 0u);
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_MENDED);
}

// Its start before the join makes the daemon forget our job and leaves its own 5 as the result.
TEST_F(Stranger, ItsEarlyStartIsNotOurFailure)
{
    ours_ends_with(0);
    auto early = [was_there = false](played_daemon &daemon, const auto &served) mutable {
        if (was_there || daemon.starts() == 0 || served.back() != COMMAND_GET_STATE)
            return false;
        was_there = true;
        daemon.let_job_end();
        EXPECT_EQ(daemon.start(JOB_UPLOAD, played_job_t{}), uint32_t(FTPCD_ERR_INTERNAL));
        return true;
    };
    played_daemon daemon(played_daemon::REAL, server.plan(), early);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
    EXPECT_EQ(outcome.result, 0);
}
