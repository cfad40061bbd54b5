// Uploads that are resumed or verified: which jobs they are made of, and when the remote file is right.
#include "run_fixture.h"

using testing::ElementsAre;
using testing::ElementsAreArray;

class Resume : public run_fixture
{
protected:
    played_daemon daemon{played_daemon::AT_ONCE, server.plan()};

    void SetUp() override
    {
        run_fixture::SetUp();
        ASSERT_EQ(ftpclient_request_set_resume(request, 1), FTPCLIENT_OK);
    }
    // The jobs in their order: 2 an upload, 12 one that appends, 5 a look-up.
    std::vector<uint32_t> jobs()
    {
        std::vector<uint32_t> jobs;
        const auto requests = daemon.requests();
        size_t next = 0;
        for (const uint32_t command : daemon.commands()) {
            if (command == COMMAND_UPLOAD || command == COMMAND_DL_FILE_INFO)
                jobs.push_back(requests[next++].resume != 0 ? command + 10 : command);
        }
        return jobs;
    }
    int upload() { return run(daemon, FTPCLIENT_UPLOAD); }
    // The n-th upload fails.
    void fail_upload(int which, const played_job_t &with, int64_t leaves)
    {
        server.twist = [=, this, uploads = 0](played_job_t &job, uint32_t command, const auto &) mutable {
            if (command != COMMAND_UPLOAD || ++uploads != which)
                return;
            job.result = with.result;
            job.retries = with.retries;
            job.curl_code = with.curl_code;
            job.transferred = 100;
            job.when_done = [this, leaves] { server.size = leaves; };
        };
    }
};

TEST_F(Resume, WithNothingThereTheWholeFileIsSent)
{
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(jobs(), ElementsAre(5u, 2u, 5u));
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_WHOLE);
    EXPECT_EQ(outcome.resumed_bytes, 0);
    EXPECT_EQ(outcome.local_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.verified, 1);
    EXPECT_EQ(outcome.jobs, 3);
}

TEST_F(Resume, AnEmptyRemoteFileIsNothing)
{
    server.size = 0;
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(jobs(), ElementsAre(5u, 2u, 5u));
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_WHOLE);
    EXPECT_EQ(outcome.verified, 1);
}

TEST_F(Resume, WithAllThereNothingIsSent)
{
    server.size = LOCAL_BYTES;
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(jobs(), ElementsAre(5u));
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_NOTHING);
    EXPECT_EQ(outcome.resumed_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.jobs, 1);
}

TEST_F(Resume, AnEmptyLocalFileIsAllThereOnceItIsThere)
{
    files.file("local", "");
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(jobs(), ElementsAre(5u, 2u, 5u));
    EXPECT_EQ(server.size, 0);
    EXPECT_EQ(outcome.verified, 1);
}

TEST_F(Resume, OnlyTheRestIsSent)
{
    server.size = 400;
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(jobs(), ElementsAre(5u, 12u, 5u));
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_REST);
    EXPECT_EQ(outcome.resumed_bytes, 400);
    EXPECT_EQ(outcome.local_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.verified, 1);
    EXPECT_EQ(outcome.progress.total_bytes, 600) << "of the upload, not of a look-up";
    EXPECT_EQ(server.size, LOCAL_BYTES);
}

TEST_F(Resume, ARemoteFileThatIsNoBeginningIsLeftAlone)
{
    server.size = LOCAL_BYTES + 1;
    EXPECT_EQ(upload(), FTPCLIENT_ERR_NO_RESUME);
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES + 1);
    server.size = 400;
    server.tells_size = false;
    EXPECT_EQ(upload(), FTPCLIENT_ERR_NO_RESUME);
    EXPECT_EQ(outcome.remote_bytes, FTPCLIENT_UNKNOWN);
    EXPECT_EQ(outcome.file.exists, 1) << "but its size is not told";
    server.is_link = true;
    EXPECT_EQ(upload(), FTPCLIENT_ERR_NO_RESUME);
    EXPECT_EQ(outcome.file.exists, 0);
    EXPECT_THAT(jobs(), ElementsAre(5u, 5u, 5u)) << "nothing was sent";
}

