#include "ftpctl/statuses.h"

#include "libftpclient/ftpclient.h"

#include <gmock/gmock.h>
#include <set>

using testing::AnyOf;
using testing::StartsWith;

TEST(Status, OfAnErrorIsWhatTheUserCanTell)
{
    const struct {
        int error;
        int status;
    } cases[] = {
        {FTPCLIENT_OK, 0},
        {FTPCLIENT_ERR_ARGUMENT, 2},
        {FTPCLIENT_ERR_TOO_LONG, 2},
        {FTPCLIENT_ERR_CHARACTER, 2},
        {FTPCLIENT_ERR_INCOMPLETE, 2},
        {FTPCLIENT_ERR_NO_MEMORY, 1},
        {FTPCLIENT_ERR_SYSTEM, 1},
        {FTPCLIENT_ERR_NO_DAEMON, 3},
        {FTPCLIENT_ERR_TIMEOUT, 8},
        {FTPCLIENT_ERR_DISCONNECTED, 3},
        {FTPCLIENT_ERR_PROTOCOL, 5},
        {FTPCLIENT_ERR_UNREAD, 5},
        {FTPCLIENT_ERR_IN_USE, 1},
        {FTPCLIENT_ERR_DENIED, 11},
        {FTPCLIENT_ERR_NO_ANSWER, 3},
        {FTPCLIENT_ERR_TURN, 4},
        {FTPCLIENT_ERR_UNKNOWN_OUTCOME, 10},
        {FTPCLIENT_ERR_SILENT, 8},
        {FTPCLIENT_ERR_NO_RESUME, 7},
        {FTPCLIENT_ERR_DIFFERENT, 12},
    };
    for (const auto &c : cases)
        EXPECT_EQ(status_of(c.error, FTPCLIENT_CAUSE_NONE), c.status) << c.error;
}

TEST(Status, OfAResultIs20AndItsCodeWhereNoCauseIsKnown)
{
    for (int result = 1; result <= 23; result++) {
        const int status = result == FTPCLIENT_RESULT_BUSY ? 4 : 20 + result;
        EXPECT_EQ(status_of(result, FTPCLIENT_CAUSE_NONE), status);
        EXPECT_EQ(status_of(result, FTPCLIENT_CAUSE_OTHER), status);
    }
    EXPECT_EQ(status_of(29, FTPCLIENT_CAUSE_OTHER), 49);
    EXPECT_EQ(status_of(30, FTPCLIENT_CAUSE_OTHER), 120) << "30 would be taken for a refused login";
    EXPECT_EQ(status_of(INT32_MAX, FTPCLIENT_CAUSE_OTHER), 120);
}

TEST(Status, OfACauseComesBeforeTheResults)
{
    const struct {
        int cause;
        int status;
    } cases[] = {
        {FTPCLIENT_CAUSE_LOGIN, 50},         {FTPCLIENT_CAUSE_NO_FILE, 51},
        {FTPCLIENT_CAUSE_DENIED, 52},        {FTPCLIENT_CAUSE_NO_NAME, 53},
        {FTPCLIENT_CAUSE_NOBODY, 54},        {FTPCLIENT_CAUSE_UNREACHABLE, 55},
        {FTPCLIENT_CAUSE_HANDSHAKE, 56},     {FTPCLIENT_CAUSE_SERVER_FULL, 57},
        {FTPCLIENT_CAUSE_LOCAL_FULL, 58},    {FTPCLIENT_CAUSE_NO_LOCAL_FILE, 59},
        {FTPCLIENT_CAUSE_PROXY_LOGIN, 60},   {FTPCLIENT_CAUSE_BROKEN, 61},
        {FTPCLIENT_CAUSE_STALLED, 62},       {FTPCLIENT_CAUSE_SFTP, 63},
        {FTPCLIENT_CAUSE_PROXY_REFUSED, 64},
    };
    for (const auto &c : cases)
        EXPECT_EQ(status_of(FTPCLIENT_RESULT_NETWORK, c.cause), c.status);
    EXPECT_EQ(status_of(FTPCLIENT_RESULT_NETWORK, 999), 36) << "a cause of a later library";
}

TEST(Status, EachThatIsEverGivenStandsInTheTable)
{
    std::set<int> given;
    for (int error = FTPCLIENT_ERR_READ_ONLY; error <= FTPCLIENT_OK; error++)
        given.insert(status_of(error, FTPCLIENT_CAUSE_NONE));
    for (const int status : {STATUS_NO_FILE, STATUS_EXEC})
        given.insert(status);
    for (int result = 1; result <= FTPCLIENT_RESULT_REMOTE_FILE_EXISTS; result++) {
        if (std::string(ftpclient_result_name(result)) != "unknown result")
            given.insert(status_of(result, FTPCLIENT_CAUSE_OTHER));
    }
    for (int cause = FTPCLIENT_CAUSE_LOGIN; cause <= FTPCLIENT_CAUSE_PROXY_REFUSED; cause++)
        given.insert(status_of(FTPCLIENT_RESULT_NETWORK, cause));
    given.insert(status_of(1000, FTPCLIENT_CAUSE_OTHER));
    std::set<int> told;
    for (const status_t &row : status_table())
        told.insert(row.status);
    EXPECT_EQ(told, given);
}

TEST(Status, HasANameOfItsOwnForPrograms)
{
    std::set<std::string> names;
    int before = -1;
    for (const status_t &row : status_table()) {
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_THAT(row.name, testing::MatchesRegex("[a-z0-9-]+"));
        EXPECT_GE(row.meaning.size(), 4u) << row.name;
        EXPECT_GE(row.remedy.size(), 4u) << row.name;
        EXPECT_LT(before, row.status) << "in their order";
        before = row.status;
    }
    EXPECT_EQ(status_find(50).name, "login-refused");
    EXPECT_EQ(status_find(36).name, "network");
    EXPECT_EQ(status_find(99).name, "unknown-result");
}

TEST(Status, ASentenceHasTheRemedyAndTheDetails)
{
    EXPECT_EQ(status_sentence(58, "why"), "the local disk is full; make room on the device (why)");
    EXPECT_EQ(status_sentence(22), "there is no job to cancel");
}

TEST(Status, TheHelpHasALineForEach)
{
    const std::string help = status_help();
    EXPECT_THAT(help, StartsWith("Exit status:\n    0  done\n"));
    EXPECT_EQ(std::count(help.begin(), help.end(), '\n'), static_cast<long>(status_table().size()) + 1);
}
