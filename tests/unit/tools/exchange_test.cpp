#include "tools/exchange.h"

#include "fake_daemon.h"
#include "refused.h"

#include <csignal>
#include <cstring>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

// Takes one connection, and closes it with what has come on it unread.
class breaking_daemon
{
public:
    breaking_daemon() : listening_(socket(AF_UNIX, SOCK_STREAM, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        memcpy(address.sun_path, path().data(), path().size());
        EXPECT_EQ(bind(listening_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listening_, 1), 0);
        thread_ = std::thread([this] {
            const int fd = accept(listening_, nullptr, nullptr);
            std::this_thread::sleep_for(300ms); // it has sent what it can
            close(fd);
        });
    }
    ~breaking_daemon()
    {
        thread_.join();
        close(listening_);
    }
    breaking_daemon(const breaking_daemon &) = delete;
    breaking_daemon &operator=(const breaking_daemon &) = delete;

    std::string path() const { return dir_ / "ftp.sock"; }

private:
    temp_dir dir_;
    int listening_;
    std::thread thread_;
};

} // namespace

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

TEST(Exchange, WithoutTimeItIsGivenUpAtOnce)
{
    fake_daemon daemon([](const message_t &) { return fake_daemon::HANG; });
    EXPECT_EQ(failure_of([&] { exchange<reply_t>(daemon.path(), COMMAND_NONE, 0ms); }),
              "3 " + daemon.path() + ": the daemon does not answer");
}

TEST(Exchange, ASignalDoesNotEndTheWait)
{
    struct sigaction noted = {};
    struct sigaction before = {};
    noted.sa_handler = [](int) {};
    sigaction(SIGUSR1, &noted, &before);
    fake_daemon daemon([waiting = pthread_self()](const message_t &m) {
        for (int i = 0; i < 5; i++) {
            std::this_thread::sleep_for(20ms); // the other thread waits for the answer
            pthread_kill(waiting, SIGUSR1);
        }
        return message_bytes(m.command, bytes_of(reply_t{0, 3}));
    });
    EXPECT_EQ(exchange<reply_t>(daemon.path(), COMMAND_NONE).detail, 3u);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(Exchange, ADaemonThatBreaksOffIsOneClearLine)
{
    const struct {
        size_t size; // of the request: more than the socket holds is still being sent
        std::string reason;
    } cases[] = {{2080, "Connection reset by peer"}, {8 << 20, "Broken pipe"}};
    for (const auto &c : cases) {
        const breaking_daemon daemon;
        const bytes_t body(c.size);
        reply_t reply;
        EXPECT_EQ(failure_of([&] {
                      exchange_bytes(daemon.path(), COMMAND_UPLOAD, std::as_bytes(std::span(body)),
                                     std::as_writable_bytes(std::span(&reply, 1)), 10s);
                  }),
                  "3 " + daemon.path() + ": the daemon broke off: " + c.reason);
    }
}

TEST(Exchange, WithoutADescriptorItSaysSo)
{
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const std::string failure = failure_of([] { exchange<reply_t>("/nonexistent", COMMAND_NONE); });
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(failure, "1 socket: Too many open files");
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
