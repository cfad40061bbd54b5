// One request, one connection: framing, deadlines, and everything that a daemon may do wrong.
#include "client_support.h"
#include "process.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

// A function that asks the daemon, by its command. In two pieces each is the same.
struct call_t {
    const char *name;
    uint32_t command;
    size_t reply_bytes;
    std::function<int(ftpclient_t *, int timeout_ms)> make;
};

static int in_pieces(int (*begin)(const ftpclient_t *, int, ftpclient_call_t **), ftpclient_t *client,
                     int timeout_ms)
{
    ftpclient_call_t *call = nullptr;
    int result = begin(client, timeout_ms, &call);
    if (result != FTPCLIENT_OK)
        return result;
    while ((result = ftpclient_call_finish(call)) == FTPCLIENT_PENDING) {
        pollfd waiting = {ftpclient_call_fd(call), POLLIN, 0};
        poll(&waiting, 1, -1);
    }
    EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_DONE);
    const int kept = errno;
    ftpclient_call_free(call);
    errno = kept;
    return result;
}

static const call_t CALLS[] = {
    {"ping", COMMAND_NONE, 8,
     [](ftpclient_t *client, int timeout_ms) { return ftpclient_ping(client, nullptr, timeout_ms); }},
    {"poll", COMMAND_GET_STATE, 72,
     [](ftpclient_t *client, int timeout_ms) {
         ftpclient_state_t state;
         return ftpclient_poll(client, &state, sizeof state, timeout_ms);
     }},
    {"cancel", COMMAND_CANCEL, 12,
     [](ftpclient_t *client, int timeout_ms) { return ftpclient_cancel(client, timeout_ms); }},
    {"begin_ping", COMMAND_NONE, 8,
     [](ftpclient_t *client, int timeout_ms) { return in_pieces(ftpclient_begin_ping, client, timeout_ms); }},
    {"begin_poll", COMMAND_GET_STATE, 72,
     [](ftpclient_t *client, int timeout_ms) { return in_pieces(ftpclient_begin_poll, client, timeout_ms); }},
    {"begin_cancel", COMMAND_CANCEL, 12,
     [](ftpclient_t *client, int timeout_ms) {
         return in_pieces(ftpclient_begin_cancel, client, timeout_ms);
     }},
};

// A run and a start begin with a look at the state.
static int start_upload(ftpclient_t *client, int timeout_ms)
{
    const request_holder request(FTPCLIENT_FTP);
    return ftpclient_start(client, FTPCLIENT_UPLOAD, request, timeout_ms);
}
static int run_upload(ftpclient_t *client, int timeout_ms)
{
    const request_holder request(FTPCLIENT_FTP);
    return ftpclient_run(client, FTPCLIENT_UPLOAD, request, nullptr, 0, timeout_ms);
}

static std::vector<call_t> all_calls()
{
    std::vector<call_t> calls(std::begin(CALLS), std::end(CALLS));
    calls.push_back({"start", COMMAND_GET_STATE, 72, start_upload});
    calls.push_back({"run", COMMAND_GET_STATE, 72, run_upload});
    return calls;
}

static sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), path.size());
    return address;
}

TEST(Exchange, ASocketThatNobodyListensOnIsNoDaemon)
{
    const temp_dir dir;
    const sockaddr_un address = address_of(dir / "ftp.sock");
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    const open_client client(dir / "ftp.sock");
    for (const call_t &call : all_calls())
        EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_NO_DAEMON) << call.name;
    close(fd);
}

TEST(Exchange, ASocketThatMayNotBeUsedIsDenied)
{
    job_script script;
    script.states = {idle()};
    fake_daemon daemon(script);
    ASSERT_EQ(chmod(daemon.path().substr(0, daemon.path().rfind('/')).c_str(), 0755), 0);
    ASSERT_EQ(chmod(daemon.path().c_str(), 0), 0);
    for (const call_t &call : all_calls())
        EXPECT_EQ(without_rights([&] {
                      const open_client client(daemon.path());
                      return call.make(client, 10000) == FTPCLIENT_ERR_DENIED ? 0 : 1;
                  }),
                  0)
            << call.name;
    EXPECT_THAT(daemon.commands(), ElementsAre());
}

TEST(Exchange, AFolderThatMayNotBeEnteredIsDenied)
{
    const temp_dir dir;
    ASSERT_EQ(chmod((dir / "").c_str(), 0), 0);
    for (const call_t &call : all_calls())
        EXPECT_EQ(without_rights([&] {
                      const open_client client(dir / "ftp.sock");
                      return call.make(client, 10000) == FTPCLIENT_ERR_DENIED ? 0 : 1;
                  }),
                  0)
            << call.name;
    ASSERT_EQ(chmod((dir / "").c_str(), 0700), 0);
}

TEST(Exchange, AQueueThatStaysFullIsATimeout)
{
    const temp_dir dir;
    const sockaddr_un address = address_of(dir / "ftp.sock");
    const auto *where = reinterpret_cast<const sockaddr *>(&address);
    const int listening = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listening, where, sizeof address), 0);
    ASSERT_EQ(listen(listening, 0), 0);
    const int waiting = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(connect(waiting, where, sizeof address), 0); // the one place in the queue
    const open_client client(dir / "ftp.sock");
    for (const call_t &call : CALLS) {
        const auto before = steady_clock::now();
        EXPECT_EQ(call.make(client, 100), FTPCLIENT_ERR_TIMEOUT) << call.name;
        EXPECT_GE(steady_clock::now() - before, milliseconds(100));
    }
    close(waiting);
    close(listening);
}

