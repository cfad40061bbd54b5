// System calls that do less than they were asked for, or nothing, and clocks that go on.
#include "client_support.h"
#include "wrapped.h"

#include <cerrno>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

static fake_daemon::answer_t idle_daemon()
{
    job_script script;
    script.states = {idle()};
    return script;
}

static behaviour_t failing(const char *call, int error)
{
    behaviour_t broken;
    broken.failing = call;
    broken.failing_errno = error;
    return broken;
}

static behaviour_t later(int64_t ms)
{
    behaviour_t behaviour;
    behaviour.skipped_ms = ms;
    return behaviour;
}

TEST(System, ARequestIsWipedBeforeItIsFreed)
{
    ftpclient_request_t *request = nullptr;
    ASSERT_EQ(ftpclient_request_new(FTPCLIENT_SFTP, &request), FTPCLIENT_OK);
    ASSERT_EQ(ftpclient_request_set_login(request, "anna", "Swordfish"), FTPCLIENT_OK);
    ASSERT_EQ(ftpclient_request_set_proxy(request, "proxy", 8080), FTPCLIENT_OK);
    ASSERT_EQ(ftpclient_request_set_proxy_login(request, "bert", "Swordfish"), FTPCLIENT_OK);
    look_for_in_freed("Swordfish");
    ftpclient_request_free(request);
    EXPECT_EQ(freed_blocks(), 1);
    EXPECT_EQ(found_in_freed(), 0);
    look_for_in_freed("");
}

TEST(System, ACallIsWipedBeforeItIsFreed)
{
    const request_holder request(FTPCLIENT_FTP);
    ASSERT_EQ(ftpclient_request_set_login(request, "anna", "Swordfish"), FTPCLIENT_OK);
    fake_daemon silent([](const message_t &) { return fake_daemon::HANG; });
    fake_daemon quick(idle_daemon());
    for (const fake_daemon *daemon : {&silent, &quick}) {
        const open_client client(daemon->path());
        ftpclient_call_t *call = nullptr;
        ASSERT_EQ(ftpclient_begin_run(client, FTPCLIENT_UPLOAD, request, 10000, &call), FTPCLIENT_OK);
        look_for_in_freed("Swordfish");
        ftpclient_call_free(call);
        EXPECT_GE(freed_blocks(), 1);
        EXPECT_EQ(found_in_freed(), 0);
        look_for_in_freed("");
    }
}

TEST(System, ShortAndInterruptedCallsAreGoneOnWith)
{
    fake_daemon daemon(idle_daemon());
    const client_holder client(daemon);
    request_holder request(FTPCLIENT_FTP);
    const bytes_t expected = sent(request);
    for (const size_t piece : {size_t(1), size_t(3), size_t(8), size_t(2079)}) {
        behaviour_t slow;
        slow.piece = piece;
        slow.interruptions = 2;
        const with slowness(slow);
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_UPLOAD, request, 10000), FTPCLIENT_OK) << piece;
    }
    EXPECT_TRUE(daemon.has_got(COMMAND_UPLOAD, 4));
    for (const message_t &message : daemon.messages()) {
        if (message.command == COMMAND_UPLOAD) {
            EXPECT_EQ(message.body, expected);
        }
    }
}

