// What is said of a job that failed: where the daemon has a view of its own, and what an upload has left.
#include "ftpctl/job.h"
#include "ftpctl/statuses.h"

#include <gmock/gmock.h>

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

const options_t OPTIONS;

failure of(int code, const ftpclient_outcome_t &outcome = {}, int kind = FTPCLIENT_UPLOAD)
{
    job_t job;
    job.kind = kind;
    job.shown_url = "ftp://host/f";
    job.local = "/home/me/f";
    return job_failure(OPTIONS, job, code, outcome);
}

// An upload of 1000 bytes that was to be resumed behind 400.
ftpclient_outcome_t appended(int result, int may_be_spoiled)
{
    ftpclient_outcome_t outcome = {};
    outcome.result = result;
    outcome.jobs = 2;
    outcome.local_bytes = 1000;
    outcome.resumed_bytes = 400;
    outcome.may_be_spoiled = may_be_spoiled;
    return outcome;
}

constexpr const char *GOES_ON =
    "; the remote file had 400 bytes before, --resume goes on from what it has now";
constexpr const char *SPOILED =
    "; the remote file had 400 bytes before and may now hold a part twice: upload "
    "it whole, without --resume";

} // namespace

TEST(JobFailure, OfAPathThatTheDaemonDoesNotSeeHasItsOwnStatusAndSentence)
{
    const failure hidden = of(FTPCLIENT_ERR_OUT_OF_SIGHT);
    EXPECT_EQ(hidden.status, 13);
    EXPECT_THAT(hidden.what(),
                AllOf(StartsWith("/home/me/f: the daemon finds another file or none at this path"),
                      HasSubstr("ProtectHome and PrivateTmp"), EndsWith("; no job was started")));
    const failure read_only = of(FTPCLIENT_ERR_READ_ONLY, {}, FTPCLIENT_DOWNLOAD);
    EXPECT_EQ(read_only.status, 13);
    EXPECT_THAT(read_only.what(),
                AllOf(StartsWith("/home/me/f: the daemon may not write there"), HasSubstr("read-only"),
                      HasSubstr("ProtectHome and PrivateTmp"), EndsWith("; no job was started")));
}

TEST(JobFailure, OfAStoppedAppendTellsWhatIsThereAndThatItCanBeResumed)
{
    for (const int code :
         {int(FTPCLIENT_RESULT_CANCELED), int(FTPCLIENT_ERR_TIMEOUT), int(FTPCLIENT_ERR_SILENT)}) {
        const failure why = of(code, appended(FTPCLIENT_RESULT_CANCELED, 0));
        EXPECT_THAT(why.what(), EndsWith(GOES_ON)) << code;
        EXPECT_EQ(why.status, status_of(code, 0));
    }
}

TEST(JobFailure, OfAnAppendThatMayHaveSpoiledTheFileTellsToUploadItWhole)
{
    for (const int code :
         {int(FTPCLIENT_RESULT_CANCELED), int(FTPCLIENT_ERR_TIMEOUT), int(FTPCLIENT_ERR_SILENT),
          int(FTPCLIENT_ERR_UNKNOWN_OUTCOME), int(FTPCLIENT_ERR_NO_DAEMON), int(FTPCLIENT_ERR_DISCONNECTED),
          int(FTPCLIENT_ERR_NO_ANSWER), int(FTPCLIENT_RESULT_NETWORK)}) {
        const failure why = of(code, appended(FTPCLIENT_RESULT_CANCELED, 1));
        EXPECT_THAT(why.what(), EndsWith(SPOILED)) << code;
        EXPECT_EQ(why.status, status_of(code, 0));
    }
}

TEST(JobFailure, OfAWholeUploadTellsNothingOfWhatWasThere)
{
    for (const int code : {int(FTPCLIENT_RESULT_CANCELED), int(FTPCLIENT_ERR_TIMEOUT)}) {
        ftpclient_outcome_t whole = appended(FTPCLIENT_RESULT_CANCELED, 0);
        whole.resumed_bytes = 0;
        EXPECT_THAT(of(code, whole).what(), Not(HasSubstr("bytes before")));
        ftpclient_outcome_t mended = appended(FTPCLIENT_RESULT_CANCELED, 0);
        mended.upload = FTPCLIENT_UPLOAD_MENDED;
        EXPECT_THAT(of(code, mended).what(), Not(HasSubstr("--resume goes on")));
    }
}

TEST(JobFailure, BehindSftpTellsWhatHasArrived)
{
    ftpclient_outcome_t outcome = {};
    outcome.result = FTPCLIENT_RESULT_NETWORK;
    outcome.cause = FTPCLIENT_CAUSE_SFTP;
    outcome.local_bytes = 1000;
    outcome.remote_bytes = 300;
    EXPECT_THAT(
        of(FTPCLIENT_RESULT_NETWORK, outcome).what(),
        AllOf(HasSubstr("its disk may be full"), EndsWith("; the remote file has 300 of 1000 bytes")));
    outcome.remote_bytes = FTPCLIENT_UNKNOWN;
    EXPECT_THAT(of(FTPCLIENT_RESULT_NETWORK, outcome).what(), Not(HasSubstr("the remote file has")));
}

TEST(JobFailure, OfAResumeTellsWhyItCannotBe)
{
    ftpclient_outcome_t outcome = {};
    outcome.local_bytes = 1000;
    outcome.remote_bytes = 1001;
    EXPECT_STREQ(of(FTPCLIENT_ERR_NO_RESUME, outcome).what(),
                 "cannot resume: the remote file has 1001 bytes, the local one only 1000");
    outcome.remote_bytes = FTPCLIENT_UNKNOWN;
    EXPECT_STREQ(of(FTPCLIENT_ERR_NO_RESUME, outcome).what(),
                 "cannot resume: what the server lists there is no file");
    outcome.file.exists = 1;
    EXPECT_STREQ(of(FTPCLIENT_ERR_NO_RESUME, outcome).what(),
                 "cannot resume: the server does not tell the remote file's size");
}
