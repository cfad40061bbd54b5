// One call, one connection: framing, deadlines, and everything that a daemon may do wrong.
#include "client_support.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

// Answers the ping of ftpclient_connect(), everything else as told.
static fake_daemon::answer_t after_ping(fake_daemon::answer_t answer)
{
    return [answer](const message_t &message) {
        return message.command == COMMAND_NONE ? message_bytes(COMMAND_NONE, bytes_of(reply_t{0, 0}))
                                               : answer(message);
    };
}

TEST(Connect, PingsTheDaemonOnce)
{
    fake_daemon daemon([](const message_t &) { return message_bytes(0, bytes_of(reply_t{0, 0})); });
    const client_holder client(daemon);
    ASSERT_THAT(daemon.commands(), ElementsAre(0u));
    EXPECT_EQ(daemon.messages()[0].body.size(), 0u);
}

TEST(Connect, WithoutADaemonThereIsNoClient)
{
    const temp_dir dir;
    for (const std::string &path : {dir / "ftp.sock", std::string("/dev/null/ftp.sock"), std::string("")}) {
        auto *client = reinterpret_cast<ftpclient_t *>(1);
        EXPECT_EQ(ftpclient_connect(path.c_str(), 10000, &client), FTPCLIENT_ERR_NO_DAEMON) << path;
        EXPECT_EQ(client, nullptr);
    }
    EXPECT_EQ(ftpclient_connect("/x", 10000, nullptr), FTPCLIENT_ERR_ARGUMENT);
    ftpclient_close(nullptr);
}

TEST(Connect, ASocketThatNobodyListensOnIsNoDaemon)
{
    const temp_dir dir;
    const std::string path = dir / "ftp.sock";
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), path.size());
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ftpclient_t *client = nullptr;
    EXPECT_EQ(ftpclient_connect(path.c_str(), 10000, &client), FTPCLIENT_ERR_NO_DAEMON);
    close(fd);
}

TEST(Connect, APathIsRefusedAtTheSizeOfAnAddressAndNotBefore)
{
    ftpclient_t *client = nullptr;
    EXPECT_EQ(ftpclient_connect(("/" + std::string(106, 'x')).c_str(), 1000, &client),
              FTPCLIENT_ERR_NO_DAEMON);
    EXPECT_EQ(ftpclient_connect(("/" + std::string(107, 'x')).c_str(), 1000, &client),
              FTPCLIENT_ERR_TOO_LONG);
}

TEST(Connect, AQueueThatStaysFullIsATimeout)
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
    ftpclient_t *client = nullptr;
    const auto before = steady_clock::now();
    EXPECT_EQ(ftpclient_connect(path.c_str(), 200, &client), FTPCLIENT_ERR_TIMEOUT);
    EXPECT_GE(steady_clock::now() - before, milliseconds(200));
    close(waiting);
    close(listening);
}

// Every function that asks the daemon, by its command.
struct call_t {
    uint32_t command;
    size_t reply_bytes;
    std::function<int(ftpclient_t *, int timeout_ms)> make;
};

static const call_t CALLS[] = {
    {COMMAND_GET_STATE, 72,
     [](ftpclient_t *client, int timeout_ms) {
         ftpclient_state_t state;
         return ftpclient_poll(client, &state, sizeof state, timeout_ms);
     }},
    {COMMAND_GET_STATE, 72,
     [](ftpclient_t *client, int timeout_ms) {
         ftpclient_state_t state;
         return ftpclient_wait(client, &state, sizeof state, timeout_ms);
     }},
    {COMMAND_CANCEL, 12,
     [](ftpclient_t *client, int timeout_ms) { return ftpclient_cancel(client, timeout_ms); }},
    {COMMAND_GET_FILE_INFO, 56,
     [](ftpclient_t *client, int timeout_ms) {
         ftpclient_file_info_t info;
         return ftpclient_get_file_info(client, &info, sizeof info, timeout_ms);
     }},
};

TEST(Exchange, ADaemonThatDoesNotAnswerIsGivenUpInTime)
{
    for (const call_t &call : CALLS) {
        fake_daemon daemon(after_ping([](const message_t &) { return fake_daemon::HANG; }));
        const client_holder client(daemon);
        const auto before = steady_clock::now();
        EXPECT_EQ(call.make(client, 100), FTPCLIENT_ERR_TIMEOUT) << call.command;
        EXPECT_GE(steady_clock::now() - before, milliseconds(100));
        EXPECT_EQ(call.make(client, 0), FTPCLIENT_ERR_TIMEOUT) << call.command;
    }
}

