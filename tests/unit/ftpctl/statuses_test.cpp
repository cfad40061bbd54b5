#include "ftpctl/statuses.h"

#include "libftpclient/ftpclient.h"

#include <gmock/gmock.h>
#include <map>
#include <set>

TEST(Status, EachErrorOfTheLibraryHasOne)
{
    const std::map<int, std::vector<int>> errors = {
        {0, {FTPCLIENT_OK}},
        {1, {FTPCLIENT_ERR_NO_MEMORY, FTPCLIENT_ERR_SYSTEM, FTPCLIENT_ERR_IN_USE}},
        {2,
         {FTPCLIENT_ERR_ARGUMENT, FTPCLIENT_ERR_TOO_LONG, FTPCLIENT_ERR_CHARACTER, FTPCLIENT_ERR_INCOMPLETE}},
        {3, {FTPCLIENT_ERR_NO_DAEMON, FTPCLIENT_ERR_DISCONNECTED, FTPCLIENT_ERR_NO_ANSWER}},
        {4, {FTPCLIENT_ERR_TURN}},
        {5, {FTPCLIENT_ERR_PROTOCOL, FTPCLIENT_ERR_UNREAD}},
        {7, {FTPCLIENT_ERR_NO_RESUME}},
        {8, {FTPCLIENT_ERR_TIMEOUT, FTPCLIENT_ERR_SILENT}},
        {10, {FTPCLIENT_ERR_UNKNOWN_OUTCOME}},
        {11, {FTPCLIENT_ERR_DENIED}},
        {12, {FTPCLIENT_ERR_DIFFERENT}},
    };
    for (const auto &[status, of_it] : errors) {
        for (const int error : of_it)
            EXPECT_EQ(status_of(error, FTPCLIENT_CAUSE_NONE), status) << error;
    }
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

TEST(Status, OfACauseTakesPrecedenceOverTheResult)
{
    int status = 50; // of the first cause
    for (int cause = FTPCLIENT_CAUSE_LOGIN; cause <= FTPCLIENT_CAUSE_PROXY_REFUSED; cause++)
        EXPECT_EQ(status_of(FTPCLIENT_RESULT_NETWORK, cause), status++);
    EXPECT_EQ(status_of(FTPCLIENT_RESULT_NETWORK, FTPCLIENT_CAUSE_PROXY_REFUSED), 64);
    EXPECT_EQ(status_of(FTPCLIENT_RESULT_NETWORK, 999), 36) << "a cause from a later library";
}

TEST(Status, TheTableHasEachPossibleOne)
{
    std::set<int> given;
    for (int error = FTPCLIENT_ERR_READ_ONLY; error <= FTPCLIENT_OK; error++)
        given.insert(status_of(error, FTPCLIENT_CAUSE_NONE));
    for (const int status : {STATUS_NO_FILE, STATUS_EXEC, STATUS_CREDENTIAL})
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

TEST(Status, HasAUniqueNameForPrograms)
{
    std::set<std::string> names;
    int before = -1;
    for (const status_t &row : status_table()) {
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_THAT(row.name, testing::MatchesRegex("[a-z0-9-]+"));
        EXPECT_GE(row.meaning.size(), 4u) << row.name;
        EXPECT_GE(row.remedy.size(), 4u) << row.name;
        EXPECT_LT(before, row.status) << "in ascending order";
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
