// One request over one connection: framing, deadlines, and everything that a daemon may do wrong.
#include "client_support.h"
#include "process.h"

#include <atomic>
#include <span>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
#include "libftpclient/exchange.h"
}

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

// The functions that ask the daemon, with their commands and replies.
struct call_t {
    const char *name;
    uint32_t command;
    size_t reply_bytes;
    int (*make)(ftpclient_t *, int timeout_ms);
};

static int ping(ftpclient_t *client, int timeout_ms) { return ftpclient_ping(client, nullptr, timeout_ms); }
static int ask_state(ftpclient_t *client, int timeout_ms)
{
    ftpclient_state_t state;
    return ftpclient_poll(client, &state, sizeof state, timeout_ms);
}
static int cancel(ftpclient_t *client, int timeout_ms) { return ftpclient_cancel(client, timeout_ms); }

template <int (*BEGIN)(const ftpclient_t *, int, ftpclient_call_t **)>
static int in_pieces(ftpclient_t *client, int timeout_ms)
{
    const call_holder call(BEGIN, client, timeout_ms);
    const int result = call.to_the_end();
    EXPECT_EQ(ftpclient_call_phase(call), FTPCLIENT_PHASE_DONE);
    return result;
}

// A run and a start first ask for the state.
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

static const call_t ALL_CALLS[] = {
    {"ping", COMMAND_NONE, 8, ping},
    {"poll", COMMAND_GET_STATE, 72, ask_state},
    {"cancel", COMMAND_CANCEL, 12, cancel},
    {"begin_ping", COMMAND_NONE, 8, in_pieces<ftpclient_begin_ping>},
    {"begin_poll", COMMAND_GET_STATE, 72, in_pieces<ftpclient_begin_poll>},
    {"begin_cancel", COMMAND_CANCEL, 12, in_pieces<ftpclient_begin_cancel>},
    {"start", COMMAND_GET_STATE, 72, start_upload},
    {"run", COMMAND_GET_STATE, 72, run_upload},
};
static const auto CALLS = std::span(ALL_CALLS).first<6>(); // those of a single exchange

// A listening socket without a daemon: the test itself accepts and replies.
struct bare_socket {
    temp_dir dir;
    std::string path = dir / "ftp.sock";
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);

    bare_socket()
    {
        const sockaddr_un address = address_of(path);
        EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    ~bare_socket() { close(fd); }
};

TEST(Exchange, AnInaccessibleSocketOrFolderIsDenied)
{
    fake_daemon daemon(script_of({idle()}));
    const std::string folder = daemon.path().substr(0, daemon.path().rfind('/'));
    ASSERT_EQ(chmod(daemon.path().c_str(), 0), 0);
    for (const mode_t mode : {mode_t(0755), mode_t(0)}) {
        ASSERT_EQ(chmod(folder.c_str(), mode), 0);
        for (const call_t &call : ALL_CALLS) {
            const int result = without_rights([&] {
                const open_client client(daemon.path());
                return call.make(client, 10000) == FTPCLIENT_ERR_DENIED ? 0 : 1;
            });
            EXPECT_EQ(result, 0) << call.name;
        }
    }
    ASSERT_EQ(chmod(folder.c_str(), 0700), 0);
    EXPECT_THAT(daemon.commands(), ElementsAre());
}

TEST(Exchange, AFullQueueOrASilentDaemonIsGivenUpInTime)
{
    const bare_socket full;
    ASSERT_EQ(listen(full.fd, 0), 0);
    const int waiting = connected_to(full.path); // takes the only place in the queue
    fake_daemon silent([](const message_t &) { return fake_daemon::HANG; });
    for (const std::string &path : {full.path, silent.path()}) {
        const open_client client(path);
        for (const call_t &call : CALLS) {
            const auto before = steady_clock::now();
            EXPECT_EQ(call.make(client, 100), FTPCLIENT_ERR_TIMEOUT) << call.name;
            EXPECT_GE(steady_clock::now() - before, milliseconds(100));
            EXPECT_EQ(call.make(client, 0), FTPCLIENT_ERR_TIMEOUT) << call.name;
        }
    }
    close(waiting);
}

TEST(Exchange, AQueueThatIsFullForAWhileIsRetried)
{
    const bare_socket full;
    ASSERT_EQ(listen(full.fd, 0), 0);
    const int first = connected_to(full.path);
    const open_client client(full.path);
    const call_holder call(ftpclient_begin_ping, client, 20000);
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    std::thread daemon([&] {
        usleep(200000);                           // for the call to wait
        close(accept(full.fd, nullptr, nullptr)); // makes room
        const int fd = accept(full.fd, nullptr, nullptr);
        message_header_t question;
        recv(fd, &question, sizeof question, MSG_WAITALL);
        const bytes_t answer = message_bytes(0, bytes_of(reply_t{0, 7}));
        send(fd, answer.data(), answer.size(), MSG_NOSIGNAL);
        close(fd);
    });
    EXPECT_EQ(call.to_the_end(), FTPCLIENT_OK);
    int32_t last = 0;
    EXPECT_EQ(ftpclient_call_last_result(call, &last), FTPCLIENT_OK);
    EXPECT_EQ(last, 7);
    daemon.join();
    close(first);
}

