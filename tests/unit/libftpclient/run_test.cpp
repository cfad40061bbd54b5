// Whole undisturbed jobs, with the daemon's real rhythm and with one that replies at once.
#include "run_fixture.h"

using testing::ElementsAreArray;

class Run : public run_fixture, public testing::WithParamInterface<played_daemon::rhythm_t>
{
};
static std::string name_of(const testing::TestParamInfo<played_daemon::rhythm_t> &rhythm)
{
    return rhythm.param == played_daemon::REAL ? "Real" : "AtOnce";
}
INSTANTIATE_TEST_SUITE_P(, Run, testing::Values(played_daemon::REAL, played_daemon::AT_ONCE), name_of);

TEST_P(Run, ADownloadTellsWhatItMoved)
{
    server.size = 5000000000;
    server.lasts_ms = 250;
    played_daemon daemon(GetParam(), server.plan());
    EXPECT_EQ(run(daemon, FTPCLIENT_DOWNLOAD), FTPCLIENT_OK);
    ftpclient_outcome_t expected = {};
    expected.jobs = 1;
    expected.local_bytes = expected.remote_bytes = FTPCLIENT_UNKNOWN;
    expected.progress = {5000000000, 5000000000, 250, 0, 0, RESPONSE_CODE_FTP, 226, 0, 0};
    EXPECT_EQ(bytes_of(outcome), bytes_of(expected));
    EXPECT_EQ(daemon.starts(), 1u);
}

TEST_P(Run, AnUploadSendsTheWholeFile)
{
    server.lasts_ms = 250;
    played_daemon daemon(GetParam(), server.plan());
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
    EXPECT_EQ(server.size, LOCAL_BYTES);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.jobs, 1);
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_WHOLE);
    EXPECT_EQ(outcome.local_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.remote_bytes, FTPCLIENT_UNKNOWN);
    EXPECT_EQ(outcome.verified, 0);
    EXPECT_EQ(outcome.progress.transferred_bytes, LOCAL_BYTES);
    ASSERT_EQ(daemon.starts(), 1u);
    EXPECT_STREQ(daemon.requests()[0].local_path, local.c_str());
    EXPECT_EQ(daemon.requests()[0].resume, 0u);
}

TEST_P(Run, ALookUpTellsWhatItFound)
{
    server.size = 77;
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.lasts_ms = 250; };
    played_daemon daemon(GetParam(), server.plan());
    EXPECT_EQ(run(daemon, FTPCLIENT_FILE_INFO), FTPCLIENT_OK);
    EXPECT_EQ(outcome.jobs, 1);
    EXPECT_EQ(outcome.file.looked_up, 1);
    EXPECT_EQ(outcome.file.exists, 1);
    EXPECT_EQ(outcome.file.size_bytes, 77);
    EXPECT_EQ(outcome.file.modified_s, 1356998340); // date -u -d '2012-12-31 23:59' +%s
    EXPECT_EQ(outcome.remote_bytes, FTPCLIENT_UNKNOWN);
    EXPECT_EQ(daemon.starts(), 1u);
    server.size = -1;
    EXPECT_EQ(run(daemon, FTPCLIENT_FILE_INFO), FTPCLIENT_OK) << "a missing file is not a failure";
    EXPECT_EQ(outcome.file.looked_up, 1);
    EXPECT_EQ(outcome.file.exists, 0);
}

TEST_P(Run, JobsThatEndAtOnceSendNoUnneededRequests)
{
    server.size = 77;
    played_daemon daemon(GetParam(), server.plan());
    EXPECT_EQ(run(daemon, FTPCLIENT_FILE_INFO), FTPCLIENT_OK);
    EXPECT_EQ(outcome.file.size_bytes, 77);
    EXPECT_EQ(run(daemon, FTPCLIENT_DOWNLOAD), FTPCLIENT_OK);
    EXPECT_EQ(outcome.progress.total_bytes, 77);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK);
    EXPECT_EQ(server.size, LOCAL_BYTES);
    // The state, then the start together with a request for the state and, for a look-up, for the file.
    EXPECT_THAT(daemon.commands(), ElementsAreArray({3, 5, 3, 6, 3, 1, 3, 3, 2, 3}));
}

TEST_P(Run, AFailureIsTheJobsResultWithItsCause)
{
    server.size = 77;
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) {
        job.result = FTPCD_ERR_NETWORK;
        job.curl_code = 67;
        job.response_code = 530;
        job.transferred = 0;
    };
    played_daemon daemon(GetParam(), server.plan());
    for (const int job : {FTPCLIENT_DOWNLOAD, FTPCLIENT_UPLOAD, FTPCLIENT_FILE_INFO}) {
        EXPECT_EQ(run(daemon, job), FTPCLIENT_RESULT_NETWORK);
        EXPECT_EQ(outcome.result, FTPCLIENT_RESULT_NETWORK);
        EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_LOGIN);
        EXPECT_EQ(outcome.progress.curl_code, 67);
        EXPECT_EQ(outcome.jobs, 1);
        EXPECT_EQ(outcome.file.exists, 0);
    }
    EXPECT_EQ(daemon.starts(), 3u) << "a known failure is not repeated";
}

