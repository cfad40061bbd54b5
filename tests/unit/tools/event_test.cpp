#include "tools/event.h"

#include "notice_bytes.h"
#include "refused.h"

#include <nlohmann/json.hpp>

using json = nlohmann::json;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

static event_t event_of(const bytes_t &bytes)
{
    return event_of_notice(std::as_bytes(std::span(bytes)), 1700000000);
}

static std::string text_of(const bytes_t &bytes, bool as_json = false)
{
    const event_t event = event_of(bytes);
    return as_json ? event.json : event.line;
}

TEST(Event, EachKindIsALine)
{
    EXPECT_EQ(text_of(STARTED), "daemon started");
    EXPECT_THAT(text_of(FAILED_START), StartsWith("daemon failed to start, FTPCD_ERR_INTERNAL (5): "));
    EXPECT_EQ(text_of(completion(0, 0)),
              "download done, 5368709120 of 5368709120 bytes in 2.0 s, FTPCD_ERR_NONE (0): Done.");
    EXPECT_THAT(text_of(completion(1, 16)), HasSubstr("upload done, "));
    EXPECT_THAT(text_of(completion(1, 16)), HasSubstr(" FTPCD_ERR_NETWORK (16): "));
    EXPECT_THAT(text_of(completion(2, 0)), StartsWith("file information done, "));
}

TEST(Event, AnObjectHasHeadAndBody)
{
    const json object = json::parse(text_of(completion(1, 16), true));
    EXPECT_EQ(object["code"], 1);
    EXPECT_EQ(object["reply"]["detail"], 16);
    EXPECT_EQ(object["exec_info"]["total_size"], 5368709120);
    EXPECT_EQ(json::parse(text_of(STARTED, true))["reply"]["result"], 0);
}

TEST(Event, WhatIsNoNoticeIsRefused)
{
    bytes_t foreign = STARTED;
    foreign[0] = 11;
    bytes_t other_kind = STARTED;
    other_kind[2] = 2;
    const bytes_t cases[] = {{},
                             bytes_t(11),
                             foreign,
                             other_kind,
                             notice(4, 0, {}),
                             notice(3, 8, {0, 0, 0, 0}),
                             notice(3, 4, {0, 0, 0, 0}),
                             notice(0, 8, bytes_t(8)),
                             notice(3, 8, bytes_t(9))};
    for (const bytes_t &bytes : cases)
        EXPECT_THAT(failure_of([&] { text_of(bytes); }), StartsWith("5 a notice "))
            << bytes.size() << " bytes";
}

TEST(Event, OfACompletionHasEachFieldAsAVariable)
{
    completion_notice_t body = {{1, 16}, {}};
    body.exec_info = {5368709120, 1048576, 2.5, 56, 99, 1, 426, 3, 7};
    const event_t event = event_of(notice(1, 56, bytes_of(body)));
    for (const char *variable :
         {"FTPCTL_EVENT=upload", "FTPCTL_TIME=1700000000", "FTPCTL_RESULT=16",
          "FTPCTL_RESULT_NAME=FTPCD_ERR_NETWORK", "FTPCTL_TOTAL_SIZE=5368709120",
          "FTPCTL_TRANSFERRED_SIZE=1048576", "FTPCTL_ELAPSED_TIME=2.500000", "FTPCTL_CURL_CODE=56",
          "FTPCTL_RESPONSE_CODE_TYPE=1", "FTPCTL_RESPONSE_CODE=426", "FTPCTL_RETRY_COUNT=3"})
        EXPECT_THAT(event.variables, Contains(variable));
    EXPECT_THAT(event.variables, Contains("FTPCTL_LINE=" + event.line));
    EXPECT_THAT(event.variables, Contains("FTPCTL_JSON=" + event.json));
    EXPECT_THAT(event.variables, Not(Contains(StartsWith("FTPCTL_ZIXI_ERROR="))));
}

TEST(Event, OfAZixiJobHasTheLibrarysError)
{
    completion_notice_t body = {{1, 16}, {}};
    body.exec_info.zixi_error = static_cast<uint32_t>(-17);
    body.exec_info.response_code_type = 3;
    EXPECT_THAT(event_of(notice(1, 56, bytes_of(body))).variables, Contains("FTPCTL_ZIXI_ERROR=-17"));
}

TEST(Event, EachNoticeHasItsName)
{
    EXPECT_THAT(event_of(completion(0, 0)).variables, Contains("FTPCTL_EVENT=download"));
    EXPECT_THAT(event_of(completion(2, 0)).variables, Contains("FTPCTL_EVENT=info"));
    EXPECT_THAT(event_of(FAILED_START).variables, Contains("FTPCTL_EVENT=started"));
    EXPECT_THAT(event_of(FAILED_START).variables, Contains("FTPCTL_RESULT=5"));
    EXPECT_THAT(event_of(STARTED).variables, Not(Contains(StartsWith("FTPCTL_TOTAL_SIZE="))));
}

TEST(Event, OfAStateTellsWhatRuns)
{
    const event_t event = event_of_state(running(2, 100, 40), 5);
    EXPECT_EQ(event.line, "running: upload, 40 of 100 bytes in 0.5 s");
    for (const char *variable : {"FTPCTL_EVENT=state", "FTPCTL_RUNNING=1", "FTPCTL_JOB=upload",
                                 "FTPCTL_CANCEL=0", "FTPCTL_TRANSFERRED_SIZE=40"})
        EXPECT_THAT(event.variables, Contains(variable));
}

TEST(Event, HasNoVariableWithoutAKnownName)
{
    std::vector<std::string> names;
    for (const event_t &event : {event_of(completion(1, 0)), event_of(STARTED), event_of_state(idle(), 5)}) {
        for (const std::string &variable : event.variables)
            names.push_back(variable.substr(0, variable.find('=')));
    }
    for (const std::string &name : names)
        EXPECT_THAT(event_variable_names(), Contains(name));
}
