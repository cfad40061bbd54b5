// The start of a job: refusals, what is no job, and other programs before it.
#include "run_fixture.h"

#include <algorithm>
#include <sys/file.h>

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

class Start : public run_fixture
{
protected:
    int start(const played_daemon &daemon, int job, int timeout_ms = 30000)
    {
        const open_client client(daemon.path());
        return ftpclient_start(client, job, request, timeout_ms);
    }
    // The first starts are refused with these.
    void refuse(std::deque<uint32_t> codes)
    {
        server.twist = [codes](played_job_t &job, uint32_t, const transfer_request_t &) mutable {
            if (codes.empty())
                return;
            job.refused = codes.front();
            codes.pop_front();
        };
    }
    // A job of a program that takes no turns runs already.
    static played_daemon::stranger_t busy_for(int lasts_ms)
    {
        return [lasts_ms, was_begun = false](played_daemon &daemon, const auto &) mutable {
            if (!was_begun) {
                played_job_t job;
                job.lasts_ms = lasts_ms;
                daemon.start(JOB_DOWNLOAD, job);
            }
            was_begun = true;
            return false;
        };
    }
    static int hold_turn(const played_daemon &daemon)
    {
        const int fd = open(daemon.turn_path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        EXPECT_EQ(flock(fd, LOCK_EX | LOCK_NB), 0);
        return fd;
    }
};

TEST_F(Start, EachJobIsACommandWithTheRequestBehindALook)
{
    const struct {
        int job;
        uint32_t command;
    } cases[] = {{FTPCLIENT_DOWNLOAD, 1}, {FTPCLIENT_UPLOAD, 2}, {FTPCLIENT_FILE_INFO, 5}};
    for (const auto &c : cases) {
        played_daemon daemon(played_daemon::AT_ONCE, server.plan());
        EXPECT_EQ(start(daemon, c.job), FTPCLIENT_OK);
        EXPECT_THAT(daemon.commands(), ElementsAre(3u, c.command));
        EXPECT_STREQ(daemon.requests().at(0).host, "needed.host");
    }
}

TEST_F(Start, LeavesItsJobAlone)
{
    server.size = 77;
    server.lasts_ms = 60000;
    played_daemon daemon(played_daemon::REAL, server.plan());
    const auto before = steady_clock::now();
    EXPECT_EQ(start(daemon, FTPCLIENT_DOWNLOAD), FTPCLIENT_OK);
    EXPECT_LT(steady_clock::now() - before, milliseconds(30000));
    close(hold_turn(daemon)); // it was given back
}

TEST_F(Start, TakesNoNoticeOfResumeAndVerify)
{
    ASSERT_EQ(ftpclient_request_set_resume(request, 1), FTPCLIENT_OK);
    ASSERT_EQ(ftpclient_request_set_verify(request, 1), FTPCLIENT_OK);
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    EXPECT_EQ(start(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
    EXPECT_THAT(daemon.commands(), ElementsAre(3u, 2u));
    EXPECT_EQ(daemon.requests().at(0).resume, 0u);
}

// Another program was faster (3), or its job had ended and was not noted yet (5).
TEST_F(Start, ARefusalAfterAnIdleLookIsTriedAgain)
{
    for (const std::deque<uint32_t> &codes :
         {std::deque<uint32_t>{3}, {5}, {3, 3, 3, 3, 3, 3}, {5, 5}, {5, 3, 5}}) {
        refuse(codes);
        played_daemon daemon(played_daemon::AT_ONCE, server.plan());
        EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
        EXPECT_EQ(outcome.jobs, 1);
        EXPECT_EQ(daemon.starts(), codes.size() + 1);
        refuse(codes);
        EXPECT_EQ(start(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
    }
}

TEST_F(Start, BeforeEachTryItLooksAgain)
{
    refuse({5, 3});
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    EXPECT_EQ(start(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
    const auto commands = daemon.commands();
    EXPECT_EQ(std::ranges::count(commands, 2u), 3);
    for (size_t i = 0; i < commands.size(); i++) {
        if (commands[i] == COMMAND_UPLOAD) {
            EXPECT_EQ(i == 0 ? 0 : commands[i - 1], uint32_t(COMMAND_GET_STATE));
        }
    }
}

TEST_F(Start, ARealRefusalIsTheDaemonsResult)
{
    for (const uint32_t code : {1u, 4u, 5u, 15u, 99u}) {
        refuse(std::deque<uint32_t>(50, code));
        played_daemon daemon(played_daemon::AT_ONCE, server.plan());
        EXPECT_EQ(start(daemon, FTPCLIENT_DOWNLOAD), int(code));
        const size_t tries = daemon.starts();
        EXPECT_EQ(run(daemon, FTPCLIENT_DOWNLOAD), int(code));
        EXPECT_EQ(outcome.result, int(code));
        EXPECT_EQ(outcome.jobs, 0);
        EXPECT_LE(tries, code == FTPCD_ERR_INTERNAL ? 10u : 1u);
        close(hold_turn(daemon));
    }
}

TEST_F(Start, ARefusalWithoutAReasonMakesNoSense)
{
    for (const uint32_t code : {0u, 0x80000000u, 0xFFFFFFFFu}) {
        job_script script;
        script.states = {idle()};
        script.refusals = {{1, code}};
        fake_daemon daemon(script);
        const open_client client(daemon.path());
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_DOWNLOAD, request, 10000), FTPCLIENT_ERR_PROTOCOL);
    }
}

TEST_F(Start, AJobThatRunsIsWaitedFor)
{
    played_daemon daemon(played_daemon::REAL, server.plan(), busy_for(500));
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(call.go_on_to(FTPCLIENT_PHASE_BUSY), FTPCLIENT_PENDING);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_OK);
    EXPECT_EQ(call.outcome().jobs, 1);
    EXPECT_EQ(daemon.starts(), 1u);
    EXPECT_EQ(server.size, LOCAL_BYTES);
}

TEST_F(Start, WaitingForAJobHasALimit)
{
    for (const int limit : {0, 200}) {
        ASSERT_EQ(ftpclient_request_set_turn_timeout(request, limit), FTPCLIENT_OK);
        played_daemon daemon(played_daemon::REAL, server.plan(), busy_for(60000));
        const auto before = steady_clock::now();
        EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_ERR_TURN);
        EXPECT_GE(steady_clock::now() - before, milliseconds(limit));
        EXPECT_EQ(outcome.jobs, 0);
        EXPECT_EQ(daemon.starts(), 0u);
        EXPECT_EQ(start(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_ERR_TURN);
        close(hold_turn(daemon));
    }
}

TEST_F(Start, WaitingForTheTurnHasALimit)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const int other = hold_turn(daemon);
    for (const int limit : {0, 200}) {
        ASSERT_EQ(ftpclient_request_set_turn_timeout(request, limit), FTPCLIENT_OK);
        const auto before = steady_clock::now();
        EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_ERR_TURN);
        EXPECT_GE(steady_clock::now() - before, milliseconds(limit));
    }
    ASSERT_EQ(ftpclient_request_set_turn_timeout(request, -1), FTPCLIENT_OK);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD, 200), FTPCLIENT_ERR_TIMEOUT);
    EXPECT_THAT(daemon.commands(), ElementsAre());
    close(other);
    ASSERT_EQ(ftpclient_request_set_turn_timeout(request, 0), FTPCLIENT_OK);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK) << "a free turn needs no wait";
}

