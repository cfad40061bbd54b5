// The library writes down for itself what travels, so that it can be copied alone. Here compilation stops
// when it differs from the records of the daemon.
#include "libftpclient/ftpclient.c"

#include "daemon_records.h"

#include <gtest/gtest.h>

#include <ctime>

#define PIN(NAME, record, member)                                                                            \
    static_assert(int(AT_##NAME) == int(offsetof(record, member)) &&                                         \
                  int(SIZE_##NAME) == int(sizeof(((record *)nullptr)->member)))

PIN(REMOTE_PATH, daemon_side::transfer_request_t, remote_path);
PIN(LOCAL_PATH, daemon_side::transfer_request_t, local_path);
PIN(HOST, daemon_side::transfer_request_t, host);
PIN(PORT, daemon_side::transfer_request_t, port);
PIN(USERNAME, daemon_side::transfer_request_t, username);
PIN(PASSWORD, daemon_side::transfer_request_t, password);
PIN(PASSIVE_MODE, daemon_side::transfer_request_t, passive_mode);
PIN(PROTOCOL, daemon_side::transfer_request_t, protocol);
PIN(PROXY_HOST, daemon_side::transfer_request_t, proxy_host);
PIN(PROXY_PORT, daemon_side::transfer_request_t, proxy_port);
PIN(PROXY_TYPE, daemon_side::transfer_request_t, proxy_type);
PIN(AUTH_TYPE, daemon_side::transfer_request_t, server_auth.auth_type);
PIN(DIGEST_LENGTH, daemon_side::transfer_request_t, server_auth.digest_length);
PIN(DIGEST, daemon_side::transfer_request_t, server_auth.digest);
PIN(SAVE_PATH, daemon_side::transfer_request_t, server_auth.save_path);
PIN(RESUME, daemon_side::transfer_request_t, resume);
static_assert(int(SIZE_REQUEST) == int(sizeof(daemon_side::transfer_request_t)));
static_assert(int(AT_ZIXI_USER) == int(daemon_side::ZIXI_USER_OFFSET));
static_assert(int(SIZE_ZIXI_USER) == int(daemon_side::ZIXI_USER_SIZE));
static_assert(int(AT_ZIXI_PASSWORD) == int(daemon_side::ZIXI_PASSWORD_OFFSET));
static_assert(int(SIZE_ZIXI_PASSWORD) == int(daemon_side::ZIXI_PASSWORD_SIZE));

static_assert(int(SIZE_HEADER) == int(sizeof(daemon_side::message_header_t)));
static_assert(int(SIZE_REPLY) == int(sizeof(daemon_side::reply_t)));
static_assert(int(SIZE_STATE_REPLY) == int(sizeof(daemon_side::state_reply_t)));
static_assert(int(SIZE_CANCEL_REPLY) == int(sizeof(daemon_side::cancel_reply_t)));
static_assert(int(SIZE_FILE_INFO_REPLY) == int(sizeof(daemon_side::file_info_reply_t)));
static_assert(int(AT_MODULE_INFO) == int(offsetof(daemon_side::state_reply_t, module_info)));
static_assert(int(AT_STATE_PROGRESS) == int(offsetof(daemon_side::state_reply_t, exec_info)));
static_assert(int(AT_REMOTE_FILE) == int(offsetof(daemon_side::file_info_reply_t, remote_file)));

static_assert(int(NOTICE_SENDER) == int(daemon_side::NOTICE_SENDER));
static_assert(int(NOTICE_KIND) == int(daemon_side::NOTICE_KIND));
static_assert(int(SIZE_NOTICE_HEADER) == int(sizeof(daemon_side::notice_header_t)));
static_assert(int(AT_NOTICE_LENGTH) == int(offsetof(daemon_side::notice_header_t, length)));
static_assert(int(SIZE_COMPLETION) == int(sizeof(daemon_side::completion_notice_t)));
static_assert(int(SIZE_NOTICE) ==
              int(sizeof(daemon_side::notice_header_t)) + int(daemon_side::NOTICE_BODY_MAX));

#define SAME(OURS, THEIRS) static_assert(int(OURS) == int(daemon_side::THEIRS))
SAME(COMMAND_NONE, COMMAND_NONE);
SAME(COMMAND_DOWNLOAD, COMMAND_DOWNLOAD);
SAME(COMMAND_UPLOAD, COMMAND_UPLOAD);
SAME(COMMAND_GET_STATE, COMMAND_GET_STATE);
SAME(COMMAND_CANCEL, COMMAND_CANCEL);
SAME(COMMAND_DL_FILE_INFO, COMMAND_DL_FILE_INFO);
SAME(COMMAND_GET_FILE_INFO, COMMAND_GET_FILE_INFO);
SAME(PROXY_HTTP, PROXY_HTTP);
SAME(FTPCLIENT_FTP, PROTOCOL_FTP);
SAME(FTPCLIENT_FTPS_IMPLICIT, PROTOCOL_FTPS_IMPLICIT);
SAME(FTPCLIENT_FTPS_EXPLICIT, PROTOCOL_FTPS_EXPLICIT);
SAME(FTPCLIENT_SFTP, PROTOCOL_SFTP);
SAME(FTPCLIENT_ZIXI_4, PROTOCOL_ZIXI_4);
SAME(FTPCLIENT_ZIXI_5, PROTOCOL_ZIXI_5);
SAME(FTPCLIENT_NO_JOB, JOB_NONE);
SAME(FTPCLIENT_DOWNLOAD, JOB_DOWNLOAD);
SAME(FTPCLIENT_UPLOAD, JOB_UPLOAD);
SAME(FTPCLIENT_FILE_INFO, JOB_DL_FILE_INFO);
SAME(FTPCLIENT_PIN_NONE, SERVER_AUTH_NONE);
SAME(FTPCLIENT_PIN_MD5, SERVER_AUTH_MD5);
SAME(FTPCLIENT_PIN_SHA1, SERVER_AUTH_SHA1);
SAME(FTPCLIENT_NOTICE_DOWNLOAD_DONE, NOTICE_DOWNLOAD_DONE);
SAME(FTPCLIENT_NOTICE_UPLOAD_DONE, NOTICE_UPLOAD_DONE);
SAME(FTPCLIENT_NOTICE_FILE_INFO_DONE, NOTICE_FILE_INFO_DONE);
SAME(FTPCLIENT_NOTICE_STARTED, NOTICE_STARTED);

#define SAME_RESULT(NAME) SAME(FTPCLIENT_RESULT_##NAME, FTPCD_ERR_##NAME)
SAME_RESULT(NONE);
SAME_RESULT(CANCELED);
SAME_RESULT(NOT_RUNNING);
SAME_RESULT(BUSY);
SAME_RESULT(AUTH_UNSUPPORTED);
SAME_RESULT(INTERNAL);
SAME_RESULT(RESPONSE_CODE);
SAME_RESULT(URL_RESTORE);
SAME_RESULT(SECURE_DATA);
SAME_RESULT(LOCAL_WRITE);
SAME_RESULT(LOCAL_READ);
SAME_RESULT(NO_MEMORY);
SAME_RESULT(SIZE_LIMIT);
SAME_RESULT(TIMEOUT);
SAME_RESULT(NOT_SUPPORTED);
SAME_RESULT(NETWORK);
SAME_RESULT(SECURE_7);
SAME_RESULT(SECURE_UNKNOWN);
SAME_RESULT(SECURE_6);
SAME_RESULT(SECURE_5);
SAME_RESULT(CERT_MISMATCH);
SAME_RESULT(HOSTKEY_MISMATCH);
SAME_RESULT(REMOTE_FILE_EXISTS);

TEST(Layout, TheSocketsAreTheDaemons)
{
    EXPECT_STREQ(FTPCLIENT_CONTROL_SOCKET, CONTROL_SOCKET_PATH);
    EXPECT_STREQ(FTPCLIENT_NOTICE_SOCKET, NETWORK_MANAGER_SOCKET_PATH);
}

TEST(Layout, SecondsSince1970AreThoseOfTheCalendar)
{
    for (int year : {1, 1600, 1900, 1969, 1970, 1999, 2000, 2001, 2024, 2038, 2100, 2400, 9999}) {
        for (int month = 1; month <= 12; month++) {
            for (int day : {1, 28}) {
                ftpclient_file_info_t info = {};
                info.year = year;
                info.month = month;
                info.day = day;
                info.hour = 23;
                info.minute = 59;
                tm expected = {};
                expected.tm_year = year - 1900;
                expected.tm_mon = month - 1;
                expected.tm_mday = day;
                expected.tm_hour = 23;
                expected.tm_min = 59;
                ASSERT_EQ(seconds_of(&info), int64_t(timegm(&expected)))
                    << year << "-" << month << "-" << day;
            }
        }
    }
}

TEST(Layout, ADateThatLacksAPartHasNoSeconds)
{
    struct {
        int32_t year, month, day;
    } lacking[] = {{-1, 1, 1}, {2024, -1, 1}, {2024, 0, 1}, {2024, 13, 1}, {2024, 1, -1}, {2024, 1, 0}};
    for (const auto &date : lacking) {
        ftpclient_file_info_t info = {};
        info.year = date.year;
        info.month = date.month;
        info.day = date.day;
        EXPECT_EQ(seconds_of(&info), FTPCLIENT_UNKNOWN);
    }
}

TEST(Layout, ACountIsAWholeNumberOrNothing)
{
    struct {
        double given;
        int64_t count;
    } cases[] = {{0, 0},
                 {1, 1},
                 {4294967297.0, 4294967297},
                 {-1, 0},
                 {__builtin_nan(""), 0},
                 {__builtin_inf(), 0},
                 {-__builtin_inf(), 0},
                 {1e30, 0}};
    for (const auto &c : cases) {
        uint8_t bytes[8];
        memcpy(bytes, &c.given, sizeof bytes);
        EXPECT_EQ(get_count(bytes, 1), c.count) << c.given;
    }
}