TEST_P(Run, RequestAndClientMayBeFreedAfterTheBeginAndARequestReused)
{
    played_daemon daemon(GetParam(), server.plan());
    auto own = std::make_unique<request_holder>(FTPCLIENT_FTP);
    ASSERT_EQ(ftpclient_request_set_local_path(*own, local.c_str()), FTPCLIENT_OK);
    const call_holder first(daemon.path(), FTPCLIENT_UPLOAD, *own, -1);
    EXPECT_EQ(first.to_the_end(), FTPCLIENT_OK);
    const call_holder second(daemon.path(), FTPCLIENT_UPLOAD, *own, -1);
    own.reset();
    EXPECT_EQ(second.to_the_end(), FTPCLIENT_OK);
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_STREQ(requests[0].local_path, local.c_str());
    EXPECT_EQ(bytes_of(requests[0]), bytes_of(requests[1]));
}

using RunOnce = run_fixture;

TEST_F(RunOnce, TheTurnIsHeldFromTheFirstRequestToTheLast)
{
    server.size = 77;
    int held = 0;
    int free = 0;
    auto look = [&](played_daemon &daemon, const std::vector<uint32_t> &) {
        if (!std::filesystem::exists(daemon.turn_path()))
            return false; // no other program has come yet
        pollfd unused = {};
        poll(&unused, 0, 1);
        (turn_holder(daemon) ? free : held)++;
        return false;
    };
    {
        played_daemon daemon(played_daemon::AT_ONCE, server.plan(), look);
        ASSERT_EQ(run(daemon, FTPCLIENT_FILE_INFO), FTPCLIENT_OK);
        EXPECT_TRUE(turn_holder(daemon)) << "it was released";
    }
    EXPECT_EQ(held, 4);
    EXPECT_EQ(free, 0);
}

TEST_F(RunOnce, TheOutcomeMayBeNullOrOfALaterHeader)
{
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const open_client client(daemon.path());
    EXPECT_EQ(ftpclient_run(client, FTPCLIENT_UPLOAD, request, nullptr, 0, 30000), FTPCLIENT_OK);
    const auto filled = filled_as_later<ftpclient_outcome_t>([&](auto *wide, size_t size) {
        return ftpclient_run(client, FTPCLIENT_UPLOAD, request, wide, size, 30000);
    });
    EXPECT_EQ(filled.upload, FTPCLIENT_UPLOAD_WHOLE);
    const size_t starts = daemon.starts();
    EXPECT_EQ(ftpclient_run(client, FTPCLIENT_UPLOAD, request, &outcome, 151, 30000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(daemon.starts(), starts);
}

// Only an outcome says why a local file cannot be used.
TEST_F(RunOnce, AMissingLocalFileIsACauseOfItsOwn)
{
    played_daemon daemon(played_daemon::REAL, server.plan());
    ASSERT_EQ(ftpclient_request_set_local_path(request, (files / "missing").c_str()), FTPCLIENT_OK);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_RESULT_LOCAL_READ);
    EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_NO_LOCAL_FILE);
    EXPECT_EQ(outcome.local_bytes, FTPCLIENT_UNKNOWN);
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) {
        job.result = FTPCD_ERR_LOCAL_READ;
    };
    ASSERT_EQ(ftpclient_request_set_local_path(request, local.c_str()), FTPCLIENT_OK);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_RESULT_LOCAL_READ);
    EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_OTHER) << "the file exists";
}

TEST_F(RunOnce, AFileThatGrowsMeanwhileHasTheLengthThatTheDaemonFound)
{
    server.lasts_ms = 200;
    server.twist = [this](played_job_t &, uint32_t command, const transfer_request_t &) {
        if (command == COMMAND_UPLOAD)
            files.file("local", std::string(LOCAL_BYTES + 500, 'x'));
    };
    ASSERT_EQ(ftpclient_request_set_verify(request, 1), FTPCLIENT_OK);
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_OK) << "all that existed at the start has arrived";
    EXPECT_EQ(outcome.local_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.verified, 1);
}

TEST_F(RunOnce, AZixiUploadHasTheLengthThatTheDaemonFound)
{
    const request_holder zixi(FTPCLIENT_ZIXI_4);
    ASSERT_EQ(ftpclient_request_set_local_path(zixi, local.c_str()), FTPCLIENT_OK);
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) { job.total = 1500; };
    played_daemon daemon(played_daemon::AT_ONCE, server.plan());
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, zixi);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_OK);
    EXPECT_EQ(call.outcome().local_bytes, 1500);
}