// The limit is one for the whole call: the turn, then the job of a program that takes none.
TEST_F(Start, TheLimitIsForAllWaitingTogether)
{
    ASSERT_EQ(ftpclient_request_set_turn_timeout(request, 2000), FTPCLIENT_OK);
    played_daemon daemon(played_daemon::REAL, server.plan(), busy_for(60000));
    const int other = hold_turn(daemon);
    const auto before = steady_clock::now();
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    EXPECT_EQ(call.go_on([&] { return steady_clock::now() - before > milliseconds(1500); }),
              FTPCLIENT_PENDING);
    EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_TURN);
    close(other);
    const auto behind = steady_clock::now();
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_ERR_TURN);
    EXPECT_LT(steady_clock::now() - behind, milliseconds(2000));
}

TEST_F(Start, WithoutATurnFileItGoesOnAndTellsWhy)
{
    played_daemon daemon(played_daemon::REAL, server.plan());
    ASSERT_EQ(symlink("elsewhere", daemon.turn_path().c_str()), 0);
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_turn_error(call), ELOOP);
}

TEST_F(Start, WithATurnThereIsNoTurnError)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_turn_error(call), 0);
    EXPECT_EQ(ftpclient_call_turn_error(nullptr), 0);
}

TEST_F(Start, WithoutADaemonNoTurnFileIsMade)
{
    const open_client client(files / "ftp.sock");
    EXPECT_EQ(ftpclient_start(client, FTPCLIENT_UPLOAD, request, 10000), FTPCLIENT_ERR_NO_DAEMON);
    EXPECT_FALSE(std::filesystem::exists(files / "ftp.sock.turn"));
}

