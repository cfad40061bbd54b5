// Calls in an event loop: one thread, one epoll, no call that blocks.
#include "run_fixture.h"

#include "notice_bytes.h"

class Loop : public run_fixture
{
protected:
    static bool is_readable(int fd, int timeout_ms = 0)
    {
        pollfd waiting = {fd, POLLIN, 0};
        return poll(&waiting, 1, timeout_ms) == 1;
    }
};

// Two uploads and the notices of both in one program.
TEST_F(Loop, OneThreadServesTwoCallsAndTheNotices)
{
    const std::string notice_path = files / "nm.sock";
    server.twist = [&](played_job_t &job, uint32_t, const transfer_request_t &) {
        job.lasts_ms = 1500; // longer than a busy machine stalls, or the outcome would be unsure
        job.when_done = [&] { announce(connected_to(notice_path), completion(NOTICE_UPLOAD_DONE, 0)); };
    };
    played_daemon daemon(played_daemon::REAL, server.plan());
    ftpclient_notices_t *notices = nullptr;
    ASSERT_EQ(ftpclient_notices_open(notice_path.c_str(), &notices), FTPCLIENT_OK);
    const call_holder calls[] = {{daemon.path(), FTPCLIENT_UPLOAD, request},
                                 {daemon.path(), FTPCLIENT_UPLOAD, request}};
    pollfd waiting[] = {{ftpclient_call_fd(calls[0]), POLLIN, 0},
                        {ftpclient_call_fd(calls[1]), POLLIN, 0},
                        {ftpclient_notices_fd(notices), POLLIN, 0}};
    for (int told = 0; told < 2 || waiting[0].fd != -1 || waiting[1].fd != -1;) {
        ASSERT_GE(poll(waiting, 3, 20000), 1) << "nothing happens for 20 s";
        for (int i = 0; i < 2; i++) {
            if (waiting[i].revents != 0 && ftpclient_call_finish(calls[i]) != FTPCLIENT_PENDING)
                waiting[i].fd = -1;
        }
        ftpclient_notice_t notice;
        told += waiting[2].revents != 0 && ftpclient_notices_receive(notices, &notice, sizeof notice, 0) == 0;
    }
    EXPECT_EQ(ftpclient_call_finish(calls[0]), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_finish(calls[1]), FTPCLIENT_OK);
    EXPECT_EQ(daemon.starts(), 2u);
    ftpclient_notices_close(notices);
}

// How often a call wakes its program until its end.
static int wakings_of(const call_holder &call)
{
    int wakings = 0;
    const int fd = ftpclient_call_fd(call);
    EXPECT_NE(call.go_on([&] {
        wakings++;
        EXPECT_EQ(ftpclient_call_fd(call), fd);
        return false;
    }),
              FTPCLIENT_PENDING);
    return wakings;
}

// Asking for the state needs a few wake-ups; a descriptor that stays readable would cause thousands.
TEST_F(Loop, ACallRarelyWakesItsProgram)
{
    server.lasts_ms = 2000;
    played_daemon daemon(played_daemon::REAL, server.plan());
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    EXPECT_LE(wakings_of(call), 300);
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_OK);
    const auto looks = daemon.commands().size();
    EXPECT_LE(looks, 30u) << "one per pass of the daemon";
    EXPECT_GE(looks, 5u) << "progress is seen";
    const call_holder first(daemon.path(), FTPCLIENT_UPLOAD,
                            request); // keeps the turn: nobody drives it
    const call_holder second(daemon.path(), FTPCLIENT_UPLOAD, request, 1000);
    EXPECT_LE(wakings_of(second), 60) << "in 1 s, with one try per 50 ms";
    EXPECT_EQ(ftpclient_call_finish(second), FTPCLIENT_ERR_TIMEOUT);
}

TEST_F(Loop, WhileTheDaemonIsSilentThereIsNothingToDo)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    daemon.fall_silent();
    const open_client client(daemon.path());
    const auto before = steady_clock::now();
    const call_holder call(ftpclient_begin_ping, client, 400);
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    if (steady_clock::now() - before < milliseconds(300)) {
        EXPECT_FALSE(is_readable(ftpclient_call_fd(call)));
    }
    EXPECT_TRUE(is_readable(ftpclient_call_fd(call), 20000));
    EXPECT_GE(steady_clock::now() - before, milliseconds(400));
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_ERR_TIMEOUT);
}

TEST_F(Loop, AFinishedCallStaysReadableAndKeepsItsResult)
{
    server.lasts_ms = 100;
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(call.to_the_end(), FTPCLIENT_OK);
    for (int i = 0; i < 3; i++) {
        EXPECT_TRUE(is_readable(ftpclient_call_fd(call)));
        EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_DONE);
        EXPECT_EQ(call.outcome().result, 0);
        EXPECT_EQ(call.outcome().upload, FTPCLIENT_UPLOAD_WHOLE);
    }
}

TEST_F(Loop, ACallThatEndsAtItsBeginningOrByAStopIsReadableAtOnce)
{
    const call_holder over(ftpclient_begin_ping, open_client(files / "no.sock"), 10000);
    EXPECT_TRUE(is_readable(ftpclient_call_fd(over)));
    EXPECT_EQ(ftpclient_call_finish(over), FTPCLIENT_ERR_NO_DAEMON);
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    daemon.fall_silent();
    const call_holder call(ftpclient_begin_poll, open_client(daemon.path()), -1);
    EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_ASKING);
    ASSERT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_TRUE(is_readable(ftpclient_call_fd(call)));
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_RESULT_CANCELED);
}

// The phases of a resumed upload that first waits for its turn.
TEST_F(Loop, ThePhasesComeInOrder)
{
    server.size = 400;
    server.lasts_ms = 200;
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.lasts_ms = 200; };
    ASSERT_EQ(ftpclient_request_set_resume(request, 1), FTPCLIENT_OK);
    played_daemon daemon(played_daemon::REAL, server.plan());
    std::vector<int> phases;
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    EXPECT_EQ(call.go_on([&] {
        const int phase = ftpclient_call_phase(call);
        if (phase != FTPCLIENT_PHASE_ASKING && (phases.empty() || phases.back() != phase))
            phases.push_back(phase);
        return false;
    }),
              FTPCLIENT_OK);
    EXPECT_THAT(phases, testing::ElementsAre(FTPCLIENT_PHASE_LOOKING_UP, FTPCLIENT_PHASE_TRANSFER,
                                             FTPCLIENT_PHASE_LOOKING_UP));
    EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_DONE);
}

TEST_F(Loop, ArgumentsAreChecked)
{
    ftpclient_state_t state;
    int32_t last = 0;
    EXPECT_EQ(ftpclient_call_fd(nullptr), -1);
    EXPECT_EQ(ftpclient_call_finish(nullptr), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_stop(nullptr), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_state(nullptr, &state, sizeof state), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_last_result(nullptr, &last), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_outcome(nullptr, &outcome, sizeof outcome), FTPCLIENT_ERR_ARGUMENT);
    ftpclient_call_free(nullptr);
    const open_client client(files / "no.sock");
    const call_holder call(ftpclient_begin_poll, client, 10000);
    EXPECT_EQ(ftpclient_call_state(call, &state, 63), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_state(call, nullptr, 64), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_last_result(call, nullptr), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_outcome(call, &outcome, 151), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_outcome(call, nullptr, 152), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_state(call, &state, sizeof state), FTPCLIENT_OK);
    EXPECT_EQ(state.job, FTPCLIENT_NO_JOB) << "all zero before a reply";
}