TEST(Exchange, ACutReplyCountsAsDisconnectedAndAWrongHeaderAsInvalid)
{
    for (const call_t &call : ALL_CALLS) {
        const bytes_t right = message_bytes(call.command, bytes_t(call.reply_bytes));
        const auto half = [&](size_t size) { return bytes_t(right.begin(), right.begin() + long(size)); };
        const struct {
            bytes_t answer;
            int result;
        } rows[] = {
            {half(0), FTPCLIENT_ERR_DISCONNECTED},
            {half(1), FTPCLIENT_ERR_DISCONNECTED},
            {half(7), FTPCLIENT_ERR_DISCONNECTED},
            {half(8), FTPCLIENT_ERR_DISCONNECTED},
            {half(right.size() - 1), FTPCLIENT_ERR_DISCONNECTED},
            {message_bytes(call.command + 1, bytes_t(call.reply_bytes)), FTPCLIENT_ERR_PROTOCOL},
            {message_bytes(call.command, bytes_t(call.reply_bytes + 1)), FTPCLIENT_ERR_PROTOCOL},
            {message_bytes(call.command, bytes_t(call.reply_bytes - 1)), FTPCLIENT_ERR_PROTOCOL},
            {message_bytes(call.command, bytes_t()), FTPCLIENT_ERR_PROTOCOL},
            {bytes_t(80, 0xFF), FTPCLIENT_ERR_PROTOCOL},
            // The reply to a no-operation means that the request was not read.
            {message_bytes(0, bytes_t(8)),
             call.command == COMMAND_NONE ? FTPCLIENT_OK : FTPCLIENT_ERR_UNREAD},
        };
        for (const auto &row : rows) {
            fake_daemon daemon([&](const message_t &) { return row.answer; });
            const open_client client(daemon.path());
            EXPECT_EQ(call.make(client, 10000), row.result) << call.name << ", " << row.answer.size();
        }
    }
}

TEST(Exchange, SeveralThreadsMayShareAClientWhichOutlivesTheDaemon)
{
    fake_daemon daemon(script_of({idle()}));
    const open_client client(daemon.path());
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
    EXPECT_EQ(daemon.commands().size(), 200u);
    daemon.stop();
    for (const call_t &call : ALL_CALLS)
        EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_NO_DAEMON) << call.name;
}

TEST(Exchange, NoDescriptorIsLeftBehind)
{
    fake_daemon daemon([](const message_t &) { return bytes_t(3); });
    const open_client client(daemon.path());
    const auto before = open_descriptors();
    for (const call_t &call : ALL_CALLS)
        EXPECT_EQ(call.make(client, 10000), FTPCLIENT_ERR_DISCONNECTED) << call.name;
    // The daemon's thread may not have closed its end yet.
    for (int i = 0; i < 1000 && open_descriptors() != before; i++)
        usleep(1000);
    EXPECT_EQ(open_descriptors(), before);
}

// The daemon sends a reply each 100 ms at most.
TEST(Exchange, ARepliesTimeIsBoundedByThoseAfterAndBeforeIt)
{
    const struct {
        std::vector<int64_t> read_ms;    // of each reply
        std::vector<int64_t> replied_ms; // at the latest
        int64_t ended_ms;
    } cases[] = {
        {{1000}, {1000}, 1000},
        {{1000, 1104, 1208}, {1000, 1104, 1208}, 1200}, // all in time
        {{1150, 1150, 1200}, {1000, 1100, 1200}, 1200}, // two read late
        {{1000, 1350, 1350}, {1000, 1250, 1350}, 1200}, // the last too
        {{1350, 1350, 1350}, {1150, 1250, 1350}, 1350}, // all at once
    };
    for (const auto &c : cases) {
        ftpc_batch_t batch = {};
        for (const int64_t read_ms : c.read_ms)
            batch.exchanges[batch.count++].replied_ms = read_ms;
        for (size_t i = 0; i < c.read_ms.size(); i++)
            EXPECT_EQ(ftpc_batch_replied_ms(&batch, int(i)), c.replied_ms[i])
                << i << " of " << c.read_ms.back();
        EXPECT_EQ(ftpc_batch_ended_ms(&batch), c.ended_ms) << c.read_ms.back();
    }
}
