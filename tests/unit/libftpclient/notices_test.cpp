#include "libftpclient/ftpclient.h"

#include "temp_dir.h"
#include "wire/wire.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class Notices : public testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(ftpclient_notices_open(path.c_str(), &notices), FTPCLIENT_OK); }
    void TearDown() override { ftpclient_notices_close(notices); }

    int receive(int timeout_ms = 10000)
    {
        memset(&notice, 0x55, sizeof notice);
        return ftpclient_notices_receive(notices, &notice, sizeof notice, timeout_ms);
    }
    bool is_readable() const
    {
        pollfd waiting = {ftpclient_notices_fd(notices), POLLIN, 0};
        return poll(&waiting, 1, 0) == 1;
    }

    temp_dir dir;
    std::string path = dir / "nm.sock";
    ftpclient_notices_t *notices = nullptr;
    ftpclient_notice_t notice;
};

static int sender_to(const std::string &path)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), path.size());
    EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0)
        << strerror(errno);
    return fd;
}

using bytes_t = std::vector<uint8_t>;

template <typename Body> static bytes_t notice_bytes(uint8_t code, const Body &body)
{
    const notice_header_t head = {NOTICE_SENDER, code, NOTICE_KIND, 0xEE, sizeof body, 0xEEEE, 0};
    bytes_t bytes(sizeof head + sizeof body);
    memcpy(bytes.data(), &head, sizeof head);
    memcpy(bytes.data() + sizeof head, &body, sizeof body);
    return bytes;
}

static bytes_t completion(uint8_t code, uint32_t result, uint32_t detail)
{
    return notice_bytes(code, completion_notice_t{{result, detail}, {5e9, 4e9, 2.5, 56, 0, 1, 426, 4, 0}});
}

static void send_from(int fd, const bytes_t &bytes)
{
    EXPECT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), ssize_t(bytes.size()));
}

static void send_whole(const std::string &path, const bytes_t &bytes)
{
    const int fd = sender_to(path);
    send_from(fd, bytes);
    close(fd);
}

TEST_F(Notices, TheEndOfAJobComesWithItsFigures)
{
    for (const uint8_t code : bytes_t{0, 1, 2}) {
        send_whole(path, completion(code, 1, 16));
        ASSERT_EQ(receive(), FTPCLIENT_OK);
        EXPECT_EQ(notice.code, code);
        EXPECT_EQ(notice.result, FTPCLIENT_RESULT_NETWORK);
        EXPECT_EQ(notice.progress.total_bytes, 5000000000);
        EXPECT_EQ(notice.progress.transferred_bytes, 4000000000);
        EXPECT_EQ(notice.progress.elapsed_ms, 2500);
        EXPECT_EQ(notice.progress.curl_code, 56);
        EXPECT_EQ(notice.progress.response_type, 1);
        EXPECT_EQ(notice.progress.response_code, 426);
        EXPECT_EQ(notice.progress.retries, 4);
    }
    send_whole(path, completion(0, 0, 0));
    ASSERT_EQ(receive(), FTPCLIENT_OK);
    EXPECT_EQ(notice.result, FTPCLIENT_RESULT_NONE);
}

TEST_F(Notices, TheDaemonsStartComesWithoutFigures)
{
    send_whole(path, notice_bytes(3, reply_t{0, 0}));
    send_whole(path, notice_bytes(3, reply_t{1, 5}));
    ASSERT_EQ(receive(), FTPCLIENT_OK);
    EXPECT_EQ(notice.code, FTPCLIENT_NOTICE_STARTED);
    EXPECT_EQ(notice.result, 0);
    EXPECT_EQ(notice.progress.total_bytes, 0);
    ASSERT_EQ(receive(), FTPCLIENT_OK);
    EXPECT_EQ(notice.result, FTPCLIENT_RESULT_INTERNAL);
}

TEST_F(Notices, TheDescriptorTellsWhenThereIsSomethingToDo)
{
    EXPECT_FALSE(is_readable());
    EXPECT_EQ(receive(0), FTPCLIENT_ERR_TIMEOUT);
    const int fd = sender_to(path);
    EXPECT_TRUE(is_readable());
    EXPECT_EQ(receive(0), FTPCLIENT_ERR_TIMEOUT); // it has not said anything yet
    EXPECT_FALSE(is_readable());
    bytes_t bytes = completion(1, 0, 0);
    for (uint8_t byte : bytes) {
        send_from(fd, {byte});
        EXPECT_TRUE(is_readable());
        EXPECT_EQ(receive(0), FTPCLIENT_ERR_TIMEOUT);
        EXPECT_FALSE(is_readable());
    }
    close(fd);
    EXPECT_TRUE(is_readable());
    EXPECT_EQ(receive(0), FTPCLIENT_OK);
    EXPECT_EQ(notice.code, FTPCLIENT_NOTICE_UPLOAD_DONE);
    EXPECT_FALSE(is_readable());
    send_whole(path, bytes); // and again for the next one
    EXPECT_TRUE(is_readable());
    EXPECT_EQ(receive(0), FTPCLIENT_OK);
    EXPECT_FALSE(is_readable());
}

TEST_F(Notices, OneThatWaitsBehindASlowSenderIsNotLost)
{
    const int slow = sender_to(path);
    EXPECT_EQ(receive(0), FTPCLIENT_ERR_TIMEOUT);
    send_whole(path, completion(2, 0, 0));
    EXPECT_EQ(receive(20), FTPCLIENT_ERR_TIMEOUT);
    send_from(slow, completion(1, 0, 0));
    close(slow);
    ASSERT_EQ(receive(), FTPCLIENT_OK);
    EXPECT_EQ(notice.code, 1);
    ASSERT_EQ(receive(), FTPCLIENT_OK);
    EXPECT_EQ(notice.code, 2);
}

