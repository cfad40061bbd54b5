// What the calls make of the daemon's answers.
#include "client_support.h"

#include <chrono>

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

static job_script script_of(std::deque<state_reply_t> states)
{
    job_script script;
    script.states = std::move(states);
    return script;
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
    EXPECT_EQ(ftpclient_ping(nullptr, &last, 10000), FTPCLIENT_ERR_ARGUMENT);
}

TEST(Start, EachJobIsACommandWithTheRequest)
{
    const struct {
        int job;
        uint32_t command;
    } cases[] = {{FTPCLIENT_DOWNLOAD, 1}, {FTPCLIENT_UPLOAD, 2}, {FTPCLIENT_FILE_INFO, 5}};
    for (const auto &c : cases) {
        fake_daemon daemon(script_of({idle()}));
        const client_holder client(daemon);
        const request_holder request(FTPCLIENT_FTP);
        EXPECT_EQ(ftpclient_start(client, c.job, request, 10000), FTPCLIENT_OK);
        EXPECT_THAT(daemon.commands(), ElementsAre(0u, 3u, c.command));
        EXPECT_EQ(daemon.messages().back().body.size(), 2080u);
    }
}

TEST(Start, WhileAJobRunsItIsBusyAndNothingIsSent)
{
    fake_daemon daemon(script_of({running(2, 100, 40)}));
    const client_holder client(daemon);
    const request_holder request(FTPCLIENT_FTP);
    EXPECT_EQ(ftpclient_start(client, FTPCLIENT_DOWNLOAD, request, 10000), FTPCLIENT_RESULT_BUSY);
    EXPECT_THAT(daemon.commands(), ElementsAre(0u, 3u));
}

TEST(Start, IsTriedOnceMoreWhenTheDaemonHadToForgetAJob)
{
    job_script script = script_of({idle()});
    script.refusals = {{1, FTPCD_ERR_INTERNAL}};
    fake_daemon daemon(script);
    const client_holder client(daemon);
    const request_holder request(FTPCLIENT_FTP);
    EXPECT_EQ(ftpclient_start(client, FTPCLIENT_DOWNLOAD, request, 10000), FTPCLIENT_OK);
    EXPECT_THAT(daemon.commands(), ElementsAre(0u, 3u, 1u, 1u));
}

TEST(Start, ARefusalIsTheDaemonsResult)
{
    for (uint32_t code : {1u, 3u, 15u, 99u}) {
        job_script script = script_of({idle()});
        script.refusals = {{1, code}};
        fake_daemon daemon(script);
        const client_holder client(daemon);
        const request_holder request(FTPCLIENT_FTP);
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_DOWNLOAD, request, 10000), int(code));
        EXPECT_THAT(daemon.commands(), ElementsAre(0u, 3u, 1u));
    }
    job_script script = script_of({idle()});
    script.refusals = {{1, 5}, {1, 5}, {1, 5}};
    fake_daemon daemon(script);
    const client_holder client(daemon);
    const request_holder request(FTPCLIENT_FTP);
    EXPECT_EQ(ftpclient_start(client, FTPCLIENT_DOWNLOAD, request, 10000), FTPCLIENT_RESULT_INTERNAL);
    EXPECT_THAT(daemon.commands(), ElementsAre(0u, 3u, 1u, 1u));
}

TEST(Start, ARefusalWithoutAReasonMakesNoSense)
{
    for (uint32_t code : {0u, 0x80000000u, 0xFFFFFFFFu}) {
        job_script script = script_of({idle()});
        script.refusals = {{1, code}};
        fake_daemon daemon(script);
        const client_holder client(daemon);
        const request_holder request(FTPCLIENT_FTP);
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_DOWNLOAD, request, 10000), FTPCLIENT_ERR_PROTOCOL);
    }
}

