// The early end of a run: on request, by a time limit, by silence, and with the daemon.
#include "run_fixture.h"

using testing::ElementsAre;

class Stop : public run_fixture
{
protected:
    // Waits until the daemon's job has ended, whoever started it.
    static ftpclient_state_t until_idle(const played_daemon &daemon)
    {
        const open_client other(daemon.path());
        ftpclient_state_t state = {};
        do {
            EXPECT_EQ(ftpclient_poll(other, &state, sizeof state, 10000), FTPCLIENT_OK);
        } while (state.running != 0);
        return state;
    }
};

TEST_F(Stop, EndsAWaitForTheTurnAtOnce)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    auto other = std::make_unique<turn_holder>(daemon);
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_TURN);
    ASSERT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_DONE);
    EXPECT_EQ(call.outcome().result, FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(call.outcome().jobs, 0);
    EXPECT_THAT(daemon.commands(), ElementsAre());
    other.reset();
    EXPECT_TRUE(turn_holder(daemon));
}

TEST_F(Stop, LeavesAnotherProgramsJobAlone)
{
    played_daemon daemon(played_daemon::REAL, server.plan(), busy_for(60000));
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(call.go_on_to(FTPCLIENT_PHASE_BUSY), FTPCLIENT_PENDING);
    EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(count(daemon, COMMAND_CANCEL), 0u);
    EXPECT_EQ(daemon.starts(), 0u);
    EXPECT_TRUE(turn_holder(daemon));
}

TEST_F(Stop, ARunningJobIsCancelled)
{
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.lasts_ms = 60000; };
    const std::tuple<played_daemon::rhythm_t, int, int> cases[] = {
        {played_daemon::REAL, FTPCLIENT_UPLOAD, FTPCLIENT_PHASE_TRANSFER},
        {played_daemon::AT_ONCE, FTPCLIENT_UPLOAD, FTPCLIENT_PHASE_TRANSFER},
        {played_daemon::AT_ONCE, FTPCLIENT_FILE_INFO, FTPCLIENT_PHASE_LOOKING_UP}};
    for (const auto &[rhythm, job, phase] : cases) {
        played_daemon daemon(rhythm, server.plan());
        const call_holder call(daemon.path(), job, request);
        ASSERT_EQ(call.go_on_until_it_runs(), FTPCLIENT_PENDING);
        EXPECT_EQ(ftpclient_call_phase(call), phase);
        EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK) << "a second stop changes nothing";
        if (rhythm == played_daemon::REAL) { // AT_ONCE may be past this phase already
            EXPECT_EQ(call.go_on_to(FTPCLIENT_PHASE_STOPPING), FTPCLIENT_PENDING);
        }
        EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
        EXPECT_EQ(count(daemon, COMMAND_CANCEL), 1u);
        EXPECT_EQ(call.outcome().result, FTPCLIENT_RESULT_CANCELED);
        EXPECT_EQ(call.outcome().jobs, 1);
        EXPECT_EQ(until_idle(daemon).result, FTPCLIENT_RESULT_CANCELED);
        EXPECT_TRUE(turn_holder(daemon));
    }
}

// A stopped look-up no longer fetches what it found, so it has no outcome and a resume cannot continue.
TEST_F(Stop, AJobThatEndedByItselfKeepsItsOwnOutcomeButALookUpIsCancelled)
{
    const struct {
        int job;
        int resume;
        uint32_t result;
        int expected;
    } cases[] = {{FTPCLIENT_UPLOAD, 0, FTPCD_ERR_NETWORK, FTPCLIENT_RESULT_NETWORK},
                 {FTPCLIENT_UPLOAD, 0, 0, FTPCLIENT_OK},
                 {FTPCLIENT_UPLOAD, 1, 0, FTPCLIENT_RESULT_CANCELED},
                 {FTPCLIENT_FILE_INFO, 0, 0, FTPCLIENT_RESULT_CANCELED}};
    for (const auto &c : cases) {
        server.size = 400;
        server.twist = [&c](played_job_t &job, uint32_t, const transfer_request_t &) {
            job.lasts_ms = 1500; // long enough to rule out another program's job
            job.result = c.result;
        };
        ASSERT_EQ(ftpclient_request_set_resume(request, c.resume), FTPCLIENT_OK);
        played_daemon daemon(played_daemon::AT_ONCE, server.plan());
        const call_holder call(daemon.path(), c.job, request);
        const auto late = steady_clock::now() + milliseconds(1250);
        ASSERT_EQ(call.go_on([&] { return steady_clock::now() >= late; }), FTPCLIENT_PENDING);
        until_idle(daemon);
        EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
        EXPECT_EQ(call.to_the_end(), c.expected);
        EXPECT_EQ(call.outcome().result, c.expected);
        EXPECT_EQ(daemon.starts(), 1u);
        if (c.expected != FTPCLIENT_RESULT_CANCELED) {
            EXPECT_EQ(call.outcome().progress.total_bytes, LOCAL_BYTES);
        }
    }
}

