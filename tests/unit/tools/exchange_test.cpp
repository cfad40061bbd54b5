#include "tools/exchange.h"

#include "fake_daemon.h"
#include "refused.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Exchange, SendsAHeadOfEightBytesAndTakesTheReply)
{
    fake_daemon daemon([](const message_t &) {
        return bytes_t{4, 0, 0, 0, 12, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0};
    });
    const auto reply = exchange<cancel_reply_t>(daemon.path(), COMMAND_CANCEL);
    EXPECT_EQ(reply.reply.result, 1u);
    EXPECT_EQ(reply.reply.detail, 2u);
    EXPECT_EQ(reply.exec, 3u);
    ASSERT_THAT(daemon.commands(), ElementsAre(4u));
    EXPECT_EQ(daemon.messages()[0].body.size(), 0u);
}

TEST(Exchange, ARequestIsThe2080BytesOfItsRecord)
{
    fake_daemon daemon([](const message_t &m) { return message_bytes(m.command, bytes_of(reply_t{1, 3})); });
    transfer_request_t request = {};
    memset(&request, 0x5A, sizeof request);
    const reply_t reply = exchange_request(daemon.path(), COMMAND_UPLOAD, request);
    EXPECT_EQ(reply.result, 1u);
    EXPECT_EQ(reply.detail, 3u);
    ASSERT_THAT(daemon.commands(), ElementsAre(2u));
    EXPECT_EQ(daemon.messages()[0].body, bytes_t(2080, 0x5A));
}

TEST(Exchange, ADaemonThatIsAbsentIsOneClearLine)
{
    EXPECT_EQ(failure_of([] { exchange<reply_t>("/nonexistent/ftp.sock", COMMAND_NONE); }),
              "3 /nonexistent/ftp.sock: no daemon: No such file or directory");
}

TEST(Exchange, ASocketThatNobodyListensOnIsOneClearLine)
{
    const temp_dir dir;
    const std::string path = dir / "ftp.sock";
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), path.size());
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(failure_of([&] { exchange<reply_t>(path, COMMAND_NONE); }),
              "3 " + path + ": no daemon: Connection refused");
    close(fd);
}

TEST(Exchange, APathThatNoSocketHasIsRefused)
{
    EXPECT_THAT(failure_of([] { exchange<reply_t>(std::string(108, 'x'), COMMAND_NONE); }),
                AllOf(StartsWith("2 "), HasSubstr("too long")));
}

TEST(Exchange, ADaemonThatDoesNotAnswerIsGivenUp)
{
    fake_daemon daemon([](const message_t &) { return fake_daemon::HANG; });
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(failure_of([&] { exchange<reply_t>(daemon.path(), COMMAND_NONE, 200ms); }),
              "3 " + daemon.path() + ": the daemon does not answer");
    EXPECT_GE(std::chrono::steady_clock::now() - before, 200ms);
}

TEST(Exchange, ADaemonWhoseQueueIsFullIsGivenUp)
{
    const temp_dir dir;
    const std::string path = dir / "ftp.sock";
    const int listening = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), path.size());
    const auto *where = reinterpret_cast<const sockaddr *>(&address);
    ASSERT_EQ(bind(listening, where, sizeof address), 0);
    ASSERT_EQ(listen(listening, 0), 0);
    const int waiting = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(connect(waiting, where, sizeof address), 0); // the one place in the queue
    EXPECT_EQ(failure_of([&] { exchange<reply_t>(path, COMMAND_NONE, 200ms); }),
              "3 " + path + ": the daemon does not answer");
    close(waiting);
    close(listening);
}

TEST(Exchange, HalfAnAnswerIsNone)
{
    for (const size_t size : {0u, 4u, 8u, 15u}) {
        fake_daemon daemon([size](const message_t &) {
            bytes_t answer = message_bytes(COMMAND_NONE, bytes_of(reply_t{0, 0}));
            answer.resize(size);
            return answer;
        });
        EXPECT_EQ(failure_of([&] { exchange<reply_t>(daemon.path(), COMMAND_NONE); }),
                  "3 " + daemon.path() + ": the daemon closed the connection without an answer")
            << size << " bytes";
    }
}

TEST(Exchange, AnAnswerInPiecesIsTakenWhole)
{
    fake_daemon daemon(
        [](const message_t &m) { return message_bytes(m.command, bytes_of(ended(2, 16, 100, 40))); },
        fake_daemon::BYTE_BY_BYTE);
    const auto state = exchange<state_reply_t>(daemon.path(), COMMAND_GET_STATE);
    EXPECT_EQ(state.module_info.result, 16u);
    EXPECT_EQ(state.exec_info.transferred_size, 40);
}

TEST(Exchange, AnAnswerToNoOperationMeansAnUnreadRequest)
{
    fake_daemon daemon([](const message_t &) {
        return message_bytes(COMMAND_NONE, bytes_of(reply_t{0, 0}));
    });
    EXPECT_EQ(failure_of([&] { exchange_request(daemon.path(), COMMAND_UPLOAD, {}); }),
              "5 the daemon could not read the request");
}

TEST(Exchange, AnAnswerOfAnotherCommandOrLengthMakesNoSense)
{
    fake_daemon other([](const message_t &) { return message_bytes(COMMAND_GET_STATE, bytes_t(72)); });
    EXPECT_THAT(failure_of([&] { exchange<cancel_reply_t>(other.path(), COMMAND_CANCEL); }),
                StartsWith("5 the daemon's answer makes no sense: command 3, 72 bytes"));
    fake_daemon longer([](const message_t &m) { return message_bytes(m.command, bytes_t(73)); });
    EXPECT_THAT(failure_of([&] { exchange<state_reply_t>(longer.path(), COMMAND_GET_STATE); }),
                StartsWith("5 the daemon's answer makes no sense: command 3, 73 bytes"));
}
