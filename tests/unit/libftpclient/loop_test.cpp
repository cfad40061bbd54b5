// Calls in an event loop: one thread, one epoll, no call that blocks.
#include "run_fixture.h"

#include "notice_bytes.h"

#include <map>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class Loop : public run_fixture
{
protected:
    static bool is_readable(int fd, int timeout_ms = 0)
    {
        pollfd waiting = {fd, POLLIN, 0};
        return poll(&waiting, 1, timeout_ms) == 1;
    }
    static void announce(const std::string &path, const bytes_t &bytes)
    {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        memcpy(address.sun_path, path.data(), path.size());
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
            send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        close(fd);
    }
};

// Two uploads and the notices of both, as a program has them.
TEST_F(Loop, TwoCallsAndTheNoticesInOneThread)
{
    const std::string notice_path = files / "nm.sock";
    server.twist = [&](played_job_t &job, uint32_t, const transfer_request_t &) {
        job.lasts_ms = 150;
        job.when_done = [&] { announce(notice_path, completion(NOTICE_UPLOAD_DONE, 0)); };
    };
    played_daemon daemon(played_daemon::REAL, server.plan());
    ftpclient_notices_t *notices = nullptr;
    ASSERT_EQ(ftpclient_notices_open(notice_path.c_str(), &notices), FTPCLIENT_OK);
    const call_holder calls[] = {{daemon.path(), FTPCLIENT_UPLOAD, request},
                                 {daemon.path(), FTPCLIENT_UPLOAD, request}};
    const int loop = epoll_create1(EPOLL_CLOEXEC);
    for (uint32_t i = 0; i < 3; i++) {
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.u32 = i;
        const int fd = i < 2 ? ftpclient_call_fd(calls[i]) : ftpclient_notices_fd(notices);
        ASSERT_EQ(epoll_ctl(loop, EPOLL_CTL_ADD, fd, &event), 0);
    }
    int results[2] = {FTPCLIENT_PENDING, FTPCLIENT_PENDING};
    int told = 0;
    while (results[0] == FTPCLIENT_PENDING || results[1] == FTPCLIENT_PENDING || told < 2) {
        epoll_event event = {};
        ASSERT_EQ(epoll_wait(loop, &event, 1, 20000), 1) << "nothing happens any more";
        if (event.data.u32 == 2) {
            ftpclient_notice_t notice;
            const int error = ftpclient_notices_receive(notices, &notice, sizeof notice, 0);
            told += error == FTPCLIENT_OK && notice.code == FTPCLIENT_NOTICE_UPLOAD_DONE ? 1 : 0;
            continue;
        }
        const call_holder &call = calls[event.data.u32];
        const int result = ftpclient_call_finish(call);
        results[event.data.u32] = result;
        if (result != FTPCLIENT_PENDING) {
            ASSERT_EQ(epoll_ctl(loop, EPOLL_CTL_DEL, ftpclient_call_fd(call), nullptr), 0);
        }
    }
    EXPECT_EQ(results[0], FTPCLIENT_OK);
    EXPECT_EQ(results[1], FTPCLIENT_OK);
    EXPECT_EQ(daemon.starts(), 2u);
    close(loop);
    ftpclient_notices_close(notices);
}

// Each look of a job needs a few wake-ups; a descriptor that is readable for nothing would give thousands.
TEST_F(Loop, AJobOfTwoSecondsWakesItsProgramRarely)
{
    server.lasts_ms = 2000;
    played_daemon daemon(played_daemon::REAL, server.plan());
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    const int fd = ftpclient_call_fd(call);
    int wakings = 0;
    while (ftpclient_call_finish(call) == FTPCLIENT_PENDING) {
        ASSERT_EQ(ftpclient_call_fd(call), fd);
        ASSERT_TRUE(is_readable(fd, 20000));
        wakings++;
    }
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_OK);
    const auto looks = daemon.commands().size();
    EXPECT_LE(looks, 30u) << "one in each pass of the daemon";
    EXPECT_GE(looks, 5u) << "progress is seen";
    EXPECT_LE(wakings, 300);
}

