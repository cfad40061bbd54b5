// What an unfinished upload has left on the server, as its outcome reports it.
#include "run_fixture.h"

// A stopped append leaves the file's beginning unless the daemon has retried it.
class Append : public run_fixture
{
protected:
    static constexpr int64_t BEGUN = 400;
    played_daemon daemon{played_daemon::REAL, server.plan()};

    void SetUp() override
    {
        run_fixture::SetUp();
        ASSERT_EQ(ftpclient_request_set_resume(request, 1), FTPCLIENT_OK);
        server.size = BEGUN;
    }
    void append_lasts(uint32_t retries)
    {
        server.twist = [retries](played_job_t &job, uint32_t command, const transfer_request_t &) {
            if (command != COMMAND_UPLOAD)
                return;
            job.lasts_ms = 60000;
            job.transferred_at_once = 100;
            job.retries = retries;
        };
    }
    static bool is_appending(const call_holder &call)
    {
        return ftpclient_call_phase(call) == FTPCLIENT_PHASE_TRANSFER &&
               call.state().progress.transferred_bytes > 0;
    }
};

TEST_F(Append, ThatIsStoppedCanBeResumedUnlessItWasRetried)
{
    for (const uint32_t retries : {0u, 1u, 4u}) {
        append_lasts(retries);
        server.size = BEGUN;
        const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
        ASSERT_EQ(call.go_on([&] { return is_appending(call); }), FTPCLIENT_PENDING);
        EXPECT_EQ(call.outcome().may_be_spoiled, 1) << "its end is not known yet";
        EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
        EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
        EXPECT_EQ(call.outcome().resumed_bytes, BEGUN);
        EXPECT_EQ(call.outcome().may_be_spoiled, retries > 0 ? 1 : 0) << retries;
    }
}

TEST_F(Append, EndedByALimitIsReportedLikeAStoppedOne)
{
    ASSERT_EQ(ftpclient_request_set_silence(request, 1000), FTPCLIENT_OK);
    for (const uint32_t retries : {0u, 1u}) {
        append_lasts(retries);
        server.size = BEGUN;
        EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_ERR_SILENT);
        EXPECT_EQ(outcome.resumed_bytes, BEGUN);
        EXPECT_EQ(outcome.may_be_spoiled, retries > 0 ? 1 : 0) << retries;
    }
}

TEST_F(Append, WithoutAKnownEndMayHaveSpoiledTheFile)
{
    append_lasts(0);
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(call.go_on([&] { return is_appending(call); }), FTPCLIENT_PENDING);
    daemon.stop();
    EXPECT_LT(call.to_the_end(), 0);
    EXPECT_EQ(call.outcome().may_be_spoiled, 1);
}

TEST_F(Append, ThatIsStoppedBeforeItBeginsHasSentNothing)
{
    append_lasts(0);
    const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
    ASSERT_EQ(call.go_on([&] { return call.outcome().remote_bytes == BEGUN; }), FTPCLIENT_PENDING);
    EXPECT_EQ(ftpclient_call_stop(call), FTPCLIENT_OK);
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_RESULT_CANCELED);
    EXPECT_EQ(count(daemon, COMMAND_UPLOAD), 0u);
    EXPECT_EQ(call.outcome().may_be_spoiled, 0);
}

// The spoiled file stays until the first byte of the whole file is sent.
TEST_F(Append, WithARepairThatSendsNothingLeavesTheFileSpoiled)
{
    for (const double sent : {0.0, 100.0}) {
        server.size = BEGUN;
        server.twist = [this, sent](played_job_t &job, uint32_t command, const transfer_request_t &sent_now) {
            if (command != COMMAND_UPLOAD)
                return;
            const bool is_append = sent_now.resume != 0;
            job.result = FTPCD_ERR_NETWORK;
            job.curl_code = 55;
            job.retries = 2;
            job.transferred = is_append ? 100 : sent;
            job.when_done = [this, is_append] { server.size = is_append ? 500 : server.size; };
        };
        EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_RESULT_NETWORK);
        EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_MENDED);
        EXPECT_EQ(outcome.may_be_spoiled, sent > 0 ? 0 : 1) << sent;
    }
}

TEST_F(Append, ThatFailedWithRetriesMayHaveSpoiledTheFileWhenItsLookUpFails)
{
    server.twist = [looks = 0](played_job_t &job, uint32_t command, const auto &) mutable {
        if (command != COMMAND_UPLOAD && ++looks == 1)
            return;
        job.result = FTPCD_ERR_NETWORK;
        job.curl_code = command == COMMAND_UPLOAD ? 55 : 6;
        job.retries = command == COMMAND_UPLOAD ? 2 : 0;
    };
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_BROKEN) << "of the upload, not of the look-up after it";
    EXPECT_EQ(outcome.progress.retries, 2);
    EXPECT_EQ(outcome.may_be_spoiled, 1);
}

// An SFTP server's full disk looks like other failures, so the outcome has the remote file's size.
class SftpFailure : public run_fixture
{
protected:
    static constexpr uint32_t CURL_SSH = 79;
    played_daemon daemon{played_daemon::AT_ONCE, server.plan()};

    void fail(bool looks_fail)
    {
        server.twist = [this, looks_fail](played_job_t &job, uint32_t command, const transfer_request_t &) {
            if (command != COMMAND_UPLOAD && !looks_fail)
                return;
            job.result = FTPCD_ERR_NETWORK;
            job.curl_code = command == COMMAND_UPLOAD ? CURL_SSH : 7;
            job.response_code = 0;
            job.when_done = [this] { server.size = 300; };
        };
    }
};

TEST_F(SftpFailure, ReportsWhatHasArrived)
{
    fail(false);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_SFTP);
    EXPECT_EQ(outcome.result, FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.remote_bytes, 300);
    EXPECT_EQ(outcome.progress.curl_code, int32_t(CURL_SSH));
    EXPECT_EQ(outcome.jobs, 2);
    EXPECT_EQ(outcome.verified, 0);
}

TEST_F(SftpFailure, OfAnAppendIsNotRepaired)
{
    server.size = 200;
    fail(false);
    ASSERT_EQ(ftpclient_request_set_resume(request, 1), FTPCLIENT_OK);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.remote_bytes, 300);
    EXPECT_EQ(outcome.jobs, 3);
    EXPECT_EQ(outcome.may_be_spoiled, 0);
}

TEST_F(SftpFailure, RemainsTheResultWhenTheLookUpFails)
{
    fail(true);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_SFTP);
    EXPECT_EQ(outcome.remote_bytes, FTPCLIENT_UNKNOWN);
    EXPECT_EQ(outcome.progress.curl_code, int32_t(CURL_SSH));
}

TEST_F(SftpFailure, MakesNoLookUpThroughAProxy)
{
    fail(false);
    ASSERT_EQ(ftpclient_request_set_proxy(request, "gate", 8080), FTPCLIENT_OK);
    EXPECT_EQ(run(daemon, FTPCLIENT_UPLOAD), FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.jobs, 1);
}