TEST(Start, AnIncompleteRequestIsNotSent)
{
    fake_daemon daemon(script_of({idle()}));
    const client_holder client(daemon);
    for (int lacking = 0; lacking < 3; lacking++) {
        ftpclient_request_t *request = nullptr;
        ASSERT_EQ(ftpclient_request_new(FTPCLIENT_FTP, &request), FTPCLIENT_OK);
        if (lacking != 0) {
            EXPECT_EQ(ftpclient_request_set_server(request, "h", 21), FTPCLIENT_OK);
        }
        if (lacking != 1) {
            EXPECT_EQ(ftpclient_request_set_remote_path(request, "r"), FTPCLIENT_OK);
        }
        if (lacking != 2) {
            EXPECT_EQ(ftpclient_request_set_local_path(request, "/l"), FTPCLIENT_OK);
        }
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_DOWNLOAD, request, 10000), FTPCLIENT_ERR_INCOMPLETE);
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_UPLOAD, request, 10000), FTPCLIENT_ERR_INCOMPLETE);
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_FILE_INFO, request, 10000),
                  lacking == 2 ? FTPCLIENT_OK : FTPCLIENT_ERR_INCOMPLETE);
        ftpclient_request_free(request);
    }
    EXPECT_THAT(daemon.commands(), ElementsAre(0u, 3u, 5u));
}

TEST(Start, WhatIsNoJobIsRefused)
{
    fake_daemon daemon(script_of({idle()}));
    const client_holder client(daemon);
    const request_holder ftp(FTPCLIENT_FTP);
    const request_holder zixi(FTPCLIENT_ZIXI_4);
    for (int job : {-1, 0, 4})
        EXPECT_EQ(ftpclient_start(client, job, ftp, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_start(client, FTPCLIENT_DOWNLOAD, zixi, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_start(client, FTPCLIENT_FILE_INFO, zixi, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_start(client, FTPCLIENT_DOWNLOAD, nullptr, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_start(nullptr, FTPCLIENT_DOWNLOAD, ftp, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_THAT(daemon.commands(), ElementsAre(0u));
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

TEST(Wait, ReturnsWithTheStateInWhichTheJobEnded)
{
    fake_daemon daemon(script_of({running(1, 100, 40), running(1, 100, 80), ended(1, 14, 100, 90)}));
    const client_holder client(daemon);
    ftpclient_state_t state;
    ASSERT_EQ(ftpclient_wait(client, &state, sizeof state, -1), FTPCLIENT_OK);
    EXPECT_EQ(state.running, 0);
    EXPECT_EQ(state.result, FTPCLIENT_RESULT_TIMEOUT);
    EXPECT_EQ(state.progress.transferred_bytes, 90);
    EXPECT_THAT(daemon.commands(), ElementsAre(0u, 3u, 3u, 3u));
}

TEST(Wait, OutOfTimeItGivesTheStateLastSeen)
{
    fake_daemon daemon(script_of({running(2, 100, 40)}));
    const client_holder client(daemon);
    ftpclient_state_t state;
    const auto before = steady_clock::now();
    EXPECT_EQ(ftpclient_wait(client, &state, sizeof state, 250), FTPCLIENT_ERR_TIMEOUT);
    EXPECT_GE(steady_clock::now() - before, milliseconds(250));
    EXPECT_EQ(state.running, 1);
    EXPECT_EQ(state.progress.transferred_bytes, 40);
    EXPECT_EQ(ftpclient_wait(client, &state, 63, 250), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_wait(client, nullptr, 64, 250), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_wait(nullptr, &state, 64, 250), FTPCLIENT_ERR_ARGUMENT);
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
    EXPECT_EQ(ftpclient_cancel(nullptr, 10000), FTPCLIENT_ERR_ARGUMENT);
}

static ftpclient_file_info_t info_from(const remote_file_t &told)
{
    job_script script = script_of({idle()});
    script.remote_file = told;
    fake_daemon daemon(script);
    const client_holder client(daemon);
    ftpclient_file_info_t info;
    memset(&info, 0x55, sizeof info);
    EXPECT_EQ(ftpclient_get_file_info(client, &info, sizeof info, 10000), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_get_file_info(client, &info, 55, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_get_file_info(client, nullptr, 56, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_get_file_info(nullptr, &info, 56, 10000), FTPCLIENT_ERR_ARGUMENT);
    return info;
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

TEST(FileInfo, AfterAZixiJobAllIsUnknown)
{
    const auto info = info_from({1, 0, -1, -1, -1, -1, -1, -1, 65535, 0, 0});
    EXPECT_EQ(info.looked_up, 1);
    EXPECT_EQ(info.exists, 0);
    EXPECT_EQ(info.size_bytes, FTPCLIENT_UNKNOWN);
    for (int32_t member : {info.year, info.month, info.day, info.hour, info.minute, info.attributes})
        EXPECT_EQ(member, FTPCLIENT_UNKNOWN);
}
