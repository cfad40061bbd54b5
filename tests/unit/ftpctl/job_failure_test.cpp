// The messages for a failed job: where the daemon sees other files, and what an upload has left.
#include "ftpctl/job.h"
#include "ftpctl/statuses.h"

#include <gmock/gmock.h>

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Matcher;
using testing::Not;
using testing::StartsWith;

namespace
{

const options_t OPTIONS;

failure of(int code, const ftpclient_outcome_t &outcome = {}, int kind = FTPCLIENT_UPLOAD,
           const std::optional<server_t> &proxy = std::nullopt)
{
    job_t job;
    job.kind = kind;
    job.url.host = "host";
    job.url.port = 2121;
    job.user = "anna";
    job.proxy = proxy;
    job.shown_url = "ftp://host/f";
    job.local = "/home/me/f";
    return job_failure(OPTIONS, job, code, outcome);
}

} // namespace

TEST(JobFailure, OfAPathThatTheDaemonDoesNotSeeHasItsOwnStatusAndSentence)
{
    for (const auto &[error, begins] :
         {std::pair{FTPCLIENT_ERR_OUT_OF_SIGHT, "the daemon finds another file or none at this path"},
          {FTPCLIENT_ERR_READ_ONLY, "the daemon may not write there: it is mounted read-only"}}) {
        const failure why = of(error, {}, FTPCLIENT_DOWNLOAD);
        EXPECT_EQ(why.status, 13);
        EXPECT_THAT(why.what(),
                    AllOf(StartsWith(std::string("/home/me/f: ") + begins),
                          HasSubstr("ProtectHome and PrivateTmp"), EndsWith("; no job was started")));
    }
}

TEST(JobFailure, OfAFileThatTheDaemonCannotOpenExplainsItsView)
{
    for (const auto &[result, name] :
         {std::pair{9, "FTPCD_ERR_LOCAL_WRITE 9"}, {10, "FTPCD_ERR_LOCAL_READ 10"}}) {
        ftpclient_outcome_t outcome = {};
        outcome.cause = FTPCLIENT_CAUSE_OTHER;
        const failure why = of(result, outcome);
        EXPECT_EQ(why.status, 20 + result);
        EXPECT_EQ(why.what(),
                  "the daemon cannot see or write /home/me/f: it has its own rights and its own view of the "
                  "file system (ProtectHome, PrivateTmp, another mount namespace) (" +
                      std::string(name) + ")");
        outcome.progress.transferred_bytes = 1;
        EXPECT_THAT(of(result, outcome).what(), StartsWith("ftp://host/f: the daemon cannot "));
    }
}

TEST(JobFailure, OfACauseBeginsWithItsSubject)
{
    const server_t gate = {std::nullopt, "gate", 8080};
    const struct {
        int cause;
        const char *subject;
        std::optional<server_t> proxy = std::nullopt;
        int curl_code = 0;
    } rows[] = {
        {FTPCLIENT_CAUSE_LOGIN, "anna@host:2121"},
        {FTPCLIENT_CAUSE_NO_FILE, "ftp://host/f"},
        {FTPCLIENT_CAUSE_DENIED, "ftp://host/f"},
        {FTPCLIENT_CAUSE_NO_NAME, "host:2121"},
        {FTPCLIENT_CAUSE_NOBODY, "host:2121"},
        {FTPCLIENT_CAUSE_UNREACHABLE, "host:2121"},
        {FTPCLIENT_CAUSE_HANDSHAKE, "host:2121"},
        {FTPCLIENT_CAUSE_SERVER_FULL, "ftp://host/f"},
        {FTPCLIENT_CAUSE_LOCAL_FULL, "/home/me/f"},
        {FTPCLIENT_CAUSE_BROKEN, "ftp://host/f"},
        {FTPCLIENT_CAUSE_STALLED, "ftp://host/f"},
        {FTPCLIENT_CAUSE_PROXY_LOGIN, "proxy gate:8080", gate},
        {FTPCLIENT_CAUSE_NOBODY, "proxy gate:8080", gate},
        {FTPCLIENT_CAUSE_NO_NAME, "host:2121", gate, 6},
    };
    for (const auto &row : rows) {
        ftpclient_outcome_t outcome = {};
        outcome.cause = row.cause;
        outcome.progress.curl_code = row.curl_code;
        const failure why = of(FTPCLIENT_RESULT_NETWORK, outcome, FTPCLIENT_UPLOAD, row.proxy);
        EXPECT_EQ(why.status, STATUS_CAUSE + row.cause);
        EXPECT_THAT(why.what(), StartsWith(row.subject + (": " + status_find(why.status).meaning) + "; " +
                                           status_find(why.status).remedy + " (FTPCD_ERR_NETWORK 16"));
    }
}