TEST(Exchange, HalfAnAnswerIsNone)
{
    for (const call_t &call : CALLS) {
        for (const size_t size : {size_t(0), size_t(1), size_t(7), size_t(8), call.reply_bytes + 7}) {
            fake_daemon daemon(after_ping([&](const message_t &message) {
                bytes_t answer = message_bytes(message.command, bytes_t(call.reply_bytes));
                answer.resize(size);
                return answer;
            }));
            const client_holder client(daemon);
            EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_DISCONNECTED)
                << "command " << call.command << ", " << size << " bytes";
        }
    }
}

TEST(Exchange, AnAnswerInPiecesIsTakenWhole)
{
    for (const call_t &call : CALLS) {
        fake_daemon daemon(after_ping([&](const message_t &m) {
                               return message_bytes(m.command, bytes_t(call.reply_bytes));
                           }),
                           fake_daemon::BYTE_BY_BYTE);
        const client_holder client(daemon);
        EXPECT_EQ(call.make(client, 10000), FTPCLIENT_OK) << call.command;
    }
}

TEST(Exchange, AnAnswerOfAnotherCommandOrLengthMakesNoSense)
{
    for (const call_t &call : CALLS) {
        const bytes_t answers[] = {
            message_bytes(call.command + 1, bytes_t(call.reply_bytes)),
            message_bytes(call.command, bytes_t(call.reply_bytes + 1)),
            message_bytes(call.command, bytes_t(call.reply_bytes - 1)),
            message_bytes(call.command, bytes_t()),
            bytes_t(80, 0xFF),
        };
        for (const bytes_t &answer : answers) {
            fake_daemon daemon(after_ping([&](const message_t &) { return answer; }));
            const client_holder client(daemon);
            EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_PROTOCOL) << call.command;
        }
    }
}

TEST(Exchange, AnAnswerToNoOperationMeansAnUnreadRequest)
{
    for (const call_t &call : CALLS) {
        fake_daemon daemon([](const message_t &) { return message_bytes(0, bytes_of(reply_t{0, 0})); });
        const client_holder client(daemon);
        EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_UNREAD) << call.command;
    }
}

TEST(Exchange, TheClientOutlivesTheDaemon)
{
    auto first = std::make_unique<fake_daemon>(job_script{});
    const client_holder client(*first);
    first.reset();
    for (const call_t &call : CALLS)
        EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_NO_DAEMON) << call.command;
}

TEST(Exchange, SeveralThreadsMayUseOneClient)
{
    job_script script;
    script.states = {idle()};
    fake_daemon daemon(script);
    const client_holder client(daemon);
    std::vector<std::thread> threads;
    std::atomic<int> failed = 0;
    for (int i = 0; i < 4; i++)
        threads.emplace_back([&] {
            for (int j = 0; j < 50; j++)
                failed += ftpclient_ping(client, nullptr, 10000) != FTPCLIENT_OK;
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(daemon.commands().size(), 201u);
}

TEST(Exchange, SignalsNeitherEndAWaitNorComeFromOne)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    struct sigaction before = {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    fake_daemon daemon(after_ping([](const message_t &) { return fake_daemon::HANG; }));
    const client_holder client(daemon);
    const pthread_t self = pthread_self();
    std::atomic<bool> done = false;
    std::thread nuisance([&] {
        while (!done) {
            pthread_kill(self, SIGUSR1);
            usleep(2000);
        }
    });
    const auto begin = steady_clock::now();
    EXPECT_EQ(ftpclient_cancel(client, 200), FTPCLIENT_ERR_TIMEOUT);
    EXPECT_GE(steady_clock::now() - begin, milliseconds(200));
    done = true;
    nuisance.join();
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(Exchange, NoDescriptorIsLeftBehind)
{
    fake_daemon daemon(after_ping([](const message_t &) { return bytes_t(3); }));
    const client_holder client(daemon);
    const int before = dup(0);
    close(before);
    for (const call_t &call : CALLS)
        EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_DISCONNECTED);
    // The daemon's thread may still be closing its end: wait until the lowest number is free again.
    int after = -1;
    for (int i = 0; i < 1000 && after != before; i++) {
        after = dup(0);
        close(after);
        usleep(1000);
    }
    EXPECT_EQ(after, before);
}
