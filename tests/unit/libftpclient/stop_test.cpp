// The early end of a run: on request, by a time limit, by silence, and with the daemon.
#include "run_fixture.h"

#include <algorithm>
#include <sys/file.h>

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

class Stop : public run_fixture
{
protected:
    static size_t count(const std::vector<uint32_t> &commands, uint32_t command)
    {
        return size_t(std::ranges::count(commands, command));
    }
    static int hold_turn(const played_daemon &daemon)
    {
        const int fd = open(daemon.turn_path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        EXPECT_EQ(flock(fd, LOCK_EX | LOCK_NB), 0) << "the turn is not free";
        return fd;
    }
    // Until the daemon's job has ended, whosever it is.
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

TEST_F(Stop, WhileItWaitsForItsTurnItEndsAtOnce)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const int other = hold_turn(daemon);
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_TURN);
    ASSERT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_DONE);
    EXPECT_EQ(call.outcome().result, FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(call.outcome().jobs, 0);
    EXPECT_THAT(daemon.commands(), ElementsAre());
    close(other);
    close(hold_turn(daemon));
}

TEST_F(Stop, WhileAnotherProgramsJobRunsThatIsLeftAlone)
{
    auto busy = [was_begun = false](played_daemon &daemon, const auto &) mutable {
        played_job_t job;
        job.lasts_ms = 60000;
        if (!was_begun)
            daemon.start(JOB_DOWNLOAD, job);
        was_begun = true;
        return false;
    };
    played_daemon daemon(played_daemon::REAL, server.plan(), busy);
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(call.go_on_to(FTPCLIENT_PHASE_BUSY), FTPCLIENT_PENDING);
    EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(count(daemon.commands(), COMMAND_CANCEL), 0u);
    EXPECT_EQ(daemon.starts(), 0u);
    close(hold_turn(daemon));
}

TEST_F(Stop, ARunningJobIsCancelled)
{
    for (const auto rhythm : {played_daemon::REAL, played_daemon::AT_ONCE}) {
        server.lasts_ms = 60000;
        played_daemon daemon(rhythm, server.plan());
        const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
        ASSERT_EQ(call.go_on([&] { return call.state().running != 0; }), FTPCLIENT_PENDING);
        EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_TRANSFER);
        EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK) << "once more changes nothing";
        if (rhythm == played_daemon::REAL) { // the other may have answered before anybody could look
            EXPECT_EQ(call.go_on_to(FTPCLIENT_PHASE_STOPPING), FTPCLIENT_PENDING);
        }
        EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
        EXPECT_EQ(count(daemon.commands(), COMMAND_CANCEL), 1u);
        EXPECT_EQ(call.outcome().result, FTPCLIENT_RESULT_CANCELED);
        EXPECT_EQ(call.outcome().jobs, 1);
        EXPECT_EQ(until_idle(daemon).result, FTPCLIENT_RESULT_CANCELED);
        close(hold_turn(daemon));
    }
}

TEST_F(Stop, ALookUpIsCancelledToo)
{
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.lasts_ms = 60000; };
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const call_holder call(daemon.path(), FTPCLIENT_FILE_INFO, request);
    ASSERT_EQ(call.go_on([&] { return call.state().running != 0; }), FTPCLIENT_PENDING);
    EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_LOOKING_UP);
    EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(count(daemon.commands(), COMMAND_CANCEL), 1u);
}

TEST_F(Stop, BetweenTheJobsOfAResumedUploadNoneFollows)
{
    server.size = 400;
    server.lasts_ms = 60000;
    ASSERT_EQ(ftpclient_request_set_resume(request, 1), FTPCLIENT_OK);
    played_daemon daemon(played_daemon::REAL, server.plan());
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(call.go_on([&] { return call.outcome().remote_bytes == 400; }), FTPCLIENT_PENDING);
    EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(count(daemon.commands(), COMMAND_UPLOAD), 0u);
    EXPECT_EQ(server.size, 400);
}

TEST_F(Stop, AJobThatEndedByItselfKeepsItsOwnOutcome)
{
    for (const uint32_t result : {uint32_t(FTPCD_ERR_NETWORK), 0u}) {
        server.lasts_ms = 1500; // long against the time in which another could have come between
        server.twist = [result](played_job_t &job, uint32_t, const transfer_request_t &) {
            job.result = result;
        };
        played_daemon daemon(played_daemon::AT_ONCE, server.plan());
        const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
        ASSERT_EQ(call.go_on([&] { return call.state().progress.elapsed_ms >= 1200; }), FTPCLIENT_PENDING);
        until_idle(daemon);
        EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
        EXPECT_EQ(call.to_the_end(), int(result));
        EXPECT_EQ(call.outcome().result, int(result));
        EXPECT_EQ(call.outcome().progress.total_bytes, LOCAL_BYTES);
    }
}