TEST_F(Loop, ACallThatWaitsForItsTurnSleeps)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const call_holder first(daemon.path(), FTPCLIENT_UPLOAD,
                            request); // holds the turn: it is not gone on with
    const call_holder second(daemon.path(), FTPCLIENT_UPLOAD, request, 1000);
    int wakings = 0;
    while (ftpclient_call_finish(second) == FTPCLIENT_PENDING) {
        ASSERT_TRUE(is_readable(ftpclient_call_fd(second), 20000));
        wakings++;
    }
    EXPECT_EQ(ftpclient_call_finish(second), FTPCLIENT_ERR_TIMEOUT);
    EXPECT_LE(wakings, 60) << "1 s, one try in 50 ms";
}

TEST_F(Loop, WhileTheDaemonIsSilentThereIsNothingToDo)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    daemon.fall_silent();
    const open_client client(daemon.path());
    ftpclient_call_t *call = nullptr;
    const auto before = steady_clock::now();
    ASSERT_EQ(ftpclient_begin_ping(client, 400, &call), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    if (steady_clock::now() - before < milliseconds(300)) {
        EXPECT_FALSE(is_readable(ftpclient_call_fd(call)));
    }
    EXPECT_TRUE(is_readable(ftpclient_call_fd(call), 20000));
    EXPECT_GE(steady_clock::now() - before, milliseconds(400));
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_ERR_TIMEOUT);
    ftpclient_call_free(call);
}

TEST_F(Loop, AFinishedCallStaysReadableAndSaysTheSame)
{
    server.lasts_ms = 100;
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(call.to_the_end(), FTPCLIENT_OK);
    for (int i = 0; i < 3; i++) {
        EXPECT_TRUE(is_readable(ftpclient_call_fd(call)));
        EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_DONE);
        EXPECT_EQ(call.outcome().upload, FTPCLIENT_UPLOAD_WHOLE);
    }
}

TEST_F(Loop, ACallThatEndedWhenItBeganIsReadable)
{
    const open_client client(files / "no.sock");
    ftpclient_call_t *call = nullptr;
    ASSERT_EQ(ftpclient_begin_ping(client, 10000, &call), FTPCLIENT_OK);
    EXPECT_TRUE(is_readable(ftpclient_call_fd(call)));
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_ERR_NO_DAEMON);
    ftpclient_call_free(call);
}

TEST_F(Loop, AStoppedCallIsReadableAtOnce)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    daemon.fall_silent();
    const open_client client(daemon.path());
    ftpclient_call_t *call = nullptr;
    ASSERT_EQ(ftpclient_begin_poll(client, -1, &call), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_ASKING);
    ASSERT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_TRUE(is_readable(ftpclient_call_fd(call)));
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_RESULT_CANCELED);
    ftpclient_call_free(call);
}

// The phases of a resumed upload that first waits for its turn, in their order.
TEST_F(Loop, ThePhasesComeInTheirOrder)
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
    EXPECT_EQ(ftpclient_call_state(nullptr, &state, sizeof state), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_last_result(nullptr, &last), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_outcome(nullptr, &outcome, sizeof outcome), FTPCLIENT_ERR_ARGUMENT);
    ftpclient_call_free(nullptr);
    const open_client client(files / "no.sock");
    ftpclient_call_t *call = nullptr;
    ASSERT_EQ(ftpclient_begin_poll(client, 10000, &call), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_state(call, &state, 63), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_state(call, nullptr, 64), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_last_result(call, nullptr), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_outcome(call, &outcome, 151), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_outcome(call, nullptr, 152), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_call_state(call, &state, sizeof state), FTPCLIENT_OK);
    EXPECT_EQ(state.job, FTPCLIENT_NO_JOB) << "all zero before an answer";
    ftpclient_call_free(call);
}
