// What the calls make of the records that the daemon sends.
#include "client_support.h"

#include <cmath>

static job_script script_of(std::deque<state_reply_t> states)
{
    job_script script;
    script.states = std::move(states);
    return script;
}

TEST(Open, ThePathsAreTheDaemons)
{
    EXPECT_STREQ(FTPCLIENT_CONTROL_SOCKET, CONTROL_SOCKET_PATH);
    EXPECT_STREQ(FTPCLIENT_CONTROL_SOCKET FTPCLIENT_TURN_SUFFIX, CONTROL_TURN_PATH);
    EXPECT_STREQ(FTPCLIENT_NOTICE_SOCKET, NETWORK_MANAGER_SOCKET_PATH);
}

TEST(Ping, TellsWhatTheLastStartGave)
{
    job_script script = script_of({idle()});
    script.started = {0, FTPCD_ERR_BUSY};
    fake_daemon daemon(script);
    const client_holder client(daemon);
    int32_t last = -7;
    EXPECT_EQ(ftpclient_ping(client, &last, 10000), FTPCLIENT_OK);
    EXPECT_EQ(last, FTPCLIENT_RESULT_BUSY);
    EXPECT_EQ(ftpclient_ping(client, nullptr, 10000), FTPCLIENT_OK);
}

TEST(Poll, GivesEveryMemberOfTheState)
{
    state_reply_t told = {};
    told.module_info = {1, 2, 16, 1};
    told.exec_info = {5e9, 4294967297.0, 1.5, 28, 22, 1, 426, 3, 0};
    fake_daemon daemon(script_of({told}));
    const client_holder client(daemon);
    ftpclient_state_t state;
    memset(&state, 0x55, sizeof state);
    ASSERT_EQ(ftpclient_poll(client, &state, sizeof state, 10000), FTPCLIENT_OK);
    EXPECT_EQ(state.running, 1);
    EXPECT_EQ(state.job, FTPCLIENT_UPLOAD);
    EXPECT_EQ(state.result, FTPCLIENT_RESULT_NETWORK);
    EXPECT_EQ(state.cancelled, 1);
    EXPECT_EQ(state.progress.total_bytes, 5000000000);
    EXPECT_EQ(state.progress.transferred_bytes, 4294967297);
    EXPECT_EQ(state.progress.elapsed_ms, 1500);
    EXPECT_EQ(state.progress.curl_code, 28);
    EXPECT_EQ(state.progress.zixi_error, 22);
    EXPECT_EQ(state.progress.response_type, 1);
    EXPECT_EQ(state.progress.response_code, 426);
    EXPECT_EQ(state.progress.retries, 3);
    EXPECT_EQ(state.progress.unused, 0);
}

TEST(Poll, ANumberThatCountsNothingIsNone)
{
    for (const double odd : {-1.0, double(NAN), double(INFINITY), 1e300}) {
        state_reply_t told = running(1, odd, odd);
        told.exec_info.elapsed_time = odd;
        fake_daemon daemon(script_of({told}));
        const client_holder client(daemon);
        ftpclient_state_t state;
        ASSERT_EQ(ftpclient_poll(client, &state, sizeof state, 10000), FTPCLIENT_OK);
        EXPECT_EQ(state.progress.total_bytes, 0) << odd;
        EXPECT_EQ(state.progress.transferred_bytes, 0) << odd;
        EXPECT_EQ(state.progress.elapsed_ms, 0) << odd;
    }
}

