// Uploads that are resumed or verified: their jobs, and when the remote file is right.
#include "run_fixture.h"

using testing::ElementsAreArray;

using quirk_t = std::function<void(played_server &)>;

struct row_t {
    const char *name;
    int64_t before; // bytes of the remote file; -1: no file
    quirk_t quirk;  // of the server
    int result;
    const char *jobs; // l: look-up, the first job of a resumed upload; w: the whole file; a: append
    int upload;
    int64_t remote_bytes;
    int verified;
};

static void PrintTo(const row_t &row, std::ostream *out) { *out << row.name; }
static std::string name_of(const testing::TestParamInfo<row_t> &info) { return info.param.name; }

class Sizes : public run_fixture
{
protected:
    played_daemon daemon{played_daemon::AT_ONCE, server.plan()};

    std::string jobs()
    {
        std::string jobs;
        const auto requests = daemon.requests();
        for (const uint32_t command : daemon.commands()) {
            if (command == COMMAND_UPLOAD || command == COMMAND_DL_FILE_INFO)
                jobs += command != COMMAND_UPLOAD ? 'l' : requests[jobs.size()].resume != 0 ? 'a' : 'w';
        }
        return jobs;
    }
    int upload() { return run(daemon, FTPCLIENT_UPLOAD); }
};

class Upload : public Sizes, public testing::WithParamInterface<row_t>
{
};

TEST_P(Upload, RunsItsJobs)
{
    const row_t &row = GetParam();
    const bool is_resumed = row.jobs[0] == 'l';
    ASSERT_EQ((is_resumed ? ftpclient_request_set_resume : ftpclient_request_set_verify)(request, 1),
              FTPCLIENT_OK);
    server.size = row.before;
    if (row.quirk)
        row.quirk(server);
    EXPECT_EQ(upload(), row.result);
    EXPECT_EQ(jobs(), row.jobs);
    EXPECT_EQ(outcome.jobs, int(strlen(row.jobs)));
    EXPECT_EQ(outcome.upload, row.upload);
    EXPECT_EQ(outcome.remote_bytes, row.remote_bytes);
    EXPECT_EQ(outcome.verified, row.verified);
    const bool has_looked = is_resumed && (row.result != FTPCLIENT_RESULT_NETWORK || row.jobs[1] != '\0');
    EXPECT_EQ(outcome.file.exists, has_looked && row.before >= 0 && !server.is_link);
    EXPECT_EQ(outcome.local_bytes, LOCAL_BYTES);
    EXPECT_EQ(outcome.resumed_bytes, strchr(row.jobs, 'a')                    ? 400
                                     : row.upload == FTPCLIENT_UPLOAD_NOTHING ? 1000
                                                                              : 0);
    if (row.result >= 0) {
        EXPECT_EQ(outcome.result, row.result);
    }
    if (row.result == FTPCLIENT_OK) {
        EXPECT_EQ(server.size, LOCAL_BYTES);
        EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_NONE);
    }
}

// Upload number `which` fails and leaves a remote file of `leaves` bytes.
static quirk_t fails(int which, uint32_t result, uint32_t retries, int64_t leaves, bool misdirects = false)
{
    return [=](played_server &server) {
        server.ignores_append = misdirects;
        server.twist = [=, &server, uploads = 0](played_job_t &job, uint32_t command, const auto &) mutable {
            if (command != COMMAND_UPLOAD || ++uploads != which)
                return;
            job.result = result;
            job.retries = retries;
            job.curl_code = 55;
            job.transferred = 100;
            job.when_done = [&server, leaves] { server.size = leaves; };
        };
    };
}
static quirk_t too_long_by(int64_t bytes)
{
    return [bytes](played_server &server) { server.too_much = bytes; };
}
static void ignores_append(played_server &server) { server.ignores_append = true; }
static void tells_no_size(played_server &server) { server.tells_size = false; }
static void lists_a_link(played_server &server) { server.is_link = true; }
static void refuses_look_ups(played_server &server)
{
    server.twist = [](played_job_t &job, uint32_t command, const auto &) {
        job.result = command == COMMAND_DL_FILE_INFO ? FTPCD_ERR_NETWORK : 0;
        job.curl_code = 67;
    };
}
static void appends_all(played_server &server)
{
    server.twist = [&server](played_job_t &job, uint32_t, const transfer_request_t &sent) {
        if (sent.resume != 0)
            job.when_done = [&server] { server.size = 1400; };
    };
}

constexpr int OK = FTPCLIENT_OK;
constexpr int NO_RESUME = FTPCLIENT_ERR_NO_RESUME;
constexpr int DIFFERENT = FTPCLIENT_ERR_DIFFERENT;
constexpr int NETWORK = FTPCLIENT_RESULT_NETWORK;
constexpr int TIMEOUT = FTPCLIENT_RESULT_TIMEOUT;
constexpr int NONE = 0;
constexpr int WHOLE = FTPCLIENT_UPLOAD_WHOLE;
constexpr int REST = FTPCLIENT_UPLOAD_REST;
constexpr int NOTHING = FTPCLIENT_UPLOAD_NOTHING;
constexpr int MENDED = FTPCLIENT_UPLOAD_MENDED;
constexpr int64_t UNKNOWN = FTPCLIENT_UNKNOWN;