TEST(JobFailure, OfAnAppendSaysWhatItHasLeft)
{
    const Matcher<std::string> goes_on =
        EndsWith("; the remote file had 400 bytes before, --resume continues from what it has now");
    const Matcher<std::string> spoiled =
        EndsWith("; the remote file had 400 bytes before and may now hold a part twice: upload it whole, "
                 "without --resume");
    const Matcher<std::string> nothing = Not(HasSubstr("bytes before"));
    const std::vector<int> stopped = {FTPCLIENT_RESULT_CANCELED, FTPCLIENT_ERR_TIMEOUT, FTPCLIENT_ERR_SILENT};
    const std::vector<int> unseen = {FTPCLIENT_ERR_UNKNOWN_OUTCOME, FTPCLIENT_ERR_NO_DAEMON,
                                     FTPCLIENT_ERR_DISCONNECTED, FTPCLIENT_ERR_NO_ANSWER,
                                     FTPCLIENT_RESULT_NETWORK};
    const struct {
        std::vector<int> codes;
        int64_t resumed_bytes;
        int may_be_spoiled;
        int upload;
        const Matcher<std::string> &line;
    } rows[] = {
        {stopped, 400, 0, 0, goes_on},
        {stopped, 400, 1, 0, spoiled},
        {unseen, 400, 1, 0, spoiled},
        {stopped, 0, 0, 0, nothing},
        {stopped, 400, 0, FTPCLIENT_UPLOAD_MENDED, nothing},
    };
    for (const auto &row : rows) {
        for (const int code : row.codes) {
            ftpclient_outcome_t outcome = {};
            outcome.result = FTPCLIENT_RESULT_CANCELED;
            outcome.jobs = 2;
            outcome.local_bytes = 1000;
            outcome.resumed_bytes = row.resumed_bytes;
            outcome.may_be_spoiled = row.may_be_spoiled;
            outcome.upload = row.upload;
            const failure why = of(code, outcome);
            EXPECT_THAT(why.what(), row.line) << code;
            EXPECT_EQ(why.status, status_of(code, 0));
        }
    }
}

TEST(JobFailure, OfADaemonThatStaysBusyIsThatOfATakenTurn)
{
    EXPECT_EQ(of(FTPCLIENT_RESULT_BUSY).status, 4);
    EXPECT_STREQ(of(FTPCLIENT_RESULT_BUSY).what(), of(FTPCLIENT_ERR_TURN).what());
}

TEST(JobFailure, OverSftpSaysWhatHasArrived)
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

TEST(JobFailure, OfAnImpossibleResumeSaysWhy)
{
    ftpclient_outcome_t outcome = {};
    outcome.local_bytes = 1000;
    outcome.remote_bytes = 1001;
    EXPECT_STREQ(of(FTPCLIENT_ERR_NO_RESUME, outcome).what(),
                 "cannot resume: the remote file has 1001 bytes, the local one only 1000");
    outcome.remote_bytes = FTPCLIENT_UNKNOWN;
    EXPECT_STREQ(of(FTPCLIENT_ERR_NO_RESUME, outcome).what(), "cannot resume: the remote path is not a file");
    outcome.file.exists = 1;
    EXPECT_STREQ(of(FTPCLIENT_ERR_NO_RESUME, outcome).what(),
                 "cannot resume: the server does not report the remote file's size");
}