// What a look-up found is not asked for any more: without it there is no outcome, and nothing to go on with.
TEST_F(Stop, ALookUpThatEndedByItselfIsCancelledAllTheSame)
{
    for (const int resume : {0, 1}) {
        server.size = 400;
        server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.lasts_ms = 700; };
        ASSERT_EQ(ftpclient_request_set_resume(request, resume), FTPCLIENT_OK);
        played_daemon daemon(played_daemon::AT_ONCE, server.plan());
        const call_holder call(daemon.path(), resume ? FTPCLIENT_UPLOAD : FTPCLIENT_FILE_INFO, request);
        ASSERT_EQ(call.go_on([&] { return call.state().progress.elapsed_ms >= 450; }), FTPCLIENT_PENDING);
        until_idle(daemon);
        EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
        EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
        EXPECT_EQ(count(daemon.commands(), COMMAND_UPLOAD), 0u);
    }
}

// Ours has failed; before our cancel comes, another program's upload of the same size goes well.
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
    ASSERT_EQ(call.go_on([&] { return call.state().running != 0; }), FTPCLIENT_PENDING);
    while (!has_come)
        until_idle(daemon);
    ASSERT_EQ(until_idle(daemon).result, 0);
    EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
}

TEST_F(Stop, AfterTheEndItChangesNothing)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(call.to_the_end(), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_OK);
    EXPECT_EQ(call.outcome().result, 0);
    EXPECT_EQ(ftpclient_call_stop(nullptr), FTPCLIENT_ERR_ARGUMENT);
}

TEST_F(Stop, WhenTheTimeIsOverTheJobIsCancelled)
{
    server.lasts_ms = 60000;
    played_daemon daemon(played_daemon::REAL, server.plan());
    const auto before = steady_clock::now();
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD, 4000), FTPCLIENT_ERR_TIMEOUT); // by then it runs
    EXPECT_GE(steady_clock::now() - before, milliseconds(4000));
    EXPECT_EQ(count(daemon.commands(), COMMAND_CANCEL), 1u);
    EXPECT_EQ(outcome.jobs, 1);
    EXPECT_EQ(outcome.progress.total_bytes, LOCAL_BYTES);
    EXPECT_EQ(until_idle(daemon).result, FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD, 0), FTPCLIENT_ERR_TIMEOUT) << "without time nothing begins";
    EXPECT_EQ(daemon.starts(), 1u);
}

TEST_F(Stop, AJobInWhichNothingMovesIsCancelled)
{
    server.lasts_ms = 60000;
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.moves = false; };
    ASSERT_EQ(ftpclient_request_set_silence(request, 400), FTPCLIENT_OK);
    played_daemon daemon(played_daemon::REAL, server.plan());
    const auto before = steady_clock::now();
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_ERR_SILENT);
    EXPECT_GE(steady_clock::now() - before, milliseconds(400));
    EXPECT_EQ(count(daemon.commands(), COMMAND_CANCEL), 1u);
}

TEST_F(Stop, AJobThatMovesIsNotSilent)
{
    server.lasts_ms = 4500;
    ASSERT_EQ(ftpclient_request_set_silence(request, 3500), FTPCLIENT_OK);
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
}

TEST_F(Stop, WithoutALimitSilenceIsBorne)
{
    server.lasts_ms = 900;
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.moves = false; };
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
}

TEST_F(Stop, ADaemonThatEndsInTheMiddleIsTold)
{
    server.lasts_ms = 60000;
    for (const auto rhythm : {played_daemon::REAL, played_daemon::AT_ONCE}) {
        played_daemon daemon(rhythm, server.plan());
        const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
        ASSERT_EQ(call.go_on([&] { return call.state().running != 0; }), FTPCLIENT_PENDING);
        daemon.stop();
        const int result = call.to_the_end();
        EXPECT_TRUE(result == FTPCLIENT_ERR_NO_DAEMON || result == FTPCLIENT_ERR_DISCONNECTED)
            << ftpclient_strerror(result);
        EXPECT_EQ(call.outcome().jobs, 1);
        EXPECT_EQ(call.outcome().progress.total_bytes, LOCAL_BYTES);
        close(hold_turn(daemon));
    }
}

TEST_F(Stop, ACallThatIsFreedGivesItsTurnBackAndLetsItsJobRun)
{
    server.lasts_ms = 60000;
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    {
        const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
        ASSERT_EQ(call.go_on([&] { return call.state().running != 0; }), FTPCLIENT_PENDING);
    }
    close(hold_turn(daemon));
    EXPECT_EQ(count(daemon.commands(), COMMAND_CANCEL), 0u);
}