TEST_F(Start, AnIncompleteRequestIsNotSent)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const open_client client(daemon.path());
    for (int lacking = 0; lacking < 3; lacking++) {
        ftpclient_request_t *poor = nullptr;
        ASSERT_EQ(ftpclient_request_new(FTPCLIENT_FTP, &poor), FTPCLIENT_OK);
        if (lacking != 0) {
            EXPECT_EQ(ftpclient_request_set_server(poor, "h", 21), FTPCLIENT_OK);
        }
        if (lacking != 1) {
            EXPECT_EQ(ftpclient_request_set_remote_path(poor, "r"), FTPCLIENT_OK);
        }
        if (lacking != 2) {
            EXPECT_EQ(ftpclient_request_set_local_path(poor, "/l"), FTPCLIENT_OK);
        }
        for (const int job : {FTPCLIENT_DOWNLOAD, FTPCLIENT_UPLOAD}) {
            EXPECT_EQ(ftpclient_start(client, job, poor, 10000), FTPCLIENT_ERR_INCOMPLETE);
            EXPECT_EQ(ftpclient_run(client, job, poor, nullptr, 0, 10000), FTPCLIENT_ERR_INCOMPLETE);
        }
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_FILE_INFO, poor, 10000),
                  lacking == 2 ? FTPCLIENT_OK : FTPCLIENT_ERR_INCOMPLETE);
        ftpclient_request_free(poor);
    }
    EXPECT_THAT(daemon.commands(), ElementsAre(3u, 5u));
}

TEST_F(Start, WhatIsNoJobIsRefusedByEachFunction)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const open_client client(daemon.path());
    const request_holder zixi(FTPCLIENT_ZIXI_4);
    const struct {
        ftpclient_t *client;
        int job;
        ftpclient_request_t *request;
    } cases[] = {{client, -1, request},
                 {client, 0, request},
                 {client, 4, request},
                 {client, FTPCLIENT_DOWNLOAD, zixi},
                 {client, FTPCLIENT_FILE_INFO, zixi},
                 {client, FTPCLIENT_DOWNLOAD, nullptr},
                 {nullptr, FTPCLIENT_DOWNLOAD, request}};
    for (const auto &c : cases) {
        auto *call = reinterpret_cast<ftpclient_call_t *>(1);
        EXPECT_EQ(ftpclient_start(c.client, c.job, c.request, 10000), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(ftpclient_run(c.client, c.job, c.request, nullptr, 0, 10000), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(ftpclient_begin_run(c.client, c.job, c.request, 10000, &call), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(call, nullptr);
        EXPECT_EQ(ftpclient_begin_start(c.client, c.job, c.request, 10000, &call), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(ftpclient_begin_run(client, FTPCLIENT_UPLOAD, request, 10000, nullptr),
                  FTPCLIENT_ERR_ARGUMENT);
    }
    EXPECT_THAT(daemon.commands(), ElementsAre());
}

// A remote file's size cannot be asked for through a proxy; a start asks for none.
TEST_F(Start, ThroughAProxyNoSizeIsAskedFor)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const open_client client(daemon.path());
    ASSERT_EQ(ftpclient_request_set_proxy(request, "proxy", 3128), FTPCLIENT_OK);
    EXPECT_EQ(run(daemon, FTPCLIENT_FILE_INFO), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
    for (auto *set : {ftpclient_request_set_resume, ftpclient_request_set_verify}) {
        ASSERT_EQ(set(request, 1), FTPCLIENT_OK);
        EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(run(daemon, FTPCLIENT_DOWNLOAD), FTPCLIENT_OK);
        EXPECT_EQ(start(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
        ASSERT_EQ(set(request, 0), FTPCLIENT_OK);
    }
}