TEST(Exchange, AQueueThatIsFullForAWhileIsWaitedFor)
{
    const temp_dir dir;
    const sockaddr_un address = address_of(dir / "ftp.sock");
    const auto *where = reinterpret_cast<const sockaddr *>(&address);
    const int listening = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listening, where, sizeof address), 0);
    ASSERT_EQ(listen(listening, 0), 0);
    const int first = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(connect(first, where, sizeof address), 0);
    const open_client client(dir / "ftp.sock");
    ftpclient_call_t *call = nullptr;
    ASSERT_EQ(ftpclient_begin_ping(client, 20000, &call), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    close(accept(listening, nullptr, nullptr)); // now there is room
    std::thread daemon([&] {
        const int fd = accept(listening, nullptr, nullptr);
        message_header_t question;
        recv(fd, &question, sizeof question, MSG_WAITALL);
        const bytes_t answer = message_bytes(0, bytes_of(reply_t{0, 7}));
        send(fd, answer.data(), answer.size(), MSG_NOSIGNAL);
        close(fd);
    });
    int result = FTPCLIENT_PENDING;
    while ((result = ftpclient_call_finish(call)) == FTPCLIENT_PENDING) {
        pollfd waiting = {ftpclient_call_fd(call), POLLIN, 0};
        poll(&waiting, 1, -1);
    }
    EXPECT_EQ(result, FTPCLIENT_OK);
    int32_t last = 0;
    EXPECT_EQ(ftpclient_call_last_result(call, &last), FTPCLIENT_OK);
    EXPECT_EQ(last, 7);
    daemon.join();
    ftpclient_call_free(call);
    close(first);
    close(listening);
}

TEST(Exchange, ADaemonThatDoesNotAnswerIsGivenUpInTime)
{
    fake_daemon daemon([](const message_t &) { return fake_daemon::HANG; });
    const open_client client(daemon.path());
    for (const call_t &call : CALLS) {
        const auto before = steady_clock::now();
        EXPECT_EQ(call.make(client, 100), FTPCLIENT_ERR_TIMEOUT) << call.name;
        EXPECT_GE(steady_clock::now() - before, milliseconds(100));
        EXPECT_EQ(call.make(client, 0), FTPCLIENT_ERR_TIMEOUT) << call.name;
    }
}

TEST(Exchange, HalfAnAnswerIsNone)
{
    for (const call_t &call : all_calls()) {
        for (const size_t size : {size_t(0), size_t(1), size_t(7), size_t(8), call.reply_bytes + 7}) {
            fake_daemon daemon([&](const message_t &message) {
                bytes_t answer = message_bytes(message.command, bytes_t(call.reply_bytes));
                answer.resize(size);
                return answer;
            });
            const open_client client(daemon.path());
            EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_DISCONNECTED)
                << call.name << ", " << size << " bytes";
        }
    }
}

TEST(Exchange, AnAnswerInPiecesIsTakenWhole)
{
    for (const call_t &call : CALLS) {
        fake_daemon daemon(
            [&](const message_t &m) { return message_bytes(m.command, bytes_t(call.reply_bytes)); },
            fake_daemon::BYTE_BY_BYTE);
        const open_client client(daemon.path());
        EXPECT_EQ(call.make(client, 10000), FTPCLIENT_OK) << call.name;
    }
}

TEST(Exchange, AnAnswerOfAnotherCommandOrLengthMakesNoSense)
{
    for (const call_t &call : all_calls()) {
        const bytes_t answers[] = {
            message_bytes(call.command + 1, bytes_t(call.reply_bytes)),
            message_bytes(call.command, bytes_t(call.reply_bytes + 1)),
            message_bytes(call.command, bytes_t(call.reply_bytes - 1)),
            message_bytes(call.command, bytes_t()),
            bytes_t(80, 0xFF),
        };
        for (const bytes_t &answer : answers) {
            fake_daemon daemon([&](const message_t &) { return answer; });
            const open_client client(daemon.path());
            EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_PROTOCOL) << call.name;
        }
    }
}

TEST(Exchange, AnAnswerToNoOperationMeansAnUnreadRequest)
{
    fake_daemon daemon([](const message_t &) { return message_bytes(0, bytes_of(reply_t{0, 0})); });
    const open_client client(daemon.path());
    for (const call_t &call : all_calls())
        EXPECT_EQ(call.make(client, 10000),
                  call.command == COMMAND_NONE ? FTPCLIENT_OK : FTPCLIENT_ERR_UNREAD)
            << call.name;
}

TEST(Exchange, TheClientOutlivesTheDaemon)
{
    auto first = std::make_unique<fake_daemon>(job_script{});
    const client_holder client(*first);
    first.reset();
    for (const call_t &call : all_calls())
        EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_NO_DAEMON) << call.name;
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
    fake_daemon daemon([](const message_t &) { return fake_daemon::HANG; });
    const open_client client(daemon.path());
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
    fake_daemon daemon([](const message_t &) { return bytes_t(3); });
    const open_client client(daemon.path());
    const int before = dup(0);
    close(before);
    for (const call_t &call : all_calls())
        EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_DISCONNECTED) << call.name;
    // The daemon's thread may still be closing its end: wait until the lowest number is free again.
    int after = -1;
    for (int i = 0; i < 1000 && after != before; i++) {
        after = dup(0);
        close(after);
        usleep(1000);
    }
    EXPECT_EQ(after, before);
}