static const row_t RESUMED[] = {
    {"WithoutARemoteFileAllIsSent", -1, nullptr, OK, "lwl", WHOLE, 1000, 1},
    {"AnEmptyRemoteFileIsNothing", 0, nullptr, OK, "lwl", WHOLE, 1000, 1},
    {"OfACompleteFileNothingIsSent", 1000, nullptr, OK, "l", NOTHING, 1000, 1},
    {"OnlyTheRestIsSent", 400, nullptr, OK, "lal", REST, 1000, 1},
    {"ALongerRemoteFileIsLeftAlone", 1001, nullptr, NO_RESUME, "l", NONE, 1001, 0},
    {"OneOfUnknownSizeIsLeftAlone", 400, tells_no_size, NO_RESUME, "l", NONE, UNKNOWN, 0},
    {"AnythingButAFileIsLeftAlone", 400, lists_a_link, NO_RESUME, "l", NONE, UNKNOWN, 0},
    {"ALookUpThatFailsIsTheResult", 400, refuses_look_ups, NETWORK, "l", NONE, UNKNOWN, 0},
    // Some SFTP servers ignore the append flag.
    {"ARestThatWentElsewhereIsMended", 400, ignores_append, OK, "lalwl", MENDED, 1000, 1},
    {"ARestThatCameOutTooLongIsMended", 400, appends_all, OK, "lalwl", MENDED, 1000, 1},
    {"WhatStaysWrongIsAFailure", 400, too_long_by(7), DIFFERENT, "lalwl", MENDED, 1007, 0},
    {"AMendingThatFailsIsTheResult", 400, fails(2, NETWORK, 0, 100, true), NETWORK, "lalw", MENDED, 600, 0},
    {"AFailureWithoutARetryIsTheResult", 400, fails(1, NETWORK, 0, 700), NETWORK, "la", REST, 400, 0},
    // A resumed upload that is retried appends the file from its beginning. If that breaks early, the size
    // does not show it.
    {"ATooLongFileIsMended", 400, fails(1, NETWORK, 1, 1400), OK, "lalwl", MENDED, 1000, 1},
    {"OneByteTwiceIsMended", 400, fails(1, NETWORK, 3, 401), OK, "lalwl", MENDED, 1000, 1},
    {"SomeBytesTwiceAreMended", 400, fails(1, TIMEOUT, 3, 700), OK, "lalwl", MENDED, 1000, 1},
    {"TheRightSizeIsMended", 400, fails(1, TIMEOUT, 3, 1000), OK, "lalwl", MENDED, 1000, 1},
    {"NothingAppendedIsAFailure", 400, fails(1, NETWORK, 3, 400), NETWORK, "lal", REST, 400, 0},
};
INSTANTIATE_TEST_SUITE_P(Resume, Upload, testing::ValuesIn(RESUMED), name_of);

static const row_t VERIFIED[] = {
    {"TheSizeIsReadWhenTheUploadHasEnded", 400, nullptr, OK, "wl", WHOLE, 1000, 1},
    {"ADifferenceIsAFailure", -1, too_long_by(1), DIFFERENT, "wl", WHOLE, 1001, 0},
    {"AnUnknownSizeIsNotVerified", -1, tells_no_size, DIFFERENT, "wl", WHOLE, UNKNOWN, 0},
    {"AFailedUploadIsNotVerified", -1, fails(1, NETWORK, 2, 100), NETWORK, "w", WHOLE, UNKNOWN, 0},
    {"ALookUpThatFailsIsTheResult", -1, refuses_look_ups, NETWORK, "wl", WHOLE, UNKNOWN, 0},
};
INSTANTIATE_TEST_SUITE_P(Verify, Upload, testing::ValuesIn(VERIFIED), name_of);

class Resumed : public Sizes
{
protected:
    void SetUp() override
    {
        run_fixture::SetUp();
        ASSERT_EQ(ftpclient_request_set_resume(request, 1), FTPCLIENT_OK);
        server.size = 400;
    }
};

TEST_F(Resumed, AnEmptyLocalFileIsCompleteOnceItExists)
{
    server.size = -1;
    files.file("local", "");
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_EQ(jobs(), "lwl");
    EXPECT_EQ(server.size, 0);
    EXPECT_EQ(outcome.verified, 1);
}

TEST_F(Resumed, ProgressAndFailureAreTheUploadsNotItsLookUps)
{
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_EQ(outcome.progress.total_bytes, 600);
    server.size = 400;
    fails(1, FTPCD_ERR_NETWORK, 3, 400)(server);
    EXPECT_EQ(upload(), FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_BROKEN);
    EXPECT_EQ(outcome.progress.retries, 3);
    refuses_look_ups(server);
    EXPECT_EQ(upload(), FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(outcome.cause, FTPCLIENT_CAUSE_LOGIN) << "of the first failure";
}

TEST_F(Resumed, AFileThatGrowsAfterTheLookUpIsSentWithTheNewBytes)
{
    server.twist = [this](played_job_t &, uint32_t command, const transfer_request_t &) {
        if (command == COMMAND_DL_FILE_INFO)
            files.file("local", std::string(LOCAL_BYTES + 500, 'x'));
    };
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_EQ(outcome.upload, FTPCLIENT_UPLOAD_REST);
    EXPECT_EQ(outcome.local_bytes, LOCAL_BYTES + 500);
    EXPECT_EQ(server.size, LOCAL_BYTES + 500);
}

TEST_F(Resumed, OneTurnIsHeldForAllJobs)
{
    // One job directly after the other: no program that takes turns came between.
    server.ignores_append = true;
    EXPECT_EQ(upload(), FTPCLIENT_OK);
    EXPECT_THAT(daemon.commands(), ElementsAreArray({3, 5, 3, 6, 3, 2, 3, 3, 5, 3, 6, 3, 2, 3, 3, 5, 3, 6}));
}
