#include "libftpclient/ftpclient.h"

#include "notice_bytes.h"
#include "process.h"

#include <gtest/gtest.h>

#include <poll.h>

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

static bytes_t completion(uint8_t code, uint32_t result, uint32_t detail)
{
    return notice(code, 56,
                  bytes_of(completion_notice_t{{result, detail}, {5e9, 4e9, 2.5, 56, 0, 1, 426, 4, 0}}));
}

static void send_from(int fd, const bytes_t &bytes)
{
    EXPECT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), ssize_t(bytes.size()));
}

TEST_F(Notices, TheEndOfAJobHasItsFigures)
{
    for (const uint8_t code : bytes_t{0, 1, 2}) {
        announce(connected_to(path), completion(code, 1, 16));
        ASSERT_EQ(receive(), FTPCLIENT_OK);
        EXPECT_EQ(notice.code, code);
        EXPECT_EQ(notice.result, FTPCLIENT_RESULT_NETWORK);
        EXPECT_EQ(bytes_of(notice.progress),
                  bytes_of(ftpclient_progress_t{5000000000, 4000000000, 2500, 56, 0, 1, 426, 4, 0}));
    }
    announce(connected_to(path), completion(0, 0, 0));
    ASSERT_EQ(receive(), FTPCLIENT_OK);
    EXPECT_EQ(notice.result, FTPCLIENT_RESULT_NONE);
}

TEST_F(Notices, TheDaemonsStartHasNoFigures)
{
    for (const auto &[bytes, result] :
         {std::pair{STARTED, 0}, {FAILED_START, int(FTPCLIENT_RESULT_INTERNAL)}}) {
        announce(connected_to(path), bytes);
        ASSERT_EQ(receive(), FTPCLIENT_OK);
        EXPECT_EQ(notice.code, FTPCLIENT_NOTICE_STARTED);
        EXPECT_EQ(notice.result, result);
        EXPECT_EQ(notice.progress.total_bytes, 0);
    }
}

TEST_F(Notices, TheDescriptorIsReadableWhenThereIsSomethingToDo)
{
    const auto before = steady_clock::now();
    EXPECT_FALSE(is_readable());
    EXPECT_EQ(receive(100), FTPCLIENT_ERR_TIMEOUT);
    EXPECT_GE(steady_clock::now() - before, milliseconds(100));
    const int fd = connected_to(path);
    EXPECT_TRUE(is_readable());
    EXPECT_EQ(receive(0), FTPCLIENT_ERR_TIMEOUT); // nothing was sent yet
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
    announce(connected_to(path), bytes); // the next notice
    EXPECT_TRUE(is_readable());
    EXPECT_EQ(receive(0), FTPCLIENT_OK);
    EXPECT_FALSE(is_readable());
}

TEST_F(Notices, OneBehindASlowSenderIsNotLost)
{
    const int slow = connected_to(path);
    EXPECT_EQ(receive(0), FTPCLIENT_ERR_TIMEOUT);
    announce(connected_to(path), completion(2, 0, 0));
    EXPECT_EQ(receive(20), FTPCLIENT_ERR_TIMEOUT);
    send_from(slow, completion(1, 0, 0));
    close(slow);
    ASSERT_EQ(receive(), FTPCLIENT_OK);
    EXPECT_EQ(notice.code, 1);
    ASSERT_EQ(receive(), FTPCLIENT_OK);
    EXPECT_EQ(notice.code, 2);
}

TEST_F(Notices, ASilentSenderIsDroppedAfterTenSeconds)
{
    const int silent = connected_to(path);
    announce(connected_to(path), completion(0, 0, 0));
    const auto before = steady_clock::now();
    EXPECT_EQ(receive(20000), FTPCLIENT_ERR_PROTOCOL);
    const auto took = steady_clock::now() - before;
    EXPECT_GE(took, milliseconds(9900));
    EXPECT_LT(took, milliseconds(19000));
    EXPECT_EQ(receive(), FTPCLIENT_OK);
    close(silent);
}

TEST_F(Notices, AnInvalidNoticeIsDroppedAndReported)
{
    const bytes_t good = completion(0, 1, 16);
    const auto altered = [&](size_t at, uint8_t value) {
        bytes_t bytes = good;
        bytes[at] = value;
        return bytes;
    };
    const auto of_size = [&](size_t size) {
        bytes_t bytes = good;
        bytes.resize(size);
        return bytes;
    };
    const bytes_t bad[] = {
        {},
        {10},
        of_size(11),
        of_size(12),
        of_size(good.size() - 1),
        of_size(good.size() + 1),
        altered(0, 11),
        altered(1, 3), // a start with figures
        altered(1, 4),
        altered(2, 2),
        altered(4, 55),
        altered(4, 57),
        altered(5, 1),
        completion(0, 1, 0),          // failed without a reason
        completion(0, 1, 0x80000000), // an impossible reason
        bytes_t(512, 10),
    };
    for (const bytes_t &bytes : bad) {
        announce(connected_to(path), bytes);
        EXPECT_EQ(receive(), FTPCLIENT_ERR_PROTOCOL) << bytes.size() << " bytes";
    }
    // More than any notice has; the sender may not be able to send it all.
    const int fd = connected_to(path);
    send(fd, bytes_t(100000, 10).data(), 100000, MSG_NOSIGNAL | MSG_DONTWAIT);
    EXPECT_EQ(receive(), FTPCLIENT_ERR_PROTOCOL);
    close(fd);
    announce(connected_to(path), good);
    EXPECT_EQ(receive(), FTPCLIENT_OK);
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
    announce(connected_to(path), completion(0, 0, 0));
    EXPECT_EQ(receive(), FTPCLIENT_OK);
}

TEST_F(Notices, TheSocketIsRemovedWithTheReceiverUnlessAnotherReplacedIt)
{
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
    ftpclient_notices_close(notices);
    EXPECT_EQ(access(path.c_str(), F_OK), -1);
    ASSERT_EQ(ftpclient_notices_open(path.c_str(), &notices), FTPCLIENT_OK);
    ASSERT_EQ(rename(path.c_str(), (path + ".old").c_str()), 0);
    ftpclient_notices_t *newer = nullptr;
    ASSERT_EQ(ftpclient_notices_open(path.c_str(), &newer), FTPCLIENT_OK);
    ftpclient_notices_close(notices);
    notices = newer;
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
}

TEST(NoticesOpen, ASocketLeftBehindIsReplacedAndAFileStays)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    ftpclient_notices_t *notices = nullptr;
    ASSERT_EQ(in_process([&] { return ftpclient_notices_open(path.c_str(), &notices); }), FTPCLIENT_OK);
    ASSERT_EQ(access(path.c_str(), F_OK), 0);
    EXPECT_EQ(ftpclient_notices_open(path.c_str(), &notices), FTPCLIENT_OK);
    ftpclient_notices_close(notices);
    dir.file("nm.sock", "precious");
    EXPECT_EQ(ftpclient_notices_open(path.c_str(), &notices), FTPCLIENT_ERR_IN_USE);
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
}

TEST(NoticesOpen, AMissingFolderIsASystemErrorAndALongPathIsRefused)
{
    ftpclient_notices_t *notices = nullptr;
    errno = 0;
    EXPECT_EQ(ftpclient_notices_open("/nonexistent/nm.sock", &notices), FTPCLIENT_ERR_SYSTEM);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(ftpclient_notices_open(std::string(108, 'x').c_str(), &notices), FTPCLIENT_ERR_TOO_LONG);
}
