#include "ftpspool/verdict.h"

#include "ftpctl/statuses.h"
#include "libftpclient/ftpclient.h"

#include <gtest/gtest.h>
#include <map>

constexpr verdict_t FINAL = verdict_t::FINAL;
constexpr verdict_t SERVER = verdict_t::SERVER;
constexpr verdict_t ENTRY = verdict_t::ENTRY;
constexpr verdict_t DAEMON = verdict_t::DAEMON;

TEST(Verdict, OfAPermanentFailureIsFinal)
{
    const int finals[] = {
        STATUS_CAUSE + int{FTPCLIENT_CAUSE_LOGIN},
        STATUS_CAUSE + int{FTPCLIENT_CAUSE_PROXY_LOGIN},
        STATUS_JOB + int{FTPCLIENT_RESULT_CERT_MISMATCH},
        STATUS_JOB + int{FTPCLIENT_RESULT_HOSTKEY_MISMATCH},
        STATUS_CAUSE + int{FTPCLIENT_CAUSE_NO_LOCAL_FILE},
        STATUS_USAGE,                                // a name that the library refuses
        STATUS_JOB + int{FTPCLIENT_RESULT_INTERNAL}, // a name that the daemon refuses
        STATUS_CAUSE + int{FTPCLIENT_CAUSE_NO_FILE},
        STATUS_CAUSE + int{FTPCLIENT_CAUSE_DENIED},
        STATUS_UNSEEN,
    };
    for (const int status : finals)
        EXPECT_EQ(verdict_of(status), FINAL) << status;
}

TEST(Verdict, OfATemporaryFailureSaysWhatPauses)
{
    const std::map<int, verdict_t> rows = {
        {STATUS_NO_DAEMON, DAEMON},
        {STATUS_BUSY, DAEMON},
        {STATUS_DENIED, DAEMON},
        {STATUS_LOCAL, DAEMON},
        {STATUS_JOB + int{FTPCLIENT_RESULT_NO_MEMORY}, DAEMON},
        {STATUS_CREDENTIAL, SERVER}, // a start of the service with it
        {STATUS_TIMEOUT, SERVER},
        {STATUS_JOB + int{FTPCLIENT_RESULT_TIMEOUT}, SERVER},
        {STATUS_CAUSE + int{FTPCLIENT_CAUSE_NO_NAME}, SERVER},
        {STATUS_CAUSE + int{FTPCLIENT_CAUSE_NOBODY}, SERVER},
        {STATUS_CAUSE + int{FTPCLIENT_CAUSE_UNREACHABLE}, SERVER},
        {STATUS_CAUSE + int{FTPCLIENT_CAUSE_BROKEN}, SERVER},
        {STATUS_CAUSE + int{FTPCLIENT_CAUSE_STALLED}, SERVER},
        {STATUS_CAUSE + int{FTPCLIENT_CAUSE_SERVER_FULL}, SERVER},
        {120, SERVER}, // a result of a later daemon
        {STATUS_DIFFERENT, ENTRY},
        {STATUS_NO_RESUME, ENTRY},
        {STATUS_UNKNOWN, ENTRY},
        {STATUS_JOB + int{FTPCLIENT_RESULT_NETWORK}, ENTRY}, // what has no reason may lie in the file's name
        {STATUS_JOB + int{FTPCLIENT_RESULT_RESPONSE_CODE}, ENTRY},
        {STATUS_CAUSE + int{FTPCLIENT_CAUSE_SFTP}, ENTRY},
        {STATUS_JOB + int{FTPCLIENT_RESULT_CANCELED}, ENTRY}, // by somebody else
    };
    for (const auto &[status, verdict] : rows)
        EXPECT_EQ(verdict_of(status), verdict) << status_find(status).name;
}

TEST(Verdict, BeforeATryMakesLocalFailuresFinal)
{
    const std::map<int, verdict_t> rows = {
        {STATUS_LOCAL, FINAL}, // a profile, a password's file, the file itself
        {STATUS_USAGE, FINAL},
        {STATUS_CAUSE + int{FTPCLIENT_CAUSE_NO_LOCAL_FILE}, FINAL},
        {STATUS_CREDENTIAL, SERVER},
    };
    for (const auto &[status, verdict] : rows)
        EXPECT_EQ(verdict_before(status), verdict) << status_find(status).name;
}