// Our job fails; before our cancel, another program's upload of the same size succeeds.
TEST_F(Stop, AnotherProgramsSuccessIsNotOurs)
{
    server.lasts_ms = 1000;
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.result = 16; };
    std::atomic<bool> has_come = false;
    auto comes = [&has_come](played_daemon &daemon, const auto &) {
        if (has_come || daemon.starts() == 0 || daemon.is_running() || !daemon.is_noted())
            return false;
        played_job_t job;
        job.total = LOCAL_BYTES;
        daemon.start(JOB_UPLOAD, job);
        has_come = true;
        return true;
    };
    played_daemon daemon(played_daemon::REAL, server.plan(), comes);
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(call.go_on_until_it_runs(), FTPCLIENT_PENDING);
    while (!has_come)
        until_idle(daemon);
    ASSERT_EQ(until_idle(daemon).result, 0);
    EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
}

TEST_F(Stop, AtTheTimeLimitTheJobIsCancelled)
{
    server.lasts_ms = 60000;
    played_daemon daemon(played_daemon::REAL, server.plan());
    const auto before = steady_clock::now();
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD, 4000), FTPCLIENT_ERR_TIMEOUT); // enough to start it
    EXPECT_GE(steady_clock::now() - before, milliseconds(4000));
    EXPECT_EQ(count(daemon, COMMAND_CANCEL), 1u);
    EXPECT_EQ(outcome.jobs, 1);
    EXPECT_EQ(outcome.progress.total_bytes, LOCAL_BYTES);
    EXPECT_EQ(until_idle(daemon).result, FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD, 0), FTPCLIENT_ERR_TIMEOUT) << "no time to begin";
    EXPECT_EQ(daemon.starts(), 1u);
}

TEST_F(Stop, AJobWithoutMovementIsCancelled)
{
    const auto before = steady_clock::now();
    const auto run_upload = [this](int lasts_ms, bool moves, int limit_ms, played_daemon::rhythm_t rhythm) {
        server.lasts_ms = lasts_ms;
        server.twist = [moves](played_job_t &job, uint32_t, const transfer_request_t &) {
            job.moves = moves;
        };
        EXPECT_EQ(ftpclient_request_set_silence(request, limit_ms), FTPCLIENT_OK);
        played_daemon daemon(rhythm, server.plan());
        const int result = run(daemon, FTPCLIENT_UPLOAD);
        EXPECT_EQ(count(daemon, COMMAND_CANCEL), result == FTPCLIENT_ERR_SILENT ? 1u : 0u);
        return result;
    };
    EXPECT_EQ(run_upload(60000, false, 400, played_daemon::REAL), FTPCLIENT_ERR_SILENT);
    EXPECT_GE(steady_clock::now() - before, milliseconds(400));
    EXPECT_EQ(run_upload(4500, true, 3500, played_daemon::AT_ONCE), FTPCLIENT_OK) << "bytes move";
    EXPECT_EQ(run_upload(900, false, -1, played_daemon::AT_ONCE), FTPCLIENT_OK) << "no limit set";
}

TEST_F(Stop, ADaemonThatEndsDuringTheJobIsReported)
{
    server.lasts_ms = 60000;
    for (const auto rhythm : {played_daemon::REAL, played_daemon::AT_ONCE}) {
        played_daemon daemon(rhythm, server.plan());
        const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
        ASSERT_EQ(call.go_on_until_it_runs(), FTPCLIENT_PENDING);
        daemon.stop();
        const int result = call.to_the_end();
        EXPECT_TRUE(result == FTPCLIENT_ERR_NO_DAEMON || result == FTPCLIENT_ERR_DISCONNECTED)
            << ftpclient_strerror(result);
        EXPECT_EQ(call.outcome().jobs, 1);
        EXPECT_EQ(call.outcome().progress.total_bytes, LOCAL_BYTES);
        EXPECT_TRUE(turn_holder(daemon));
    }
}

TEST_F(Stop, FreeingACallReleasesItsTurnAndLetsItsJobRun)
{
    server.lasts_ms = 60000;
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    {
        const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
        ASSERT_EQ(call.go_on_until_it_runs(), FTPCLIENT_PENDING);
    }
    EXPECT_TRUE(turn_holder(daemon));
    EXPECT_EQ(count(daemon, COMMAND_CANCEL), 0u);
}
