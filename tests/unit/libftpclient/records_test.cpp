// How the calls interpret the daemon's records.
#include "client_support.h"

#include <cmath>

TEST(Open, ThePathsAreTheDaemonsOwn)
{
    EXPECT_STREQ(FTPCLIENT_CONTROL_SOCKET, CONTROL_SOCKET_PATH);
    EXPECT_STREQ(FTPCLIENT_CONTROL_SOCKET FTPCLIENT_TURN_SUFFIX, CONTROL_TURN_PATH);
    EXPECT_STREQ(FTPCLIENT_NOTICE_SOCKET, NETWORK_MANAGER_SOCKET_PATH);
}

TEST(Ping, ReturnsTheResultOfTheLastStart)
{
    job_script script = script_of({idle()});
    script.started = {0, FTPCD_ERR_BUSY};
    fake_daemon daemon(script);
    const open_client client(daemon.path());
    int32_t last = -7;
    EXPECT_EQ(ftpclient_ping(client, &last, 10000), FTPCLIENT_OK);
    EXPECT_EQ(last, FTPCLIENT_RESULT_BUSY);
    EXPECT_EQ(ftpclient_ping(client, nullptr, 10000), FTPCLIENT_OK);
}

TEST(Poll, ReturnsEveryMemberOfTheState)
{
    state_reply_t told = {};
    told.module_info = {1, 2, 16, 1};
    told.exec_info = {5e9, 4294967297.0, 1.5, 28, 22, 1, 426, 3, 0};
    fake_daemon daemon(script_of({told}));
    const open_client client(daemon.path());
    ftpclient_state_t state;
    memset(&state, 0x55, sizeof state);
    ASSERT_EQ(ftpclient_poll(client, &state, sizeof state, 10000), FTPCLIENT_OK);
    EXPECT_EQ(bytes_of(state),
              bytes_of(ftpclient_state_t{1,
                                         FTPCLIENT_UPLOAD,
                                         FTPCLIENT_RESULT_NETWORK,
                                         1,
                                         {5000000000, 4294967297, 1500, 28, 22, 1, 426, 3, 0}}));
}

TEST(Poll, AnImpossibleNumberIsZero)
{
    for (const double odd : {-1.0, double(NAN), double(INFINITY), 1e300}) {
        state_reply_t told = running(1, odd, odd);
        told.exec_info.elapsed_time = odd;
        fake_daemon daemon(script_of({told}));
        const open_client client(daemon.path());
        ftpclient_state_t state;
        ASSERT_EQ(ftpclient_poll(client, &state, sizeof state, 10000), FTPCLIENT_OK);
        EXPECT_EQ(state.progress.total_bytes, 0) << odd;
        EXPECT_EQ(state.progress.transferred_bytes, 0) << odd;
        EXPECT_EQ(state.progress.elapsed_ms, 0) << odd;
    }
}

TEST(Poll, FillsALargerStructureAndRefusesASmallerOneThanTheFirst)
{
    fake_daemon daemon(script_of({running(1, 100, 40)}));
    const open_client client(daemon.path());
    ftpclient_state_t state = filled_as_later<ftpclient_state_t>(
        [&](auto *wide, size_t size) { return ftpclient_poll(client, wide, size, 10000); });
    EXPECT_EQ(state.progress.total_bytes, 100);
    for (size_t size : {size_t(0), size_t(63)})
        EXPECT_EQ(ftpclient_poll(client, &state, size, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_poll(client, nullptr, 64, 10000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_poll(nullptr, &state, 64, 10000), FTPCLIENT_ERR_ARGUMENT);
}

TEST(Cancel, ReturnsTheDaemonsVerdict)
{
    job_script script = script_of({running(2, 100, 40)});
    fake_daemon daemon(script);
    const open_client client(daemon.path());
    EXPECT_EQ(ftpclient_cancel(client, -1), FTPCLIENT_OK);
    script.cancel = {{1, FTPCD_ERR_NOT_RUNNING}, 0};
    fake_daemon lazy(script);
    const open_client other(lazy.path());
    EXPECT_EQ(ftpclient_cancel(other, 10000), FTPCLIENT_RESULT_NOT_RUNNING);
}

static ftpclient_file_info_t info_from(const remote_file_t &told)
{
    job_script script = script_of({idle(), ended(JOB_DL_FILE_INFO, 0, 0, 0)});
    script.states.back().exec_info = {};
    script.remote_file = told;
    fake_daemon daemon(script);
    const open_client client(daemon.path());
    const request_holder request(FTPCLIENT_FTP);
    ftpclient_outcome_t outcome;
    memset(&outcome, 0x55, sizeof outcome);
    EXPECT_EQ(ftpclient_run(client, FTPCLIENT_FILE_INFO, request, &outcome, sizeof outcome, 10000),
              FTPCLIENT_OK);
    return outcome.file;
}

TEST(FileInfo, ReturnsEveryMember)
{
    const auto info = info_from({1, 1, 5000000000, 2012, 12, 31, 23, 59, 0x755, 1, 0xAAAAAAAA});
    const int64_t modified_s = 1356998340; // date -u -d '2012-12-31 23:59' +%s
    EXPECT_EQ(bytes_of(info), bytes_of(ftpclient_file_info_t{5000000000, modified_s, 1, 1, 2012, 12, 31, 23,
                                                             59, 0x755, 1, 0}));
}

TEST(FileInfo, ValuesMissingFromTheListingAreUnknown)
{
    for (const remote_file_t &file : {remote_file_t{1, 1, -1, 65535, 255, 255, 255, 255, -1, 0, 0},
                                      remote_file_t{1, 0, -1, -1, -1, -1, -1, -1, 65535, 0, 0}}) {
        const auto info = info_from(file);
        EXPECT_EQ(info.looked_up, 1);
        EXPECT_EQ(info.exists, int32_t(file.exists));
        for (int32_t member : {info.year, info.month, info.day, info.hour, info.minute, info.attributes})
            EXPECT_EQ(member, FTPCLIENT_UNKNOWN);
        EXPECT_EQ(info.size_bytes, FTPCLIENT_UNKNOWN);
        EXPECT_EQ(info.modified_s, FTPCLIENT_UNKNOWN);
    }
    const auto without_time = info_from({1, 1, 7, 2012, 12, 31, 255, 255, 0x644, 0, 0});
    EXPECT_EQ(without_time.modified_s, 1356912000); // date -u -d 2012-12-31 +%s
    EXPECT_EQ(without_time.hour, FTPCLIENT_UNKNOWN);
}

TEST(FileInfo, ModificationTimesAreSecondsSince1970)
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