TEST_F(Resume, ALookUpThatFailsIsTheResult)
{
    server.twist = [](played_job_t &job, uint32_t, const transfer_request_t &) {
        job.result = FTPCD_ERR_NETWORK;
        job.curl_code = 67;
    };
    EXPECT_EQ(upload(), FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_LOGIN);
    EXPECT_THAT(jobs(), ElementsAre(5u));
}

// Some SFTP servers ignore the append flag.
TEST_F(Resume, ARestThatWentElsewhereIsMendedByTheWholeFile)
{
    server.size = 400;
    server.ignores_append = true;
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(jobs(), ElementsAre(5u, 12u, 5u, 2u, 5u));
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_MENDED);
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.verified, 1);
    EXPECT_EQ(outcome.jobs, 5);
    EXPECT_EQ(server.size, LOCAL_BYTES);
}

TEST_F(Resume, ARestThatCameOutTooLongIsMended)
{
    server.size = 400;
    server.twist = [this](played_job_t &job, uint32_t, const transfer_request_t &sent) {
        if (sent.resume != 0)
            job.when_done = [this] { server.size = 400 + LOCAL_BYTES; };
    };
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(jobs(), ElementsAre(5u, 12u, 5u, 2u, 5u));
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_MENDED);
}

TEST_F(Resume, WhatStaysWrongIsAFailureThatSaysWhatIsWhere)
{
    server.size = 400;
    server.too_much = 7;
    EXPECT_EQ(upload(), FTPCLIENT_ERR_DIFFERENT);
    EXPECT_THAT(jobs(), ElementsAre(5u, 12u, 5u, 2u, 5u));
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_MENDED);
    EXPECT_EQ(outcome.local_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES + 7);
    EXPECT_EQ(outcome.verified, 0);
}

TEST_F(Resume, AMendingThatFailsIsTheResult)
{
    server.size = 400;
    server.ignores_append = true;
    played_job_t failed;
    failed.result = FTPCD_ERR_NETWORK;
    failed.curl_code = 55;
    fail_upload(2, failed, 100);
    EXPECT_EQ(upload(), FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.result, FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_MENDED);
    EXPECT_EQ(outcome.verified, 0);
}

TEST_F(Resume, AFailureWithoutARetryIsTheResult)
{
    server.size = 400;
    played_job_t failed;
    failed.result = FTPCD_ERR_NETWORK;
    failed.curl_code = 55;
    fail_upload(1, failed, 700);
    EXPECT_EQ(upload(), FTPCLIENT_RESULT_NETWORK);
    EXPECT_THAT(jobs(), ElementsAre(5u, 12u));
    EXPECT_EQ(outcome.verified, 0);
    EXPECT_EQ(server.size, 700) << "another resume goes on from here";
}

// A resumed upload that is tried again appends the file from its beginning.
TEST_F(Resume, AFailureThatLeftTheFileTooLongIsMended)
{
    server.size = 400;
    played_job_t failed;
    failed.result = FTPCD_ERR_NETWORK;
    failed.retries = 1;
    failed.curl_code = 18;
    fail_upload(1, failed, 400 + LOCAL_BYTES);
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(jobs(), ElementsAre(5u, 12u, 5u, 2u, 5u));
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_MENDED);
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.verified, 1);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_NONE);
}

// It appended from the beginning, but broke before it was too long: the size does not show it.
TEST_F(Resume, AFailureWithRetriesThatAppendedAtAllIsMended)
{
    for (const int64_t leaves : {int64_t(401), int64_t(700), LOCAL_BYTES}) {
        for (const uint32_t result : {uint32_t(FTPCD_ERR_NETWORK), uint32_t(FTPCD_ERR_TIMEOUT)}) {
            server.size = 400;
            played_job_t failed;
            failed.result = result;
            failed.retries = 3;
            fail_upload(1, failed, leaves);
            EXPECT_EQ(upload(), FTPCLIENT_OK) << leaves << " " << result;
            EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_MENDED);
            EXPECT_EQ(outcome.verified, 1);
            EXPECT_EQ(server.size, LOCAL_BYTES);
        }
    }
}