TEST_F(Notices, ASenderThatSaysNothingIsLeftAfterTenSeconds)
{
    const int silent = sender_to(path);
    send_whole(path, completion(0, 0, 0));
    const auto before = steady_clock::now();
    EXPECT_EQ(receive(20000), FTPCLIENT_ERR_PROTOCOL);
    const auto took = steady_clock::now() - before;
    EXPECT_GE(took, milliseconds(9900));
    EXPECT_LT(took, milliseconds(19000));
    EXPECT_EQ(receive(), FTPCLIENT_OK);
    close(silent);
}

TEST_F(Notices, WhatIsNoNoticeOfTheDaemonIsDroppedAndTold)
{
    const bytes_t good = completion(0, 1, 16);
    auto altered = [&](size_t at, uint8_t value) {
        bytes_t bytes = good;
        bytes[at] = value;
        return bytes;
    };
    bytes_t shorter(good.begin(), good.end() - 1);
    bytes_t longer = good;
    longer.push_back(0);
    bytes_t started_with_figures = altered(1, 3);
    const bytes_t bad[] = {
        {},
        {10},
        bytes_t(good.begin(), good.begin() + 11),
        bytes_t(good.begin(), good.begin() + 12),
        shorter,
        longer,
        started_with_figures,
        altered(0, 11),
        altered(1, 4),
        altered(2, 2),
        altered(4, 55),
        altered(4, 57),
        altered(5, 1),
        completion(0, 1, 0),          // failed, but for no reason
        completion(0, 1, 0x80000000), // a reason that no code is
        bytes_t(512, 10),
    };
    for (const bytes_t &bytes : bad) {
        send_whole(path, bytes);
        EXPECT_EQ(receive(), FTPCLIENT_ERR_PROTOCOL) << bytes.size() << " bytes";
    }
    // More than any notice has: the sender may not even be able to say it all.
    const int fd = sender_to(path);
    send(fd, bytes_t(100000, 10).data(), 100000, MSG_NOSIGNAL | MSG_DONTWAIT);
    EXPECT_EQ(receive(), FTPCLIENT_ERR_PROTOCOL);
    close(fd);
    send_whole(path, good);
    EXPECT_EQ(receive(), FTPCLIENT_OK);
}

TEST_F(Notices, NoneInTimeIsATimeout)
{
    const auto before = steady_clock::now();
    EXPECT_EQ(receive(100), FTPCLIENT_ERR_TIMEOUT);
    EXPECT_GE(steady_clock::now() - before, milliseconds(100));
}

TEST_F(Notices, ArgumentsAreChecked)
{
    EXPECT_EQ(ftpclient_notices_receive(nullptr, &notice, sizeof notice, 0), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_notices_receive(notices, nullptr, sizeof notice, 0), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_notices_receive(notices, &notice, 55, 0), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_notices_fd(nullptr), -1);
    EXPECT_EQ(ftpclient_notices_open(path.c_str(), nullptr), FTPCLIENT_ERR_ARGUMENT);
    ftpclient_notices_close(nullptr);
}

TEST_F(Notices, ASecondReceiverIsRefusedAndDisturbsNothing)
{
    auto *second = notices;
    EXPECT_EQ(ftpclient_notices_open(path.c_str(), &second), FTPCLIENT_ERR_IN_USE);
    EXPECT_EQ(second, nullptr);
    EXPECT_FALSE(is_readable());
    send_whole(path, completion(0, 0, 0));
    EXPECT_EQ(receive(), FTPCLIENT_OK);
}

TEST_F(Notices, TheSocketGoesWithTheReceiver)
{
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
    ftpclient_notices_close(notices);
    notices = nullptr;
    EXPECT_EQ(access(path.c_str(), F_OK), -1);
}

TEST_F(Notices, ASocketThatReplacedOursStays)
{
    ASSERT_EQ(rename(path.c_str(), (path + ".old").c_str()), 0);
    ftpclient_notices_t *newer = nullptr;
    ASSERT_EQ(ftpclient_notices_open(path.c_str(), &newer), FTPCLIENT_OK);
    ftpclient_notices_close(notices);
    notices = nullptr;
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
    ftpclient_notices_close(newer);
}

TEST(NoticesOpen, ASocketLeftBehindIsReplaced)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    const pid_t child = fork();
    if (child == 0) {
        ftpclient_notices_t *gone = nullptr;
        _exit(ftpclient_notices_open(path.c_str(), &gone) == FTPCLIENT_OK ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_EQ(status, 0);
    ASSERT_EQ(access(path.c_str(), F_OK), 0);
    ftpclient_notices_t *notices = nullptr;
    EXPECT_EQ(ftpclient_notices_open(path.c_str(), &notices), FTPCLIENT_OK);
    ftpclient_notices_close(notices);
}

TEST(NoticesOpen, AFileInThePlaceOfTheSocketStays)
{
    const temp_dir dir;
    const std::string path = dir.file("nm.sock", "precious");
    ftpclient_notices_t *notices = nullptr;
    EXPECT_EQ(ftpclient_notices_open(path.c_str(), &notices), FTPCLIENT_ERR_IN_USE);
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
}

TEST(NoticesOpen, AFolderThatIsNotThereIsASystemsFailure)
{
    ftpclient_notices_t *notices = nullptr;
    errno = 0;
    EXPECT_EQ(ftpclient_notices_open("/nonexistent/nm.sock", &notices), FTPCLIENT_ERR_SYSTEM);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(ftpclient_notices_open(std::string(108, 'x').c_str(), &notices), FTPCLIENT_ERR_TOO_LONG);
}
