#include "ftpctl/event.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using json = nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Matcher;
using testing::Not;
using testing::StartsWith;

namespace
{

constexpr time_t NOW = 1700000000;

ftpclient_progress_t moved(int64_t total, int64_t transferred)
{
    return {total, transferred, 2500, 0, 0, 0, 0, 0, 0};
}

event_t event_of(int code, int result, const ftpclient_progress_t &progress = moved(5368709120, 5368709120))
{
    return event_of_notice({code, result, progress}, NOW);
}

// A failed login: libcurl's code 67, the server's 530.
constexpr ftpclient_progress_t REFUSED = {0, 0, 2500, 67, 0, 1, 530, 0, 0};

event_t event_of_started(int result) { return event_of_notice({FTPCLIENT_NOTICE_STARTED, result, {}}, NOW); }

ftpclient_state_t upload(int running, int64_t total, int64_t transferred)
{
    return {running, FTPCLIENT_UPLOAD, 0, 0, moved(total, transferred)};
}

} // namespace

TEST(Event, SaysWhetherAJobIsDoneOrHasFailed)
{
    const std::tuple<int, int, Matcher<std::string>, const char *> rows[] = {
        {FTPCLIENT_NOTICE_DOWNLOAD_DONE, 0, "download done, 40 of 100 bytes in 2.5 s", "download"},
        {FTPCLIENT_NOTICE_UPLOAD_DONE, 0, "upload done, 40 of 100 bytes in 2.5 s", "upload"},
        {FTPCLIENT_NOTICE_FILE_INFO_DONE, 0, StartsWith("file information done, "), "info"},
        {FTPCLIENT_NOTICE_DOWNLOAD_DONE, 9, StartsWith("download failed, "), "download"},
        {FTPCLIENT_NOTICE_UPLOAD_DONE, 16,
         AllOf(StartsWith("upload failed, 40 of 100 bytes in 2.5 s, "), HasSubstr("FTPCD_ERR_NETWORK 16")),
         "upload"},
        {FTPCLIENT_NOTICE_FILE_INFO_DONE, 16, StartsWith("file information failed, "), "info"},
    };
    for (const auto &[code, result, line, name] : rows) {
        const event_t event = event_of(code, result, moved(100, 40));
        EXPECT_THAT(event.line, line);
        EXPECT_THAT(event.variables, Contains(std::string("FTPCTL_EVENT=") + name));
    }
}

TEST(Event, OfAFailedJobHasItsCause)
{
    const event_t event = event_of(FTPCLIENT_NOTICE_UPLOAD_DONE, 16, REFUSED);
    EXPECT_THAT(event.line, HasSubstr(ftpclient_cause_text(FTPCLIENT_CAUSE_LOGIN)));
    EXPECT_THAT(event.variables,
                Contains(std::string("FTPCTL_CAUSE=") + ftpclient_cause_name(FTPCLIENT_CAUSE_LOGIN)));
    EXPECT_THAT(event_of(FTPCLIENT_NOTICE_UPLOAD_DONE, 0).variables,
                Not(Contains(StartsWith("FTPCTL_CAUSE="))));
}

TEST(Event, ShowsItsRetriesOnce)
{
    ftpclient_progress_t progress = moved(100, 40);
    progress.retries = 2;
    EXPECT_THAT(event_of(FTPCLIENT_NOTICE_UPLOAD_DONE, 0, progress).line, EndsWith(", 2 retries"));
    const std::string failed = event_of(FTPCLIENT_NOTICE_UPLOAD_DONE, 16, progress).line;
    const size_t first = failed.find("2 retries");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(failed.find("retries", first + 9), std::string::npos) << failed;
}

TEST(Event, SaysWhetherTheDaemonHasStarted)
{
    EXPECT_EQ(event_of_started(0).line, "daemon started");
    EXPECT_THAT(event_of_started(5).line,
                AllOf(StartsWith("daemon failed to start, "), HasSubstr("FTPCD_ERR_INTERNAL 5")));
    EXPECT_THAT(event_of_started(5).variables,
                AllOf(Contains("FTPCTL_EVENT=started"), Contains("FTPCTL_RESULT=5"),
                      Not(Contains(StartsWith("FTPCTL_TOTAL_SIZE=")))));
}