TEST(System, EachFailureIsToldWithItsErrno)
{
    fake_daemon daemon(idle_daemon());
    const client_holder client(daemon);
    const request_holder request(FTPCLIENT_FTP);
    const struct {
        const char *call;
        int error;
        int result;
    } cases[] = {
        {"socket", EMFILE, FTPCLIENT_ERR_SYSTEM},           {"epoll_create1", EMFILE, FTPCLIENT_ERR_SYSTEM},
        {"timerfd_create", ENFILE, FTPCLIENT_ERR_SYSTEM},   {"connect", EACCES, FTPCLIENT_ERR_DENIED},
        {"connect", EPERM, FTPCLIENT_ERR_DENIED},           {"connect", ENOMEM, FTPCLIENT_ERR_SYSTEM},
        {"connect", ECONNREFUSED, FTPCLIENT_ERR_NO_DAEMON}, {"connect", ENOENT, FTPCLIENT_ERR_NO_DAEMON},
        {"send", EPIPE, FTPCLIENT_ERR_DISCONNECTED},        {"send", ENOBUFS, FTPCLIENT_ERR_SYSTEM},
        {"recv", ECONNRESET, FTPCLIENT_ERR_DISCONNECTED},   {"recv", ENOMEM, FTPCLIENT_ERR_SYSTEM},
    };
    for (const auto &c : cases) {
        int results[2] = {};
        int errors[2] = {};
        for (int i = 0; i < 2; i++) {
            const with breakage(failing(c.call, c.error));
            errno = 0;
            results[i] = i == 0 ? ftpclient_ping(client, nullptr, 10000)
                                : ftpclient_run(client, FTPCLIENT_UPLOAD, request, nullptr, 0, 10000);
            errors[i] = errno;
        }
        for (int i = 0; i < 2; i++) {
            EXPECT_EQ(results[i], c.result) << c.call << " " << c.error;
            if (c.result == FTPCLIENT_ERR_SYSTEM) {
                EXPECT_EQ(errors[i], c.error) << c.call;
            }
        }
    }
}

TEST(System, AWaitThatFailsIsToldWithItsErrno)
{
    fake_daemon daemon([](const message_t &) { return fake_daemon::HANG; });
    const open_client client(daemon.path());
    const with breakage(failing("poll", ENOMEM));
    EXPECT_EQ(ftpclient_ping(client, nullptr, 10000), FTPCLIENT_ERR_SYSTEM);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(System, AQueueThatIsFullIsATimeout)
{
    fake_daemon daemon(idle_daemon());
    const client_holder client(daemon);
    const with breakage(failing("connect", EAGAIN));
    EXPECT_EQ(ftpclient_ping(client, nullptr, 100), FTPCLIENT_ERR_TIMEOUT);
}

// What begins fails before there is a call, or its failure comes from finish, errno each time again.
TEST(System, ACallThatCannotBeMadeIsNone)
{
    fake_daemon daemon(idle_daemon());
    const client_holder client(daemon);
    const int before = dup(0);
    close(before);
    for (const char *call_name : {"epoll_create1", "timerfd_create", "socket"}) {
        auto *call = reinterpret_cast<ftpclient_call_t *>(1);
        {
            const with breakage(failing(call_name, EMFILE));
            EXPECT_EQ(ftpclient_begin_ping(client, 1000, &call), FTPCLIENT_ERR_SYSTEM);
            EXPECT_EQ(errno, EMFILE);
        }
        EXPECT_EQ(call, nullptr);
        const int after = dup(0);
        close(after);
        EXPECT_EQ(after, before);
    }
    ftpclient_call_t *call = nullptr;
    {
        const with breakage(failing("recv", ENOMEM));
        ASSERT_EQ(ftpclient_begin_ping(client, 1000, &call), FTPCLIENT_OK);
    }
    for (int i = 0; i < 2; i++) {
        errno = 0;
        EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_ERR_SYSTEM);
        EXPECT_EQ(errno, ENOMEM);
    }
    ftpclient_call_free(call);
}

TEST(System, AReceiverWithoutASocketTellsTheErrno)
{
    const with breakage(failing("socket", EMFILE));
    ftpclient_notices_t *notices = nullptr;
    EXPECT_EQ(ftpclient_notices_open("/nonexistent/x", &notices), FTPCLIENT_ERR_SYSTEM);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_EQ(notices, nullptr);
}

TEST(System, ABrokenConnectionRaisesNoSignal)
{
    fake_daemon daemon(idle_daemon());
    const client_holder client(daemon);
    behaviour_t broken;
    broken.shut_when_connected = true;
    const with breakage(broken);
    EXPECT_EQ(ftpclient_ping(client, nullptr, 10000),
              FTPCLIENT_ERR_DISCONNECTED); // SIGPIPE would end this test
}