TEST_F(Resume, AFailureWithRetriesThatAppendedNothingIsTheResult)
{
    server.size = 400;
    played_job_t failed;
    failed.result = FTPCD_ERR_NETWORK;
    failed.retries = 3;
    failed.curl_code = 55;
    fail_upload(1, failed, 400);
    EXPECT_EQ(upload(), FTPCLIENT_RESULT_NETWORK);
    EXPECT_THAT(jobs(), ElementsAre(5u, 12u, 5u));
    EXPECT_EQ(outcome.result, FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_BROKEN);
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_REST);
    EXPECT_EQ(outcome.remote_bytes, 400);
    EXPECT_EQ(outcome.progress.retries, 3) << "of the upload, not of the look-up behind it";
    EXPECT_EQ(outcome.verified, 0);
}

TEST_F(Resume, AFileThatGrowsBetweenLookUpAndUploadIsSentAsItIsThen)
{
    server.size = 400;
    server.twist = [this](played_job_t &, uint32_t command, const transfer_request_t &) {
        if (command == COMMAND_DL_FILE_INFO)
            files.file("local", std::string(LOCAL_BYTES + 500, 'x'));
    };
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_REST);
    EXPECT_EQ(outcome.local_bytes, LOCAL_BYTES + 500);
    EXPECT_EQ(server.size, LOCAL_BYTES + 500);
}

TEST_F(Resume, OneTurnIsHeldForAllOfIt)
{
    // All jobs behind each other in one pass of the daemon each: nobody who takes turns came between.
    server.size = 400;
    server.ignores_append = true;
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(daemon.commands(), ElementsAreArray({3, 5, 3, 6, 3, 2, 3, 3, 5, 3, 6, 3, 2, 3, 3, 5, 3, 6}));
}

class Verify : public Resume
{
protected:
    void SetUp() override
    {
        run_fixture::SetUp();
        ASSERT_EQ(ftpclient_request_set_verify(request, 1), FTPCLIENT_OK);
    }
};

TEST_F(Verify, TheSizeIsReadWhenTheUploadHasEnded)
{
    server.size = 400;
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(jobs(), ElementsAre(2u, 5u));
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_WHOLE);
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.resumed_bytes, 0);
    EXPECT_EQ(outcome.verified, 1);
}

TEST_F(Verify, ADifferenceIsAFailure)
{
    server.too_much = 1;
    EXPECT_EQ(upload(), FTPCLIENT_ERR_DIFFERENT);
    EXPECT_THAT(jobs(), ElementsAre(2u, 5u));
    EXPECT_EQ(outcome.remote_bytes, LOCAL_BYTES + 1);
    EXPECT_EQ(outcome.verified, 0);
}

TEST_F(Verify, ASizeThatNobodyTellsIsNotVerified)
{
    server.tells_size = false;
    EXPECT_EQ(upload(), FTPCLIENT_ERR_DIFFERENT);
    EXPECT_EQ(outcome.remote_bytes, FTPCLIENT_UNKNOWN);
    EXPECT_EQ(outcome.verified, 0);
}

TEST_F(Verify, AnUploadThatFailedIsNotLookedAt)
{
    played_job_t failed;
    failed.result = FTPCD_ERR_NETWORK;
    failed.retries = 2;
    fail_upload(1, failed, 100);
    EXPECT_EQ(upload(), FTPCLIENT_RESULT_NETWORK);
    EXPECT_THAT(jobs(), ElementsAre(2u));
}

TEST_F(Verify, ALookUpThatFailsIsTheResult)
{
    server.twist = [](played_job_t &job, uint32_t command, const transfer_request_t &) {
        job.result = command == COMMAND_DL_FILE_INFO ? FTPCD_ERR_NETWORK : 0;
    };
    EXPECT_EQ(upload(), FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_WHOLE);
    EXPECT_EQ(outcome.verified, 0);
}
