// The start of a job: refusals, invalid jobs, and waiting for other programs.
#include "run_fixture.h"

using testing::ElementsAre;

class Start : public run_fixture
{
protected:
    int start(const played_daemon &daemon, int job, int timeout_ms = 30000)
    {
        const open_client client(daemon.path());
        return ftpclient_start(client, job, request, timeout_ms);
    }
    // Makes the daemon refuse the first starts with these codes.
    void refuse(std::deque<uint32_t> codes)
    {
        server.twist = [codes](played_job_t &job, uint32_t, const transfer_request_t &) mutable {
            if (codes.empty())
                return;
            job.refused = codes.front();
            codes.pop_front();
        };
    }
};

TEST_F(Start, SendsTheCommandAfterTheStateAndNeitherResumesNorVerifies)
{
    ASSERT_EQ(ftpclient_request_set_resume(request, 1), FTPCLIENT_OK);
    ASSERT_EQ(ftpclient_request_set_verify(request, 1), FTPCLIENT_OK);
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.lasts_ms = 60000; };
    const std::pair<int, uint32_t> cases[] = {
        {FTPCLIENT_DOWNLOAD, 1}, {FTPCLIENT_UPLOAD, 2}, {FTPCLIENT_FILE_INFO, 5}};
    for (const auto &[job, command] : cases) {
        played_daemon daemon(played_daemon::AT_ONCE, server.plan());
        EXPECT_EQ(start(daemon, job), FTPCLIENT_OK);
        EXPECT_THAT(daemon.commands(), ElementsAre(3u, command));
        EXPECT_STREQ(daemon.requests().at(0).host, "needed.host");
        EXPECT_EQ(daemon.requests().at(0).resume, 0u);
        EXPECT_TRUE(turn_holder(daemon)) << "its job keeps running";
    }
}

// Another program was faster (3), or its job had ended but was not joined yet (5).
TEST_F(Start, ARefusalThoughTheDaemonWasIdleIsRetriedOnceItIsIdleAgain)
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
        uint32_t before = 0;
        for (const uint32_t command : daemon.commands()) {
            EXPECT_TRUE(command != COMMAND_UPLOAD || before == COMMAND_GET_STATE);
            before = command;
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
        EXPECT_TRUE(turn_holder(daemon));
    }
}

TEST_F(Start, ARefusalWithoutAReasonIsInvalid)
{
    for (const uint32_t code : {0u, 0x80000000u, 0xFFFFFFFFu}) {
        job_script script = script_of({idle()});
        script.refusals = {{1, code}};
        fake_daemon daemon(script);
        const open_client client(daemon.path());
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_DOWNLOAD, request, 10000), FTPCLIENT_ERR_PROTOCOL);
    }
}

TEST_F(Start, WaitsForARunningJob)
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
        EXPECT_TRUE(turn_holder(daemon));
    }
}

TEST_F(Start, WaitingForTheTurnHasALimit)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    auto other = std::make_unique<turn_holder>(daemon);
    for (const int limit : {0, 200}) {
        ASSERT_EQ(ftpclient_request_set_turn_timeout(request, limit), FTPCLIENT_OK);
        const auto before = steady_clock::now();
        EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_ERR_TURN);
        EXPECT_GE(steady_clock::now() - before, milliseconds(limit));
    }
    ASSERT_EQ(ftpclient_request_set_turn_timeout(request, -1), FTPCLIENT_OK);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD, 200), FTPCLIENT_ERR_TIMEOUT);
    EXPECT_THAT(daemon.commands(), ElementsAre());
    other.reset();
    ASSERT_EQ(ftpclient_request_set_turn_timeout(request, 0), FTPCLIENT_OK);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK) << "a free turn is taken at once";
}

// One limit covers the whole call: the wait for the turn, then for the job of a program that takes none.
TEST_F(Start, TheLimitIsForAllWaitingTogether)
{
    ASSERT_EQ(ftpclient_request_set_turn_timeout(request, 2000), FTPCLIENT_OK);
    played_daemon daemon(played_daemon::REAL, server.plan(), busy_for(60000));
    auto other = std::make_unique<turn_holder>(daemon);
    const auto before = steady_clock::now();
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    EXPECT_EQ(call.go_on([&] { return steady_clock::now() - before > milliseconds(1500); }),
              FTPCLIENT_PENDING);
    EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_TURN);
    other.reset();
    const auto behind = steady_clock::now();
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_ERR_TURN);
    EXPECT_LT(steady_clock::now() - behind, milliseconds(2000));
}

TEST_F(Start, WithoutATurnFileItRunsAndReportsWhy)
{
    played_daemon daemon(played_daemon::REAL, server.plan());
    for (const int error : {0, ELOOP}) {
        const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
        EXPECT_EQ(call.to_the_end(), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_call_turn_error(call), error);
        std::filesystem::remove(daemon.turn_path());
        std::filesystem::create_symlink("elsewhere", daemon.turn_path());
    }
    EXPECT_EQ(ftpclient_call_turn_error(nullptr), 0);
}

TEST_F(Start, WithoutADaemonNoTurnFileIsCreated)
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
        if (lacking != 0)
            ftpclient_request_set_server(poor, "h", 21);
        if (lacking != 1)
            ftpclient_request_set_remote_path(poor, "r");
        if (lacking != 2)
            ftpclient_request_set_local_path(poor, "/l");
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

TEST_F(Start, EachFunctionRefusesAnInvalidJob)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const open_client client(daemon.path());
    const request_holder zixi(FTPCLIENT_ZIXI_4);
    const std::tuple<ftpclient_t *, int, ftpclient_request_t *> cases[] = {
        {client, -1, request},
        {client, 0, request},
        {client, 4, request},
        {client, FTPCLIENT_DOWNLOAD, zixi},
        {client, FTPCLIENT_FILE_INFO, zixi},
        {client, FTPCLIENT_DOWNLOAD, nullptr},
        {nullptr, FTPCLIENT_DOWNLOAD, request}};
    for (const auto &[used, job, asked] : cases) {
        auto *call = reinterpret_cast<ftpclient_call_t *>(1);
        EXPECT_EQ(ftpclient_start(used, job, asked, 10000), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(ftpclient_run(used, job, asked, nullptr, 0, 10000), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(ftpclient_begin_run(used, job, asked, 10000, &call), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(call, nullptr);
        EXPECT_EQ(ftpclient_begin_start(used, job, asked, 10000, &call), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(ftpclient_begin_run(used, FTPCLIENT_UPLOAD, asked, 10000, nullptr), FTPCLIENT_ERR_ARGUMENT);
    }
    EXPECT_THAT(daemon.commands(), ElementsAre());
}

// The daemon makes no look-ups through a proxy, and a start needs none.
TEST_F(Start, ThroughAProxyNoSizeIsRequested)
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