TEST(Poll, FillsALaterStructureAndRefusesOneThatNeverWas)
{
    fake_daemon daemon(script_of({running(1, 100, 40)}));
    const client_holder client(daemon);
    struct {
        ftpclient_state_t state;
        char later[16];
        char beyond[8];
    } wide;
    memset(&wide, 0x55, sizeof wide);
    void *as_wide = &wide;
    EXPECT_EQ(
        ftpclient_poll(client, static_cast<ftpclient_state_t *>(as_wide), sizeof wide.state + 16, 10000),
        FTPCLIENT_OK);
    EXPECT_EQ(wide.state.progress.total_bytes, 100);
    EXPECT_EQ(std::string(wide.later, 16), std::string(16, '\0'));
    EXPECT_EQ(std::string(wide.beyond, 8), std::string(8, 0x55));
    for (size_t size : {size_t(0), size_t(63)})
        EXPECT_EQ(ftpclient_poll(client, &wide.state, size, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_poll(client, nullptr, 64, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_poll(nullptr, &wide.state, 64, 10000), FTPCLIENT_ERR_ARGUMENT);
}

TEST(Cancel, ReturnsTheDaemonsVerdict)
{
    job_script script = script_of({running(2, 100, 40)});
    fake_daemon daemon(script);
    const client_holder client(daemon);
    EXPECT_EQ(ftpclient_cancel(client, -1), FTPCLIENT_OK);
    script.cancel = {{1, FTPCD_ERR_NOT_RUNNING}, 0};
    fake_daemon lazy(script);
    const client_holder other(lazy);
    EXPECT_EQ(ftpclient_cancel(other, 10000), FTPCLIENT_RESULT_NOT_RUNNING);
}

static ftpclient_file_info_t info_from(const remote_file_t &told)
{
    job_script script = script_of({idle(), ended(JOB_DL_FILE_INFO, 0, 0, 0)});
    script.states.back().exec_info = {};
    script.remote_file = told;
    fake_daemon daemon(script);
    const client_holder client(daemon);
    const request_holder request(FTPCLIENT_FTP);
    ftpclient_outcome_t outcome;
    memset(&outcome, 0x55, sizeof outcome);
    EXPECT_EQ(ftpclient_run(client, FTPCLIENT_FILE_INFO, request, &outcome, sizeof outcome, 10000),
              FTPCLIENT_OK);
    return outcome.file;
}

TEST(FileInfo, GivesEveryMember)
{
    const auto info = info_from({1, 1, 5000000000, 2012, 12, 31, 23, 59, 0x755, 1, 0xAAAAAAAA});
    EXPECT_EQ(info.looked_up, 1);
    EXPECT_EQ(info.exists, 1);
    EXPECT_EQ(info.size_bytes, 5000000000);
    EXPECT_EQ(info.year, 2012);
    EXPECT_EQ(info.month, 12);
    EXPECT_EQ(info.day, 31);
    EXPECT_EQ(info.hour, 23);
    EXPECT_EQ(info.minute, 59);
    EXPECT_EQ(info.attributes, 0x755);
    EXPECT_EQ(info.is_link, 1);
    EXPECT_EQ(info.unused, 0);
    EXPECT_EQ(info.modified_s, 1356998340); // date -u -d '2012-12-31 23:59' +%s
}

TEST(FileInfo, WhatTheListingLacksIsUnknown)
{
    const auto info = info_from({1, 1, -1, 65535, 255, 255, 255, 255, -1, 0, 0});
    for (int32_t member : {info.year, info.month, info.day, info.hour, info.minute, info.attributes})
        EXPECT_EQ(member, FTPCLIENT_UNKNOWN);
    EXPECT_EQ(info.size_bytes, FTPCLIENT_UNKNOWN);
    EXPECT_EQ(info.modified_s, FTPCLIENT_UNKNOWN);
    const auto without_time = info_from({1, 1, 7, 2012, 12, 31, 255, 255, 0x644, 0, 0});
    EXPECT_EQ(without_time.modified_s, 1356912000); // date -u -d 2012-12-31 +%s
    EXPECT_EQ(without_time.hour, FTPCLIENT_UNKNOWN);
}

TEST(FileInfo, ModificationTimesAreThoseOfTheCalendar)
{
    const struct {
        int32_t year, month, day, hour, minute;
        int64_t seconds; // date -u -d '...' +%s
    } cases[] = {
        {1970, 1, 1, 0, 0, 0},          {2000, 2, 29, 12, 30, 951827400},
        {2024, 3, 1, 0, 0, 1709251200}, {2038, 1, 19, 3, 15, 2147483700},
        {2100, 3, 1, 0, 0, 4107542400},
    };
    for (const auto &c : cases)
        EXPECT_EQ(info_from({1, 1, 7, c.year, c.month, c.day, c.hour, c.minute, 0x644, 0, 0}).modified_s,
                  c.seconds)
            << c.year;
}

TEST(FileInfo, WithoutAFileAllIsUnknown)
{
    const auto info = info_from({1, 0, -1, -1, -1, -1, -1, -1, 65535, 0, 0});
    EXPECT_EQ(info.looked_up, 1);
    EXPECT_EQ(info.exists, 0);
    EXPECT_EQ(info.size_bytes, FTPCLIENT_UNKNOWN);
    for (int32_t member : {info.year, info.month, info.day, info.hour, info.minute, info.attributes})
        EXPECT_EQ(member, FTPCLIENT_UNKNOWN);
}
