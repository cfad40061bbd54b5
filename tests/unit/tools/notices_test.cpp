#include "tools/notices.h"

#include "fake_daemon.h"
#include "program.h"
#include "refused.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <span>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using json = nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

// 12 bytes of head, reserved ones not zero.
bytes_t notice(uint8_t code, uint8_t length, const bytes_t &body)
{
    const uint8_t head[] = {10, code, 1, 0xEE, length, 0, 0xEE, 0xEE, 0, 0, 0, 0};
    bytes_t bytes(sizeof head + body.size());
    std::ranges::copy(body, std::ranges::copy(head, bytes.begin()).out);
    return bytes;
}

const bytes_t STARTED = notice(3, 8, {0, 0, 0, 0, 0, 0, 0, 0});
const bytes_t FAILED_START = notice(3, 8, {1, 0, 0, 0, 5, 0, 0, 0});

bytes_t completion(uint8_t code, uint32_t result)
{
    completion_notice_t body = {{result != 0, result}, {}};
    body.exec_info.total_size = 5368709120;
    body.exec_info.transferred_size = 5368709120;
    body.exec_info.elapsed_time = 2;
    return notice(code, 56, bytes_of(body));
}

std::string text_of(const bytes_t &bytes, bool as_json = false)
{
    return notices_text(std::as_bytes(std::span(bytes)), as_json);
}

int connected_to(const std::string &path)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), path.size());
    for (int tries = 0; tries < 1000; tries++) {
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
            return fd;
        usleep(10000);
    }
    close(fd);
    return -1;
}

void send_notice(const std::string &path, const bytes_t &bytes)
{
    const int fd = connected_to(path);
    ASSERT_NE(fd, -1) << "ftpctl does not listen";
    EXPECT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    close(fd);
}

} // namespace

TEST(Notices, EachKindIsALine)
{
    EXPECT_EQ(text_of(STARTED), "daemon started");
    EXPECT_THAT(text_of(FAILED_START), StartsWith("daemon failed to start, FTPCD_ERR_INTERNAL (5): "));
    EXPECT_EQ(text_of(completion(0, 0)),
              "download done, 5368709120 of 5368709120 bytes in 2.0 s, FTPCD_ERR_NONE (0): Done.");
    EXPECT_THAT(text_of(completion(1, 16)), HasSubstr("upload done, "));
    EXPECT_THAT(text_of(completion(1, 16)), HasSubstr(" FTPCD_ERR_NETWORK (16): "));
    EXPECT_THAT(text_of(completion(2, 0)), StartsWith("file information done, "));
}

TEST(Notices, AnObjectHasHeadAndBody)
{
    const json object = json::parse(text_of(completion(1, 16), true));
    EXPECT_EQ(object["code"], 1);
    EXPECT_EQ(object["reply"]["detail"], 16);
    EXPECT_EQ(object["exec_info"]["total_size"], 5368709120);
    EXPECT_EQ(json::parse(text_of(STARTED, true))["reply"]["result"], 0);
}

TEST(Notices, WhatIsNoNoticeIsRefused)
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

TEST(Listen, PrintsEachNoticeAtOnceAndEndsAfterItsCount)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program listening({"listen", "--notify-socket", path, "--count", "2"});
    send_notice(path, STARTED);
    EXPECT_TRUE(listening.has_printed("daemon started\n"));
    send_notice(path, bytes_t(5));
    send_notice(path, completion(1, 0));
    const outcome_t outcome = listening.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(
        outcome.out,
        EndsWith(" upload done, 5368709120 of 5368709120 bytes in 2.0 s, FTPCD_ERR_NONE (0): Done.\n"));
    EXPECT_EQ(outcome.err, "ftpctl: ignored: a notice of only 5 bytes\n");
    EXPECT_FALSE(std::filesystem::exists(path)) << "the socket is left behind";
}

TEST(Listen, PrintsAnObjectForEachNotice)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program listening({"--json", "listen", "--notify-socket", path, "--count", "1"});
    send_notice(path, completion(0, 12));
    const outcome_t outcome = listening.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(json::parse(outcome.out)["reply"]["detail"], 12);
}

TEST(Listen, TakesANoticeThatComesInPieces)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program listening({"listen", "--notify-socket", path, "--count", "1"});
    const int fd = connected_to(path);
    for (const uint8_t byte : STARTED) {
        send(fd, &byte, 1, MSG_NOSIGNAL);
        usleep(1000);
    }
    close(fd);
    EXPECT_THAT(listening.wait().out, EndsWith(" daemon started\n"));
}

TEST(Listen, EndsAndTidiesUpAtAnInterrupt)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program listening({"listen", "--notify-socket", path});
    send_notice(path, STARTED);
    ASSERT_TRUE(listening.has_printed("daemon started\n"));
    listening.signal(SIGTERM);
    EXPECT_EQ(listening.wait().status, 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(Listen, EndsWhenItsTimeIsOver)
{
    const temp_dir dir;
    EXPECT_EQ(run({"listen", "--notify-socket", dir / "a", "--timeout", "0.1", "--count", "1"}).status, 8);
    EXPECT_EQ(run({"listen", "--notify-socket", dir / "b", "--timeout", "0.1"}).status, 0);
}

TEST(Listen, ReplacesASocketThatIsAbandoned)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program killed({"listen", "--notify-socket", path});
    close(connected_to(path));
    killed.signal(SIGKILL);
    killed.wait();
    ASSERT_TRUE(std::filesystem::exists(path));
    EXPECT_EQ(run({"listen", "--notify-socket", path, "--timeout", "0.1"}).status, 0);
}

TEST(Listen, LeavesASocketInUseAlone)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program first({"listen", "--notify-socket", path, "--count", "1"});
    close(connected_to(path));
    const outcome_t second = run({"listen", "--notify-socket", path});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.err, "ftpctl: " + path + ": bind: Address already in use\n");
    send_notice(path, STARTED);
    const outcome_t outcome = first.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "ftpctl: ignored: a notice of only 0 bytes\n")
        << "only this test's own first connection";
}

TEST(Listen, LeavesAFileThatIsNoSocketAlone)
{
    const temp_dir dir;
    const std::string path = dir.file("precious", "content");
    EXPECT_EQ(run({"listen", "--notify-socket", path}).status, 1);
    EXPECT_EQ(content_of(path), "content");
}