TEST(Event, SaysThatTheDaemonHasGoneAndIsBack)
{
    const std::string gone = std::string("daemon gone, ") + ftpclient_strerror(FTPCLIENT_ERR_NO_DAEMON);
    for (const int error : {int(FTPCLIENT_ERR_NO_DAEMON), int(FTPCLIENT_OK)}) {
        const bool is_back = error == FTPCLIENT_OK;
        const event_t event = event_of_daemon(error, NOW);
        EXPECT_EQ(event.line, is_back ? "daemon back" : gone);
        EXPECT_EQ(json::parse(event.json), json({{"event", "daemon"}, {"time", NOW}, {"running", is_back}}));
        EXPECT_THAT(event.variables, AllOf(Contains("FTPCTL_EVENT=daemon"),
                                           Contains(is_back ? "FTPCTL_RUNNING=1" : "FTPCTL_RUNNING=0")));
    }
}

TEST(Event, TheEndOfAJobHasEachNumberAsAVariable)
{
    const event_t event =
        event_of(FTPCLIENT_NOTICE_UPLOAD_DONE, 16, {5368709120, 1048576, 2500, 56, 99, 1, 426, 3, 7});
    for (const char *variable :
         {"FTPCTL_EVENT=upload", "FTPCTL_TIME=1700000000", "FTPCTL_RESULT=16",
          "FTPCTL_RESULT_NAME=FTPCD_ERR_NETWORK", "FTPCTL_TOTAL_SIZE=5368709120",
          "FTPCTL_TRANSFERRED_SIZE=1048576", "FTPCTL_ELAPSED_TIME=2.500000", "FTPCTL_CURL_CODE=56",
          "FTPCTL_RESPONSE_CODE_TYPE=1", "FTPCTL_RESPONSE_CODE=426", "FTPCTL_RETRY_COUNT=3"})
        EXPECT_THAT(event.variables, Contains(variable));
    EXPECT_THAT(event.variables, Contains("FTPCTL_LINE=" + event.line));
    EXPECT_THAT(event.variables, Contains("FTPCTL_JSON=" + event.json));
    EXPECT_EQ(json::parse(event.json)["event"], "upload");
    EXPECT_EQ(json::parse(event.json)["time"], NOW);
    EXPECT_THAT(event.variables, Not(Contains(StartsWith("FTPCTL_ZIXI_ERROR="))));
    EXPECT_THAT(event_of(FTPCLIENT_NOTICE_UPLOAD_DONE, 16, {100, 40, 0, 0, -17, 3, 0, 0, 0}).variables,
                Contains("FTPCTL_ZIXI_ERROR=-17"));
}

TEST(Event, OfAStateShowsTheRunningJob)
{
    const event_t event = event_of_state(upload(1, 100, 40), 5);
    EXPECT_EQ(event.line, "running: upload, 40 of 100 bytes in 2.5 s");
    for (const char *variable : {"FTPCTL_EVENT=state", "FTPCTL_RUNNING=1", "FTPCTL_JOB=upload",
                                 "FTPCTL_CANCEL=0", "FTPCTL_TRANSFERRED_SIZE=40"})
        EXPECT_THAT(event.variables, Contains(variable));
    EXPECT_THAT(event_of_state({}, 5).variables, Contains("FTPCTL_JOB=no job"));
    const json object = json::parse(event.json);
    EXPECT_EQ(object["event"], "state");
    EXPECT_EQ(object["time"], 5);
    EXPECT_EQ(object["state"]["running"], true);
    EXPECT_EQ(object["state"]["progress"]["transferred_bytes"], 40);
}

TEST(Event, HasNoVariableWithoutAKnownName)
{
    for (const event_t &event : {event_of(FTPCLIENT_NOTICE_UPLOAD_DONE, 16), event_of_started(0),
                                 event_of_state(upload(1, 1, 1), 5), event_of_daemon(FTPCLIENT_OK, 5)}) {
        for (const std::string &variable : event.variables)
            EXPECT_THAT(event_variable_names(), Contains(variable.substr(0, variable.find('='))));
    }
}