TEST(System, WithoutMemoryNothingIsMade)
{
    auto *client = reinterpret_cast<ftpclient_t *>(1);
    auto *request = reinterpret_cast<ftpclient_request_t *>(1);
    auto *notices = reinterpret_cast<ftpclient_notices_t *>(1);
    auto *call = reinterpret_cast<ftpclient_call_t *>(1);
    const open_client whole("/nonexistent/x");
    const request_holder filled(FTPCLIENT_FTP);
    int results[6];
    {
        behaviour_t poor;
        poor.without_memory = true;
        const with poverty(poor);
        results[0] = ftpclient_connect(nullptr, 1000, &client);
        results[1] = ftpclient_request_new(FTPCLIENT_FTP, &request);
        results[2] = ftpclient_notices_open("/nonexistent/x", &notices);
        results[3] = ftpclient_ping(whole, nullptr, 1000);
        results[4] = ftpclient_run(whole, FTPCLIENT_UPLOAD, filled, nullptr, 0, 1000);
        results[5] = ftpclient_begin_run(whole, FTPCLIENT_UPLOAD, filled, 1000, &call);
    }
    for (int result : results)
        EXPECT_EQ(result, FTPCLIENT_ERR_NO_MEMORY);
    EXPECT_EQ(client, nullptr);
    EXPECT_EQ(request, nullptr);
    EXPECT_EQ(notices, nullptr);
    EXPECT_EQ(call, nullptr);
}

TEST(System, ARunIsNotAnsweredForTenSeconds)
{
    fake_daemon daemon([](const message_t &) { return fake_daemon::HANG; });
    const open_client client(daemon.path());
    const request_holder request(FTPCLIENT_FTP);
    ftpclient_call_t *call = nullptr;
    ASSERT_EQ(ftpclient_begin_run(client, FTPCLIENT_UPLOAD, request, -1, &call), FTPCLIENT_OK);
    ASSERT_TRUE(daemon.has_got(COMMAND_GET_STATE, 1));
    {
        const with patience(later(8000));
        EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    }
    {
        const with patience(later(11000));
        EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_ERR_NO_ANSWER);
    }
    ftpclient_call_free(call);
}

TEST(System, WithoutALimitAPingWaitsForEver)
{
    fake_daemon daemon([](const message_t &) { return fake_daemon::HANG; });
    const open_client client(daemon.path());
    ftpclient_call_t *call = nullptr;
    ASSERT_EQ(ftpclient_begin_ping(client, -1, &call), FTPCLIENT_OK);
    const with patience(later(int64_t(100) * 86400 * 1000));
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    ftpclient_call_free(call);
}

// A job that does not even let itself be cancelled: ten seconds more, and the caller is told what it waited
// for.
TEST(System, StoppingHasALimitToo)
{
    job_script script;
    script.states = {idle(), running(JOB_DOWNLOAD, 100, 40)};
    fake_daemon daemon([script](const message_t &message) mutable {
        return message.command == COMMAND_CANCEL ? fake_daemon::HANG : script(message);
    });
    const open_client client(daemon.path());
    const request_holder request(FTPCLIENT_FTP);
    ftpclient_call_t *call = nullptr;
    ASSERT_EQ(ftpclient_begin_run(client, FTPCLIENT_DOWNLOAD, request, -1, &call), FTPCLIENT_OK);
    auto go_on = [call] {
        pollfd waiting = {ftpclient_call_fd(call), POLLIN, 0};
        poll(&waiting, 1, 10000);
        return ftpclient_call_finish(call);
    };
    ftpclient_state_t state = {};
    while (state.running == 0) {
        ASSERT_EQ(go_on(), FTPCLIENT_PENDING);
        ASSERT_LE(daemon.commands().size(), 10u) << "its job is not seen";
        ftpclient_call_state(call, &state, sizeof state);
    }
    ftpclient_call_stop(call);
    while (ftpclient_call_phase(call) != FTPCLIENT_PHASE_STOPPING)
        ASSERT_EQ(go_on(), FTPCLIENT_PENDING);
    ASSERT_TRUE(daemon.has_got(COMMAND_CANCEL, 1));
    ASSERT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    const with patience(later(11000));
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_RESULT_CANCELED);
    ftpclient_call_free(call);
}
