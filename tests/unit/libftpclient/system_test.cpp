// System calls that fail or do less than requested, and clocks that advance.
#include "client_support.h"
#include "wrapped.h"

extern "C" {
#include "libftpclient/turn.h"
}

#include <cerrno>
#include <unistd.h>

static bytes_t silence(const message_t &) { return fake_daemon::HANG; }

static behaviour_t failing(const char *call, int error) { return {.failing_errno = error, .failing = call}; }

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
    fake_daemon silent(silence);
    fake_daemon quick(script_of({idle()}));
    for (const fake_daemon *daemon : {&silent, &quick}) {
        auto call = std::make_unique<call_holder>(daemon->path(), FTPCLIENT_UPLOAD, request);
        look_for_in_freed("Swordfish");
        call.reset();
        EXPECT_GE(freed_blocks(), 1);
        EXPECT_EQ(found_in_freed(), 0);
        look_for_in_freed("");
    }
}

TEST(System, ShortAndInterruptedCallsAreContinued)
{
    fake_daemon daemon(script_of({idle()}));
    const open_client client(daemon.path());
    request_holder request(FTPCLIENT_FTP);
    const bytes_t expected = sent(request);
    for (const size_t piece : {size_t(1), size_t(3), size_t(8), size_t(2079)}) {
        const with slowness({.piece = piece, .interruptions = 2});
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_UPLOAD, request, 10000), FTPCLIENT_OK) << piece;
    }
    EXPECT_TRUE(daemon.has_got(COMMAND_UPLOAD, 4));
    for (const message_t &message : daemon.messages()) {
        if (message.command == COMMAND_UPLOAD) {
            EXPECT_EQ(message.body, expected);
        }
    }
}

TEST(System, EachFailureHasItsErrno)
{
    fake_daemon daemon(script_of({idle()}));
    const open_client client(daemon.path());
    const request_holder request(FTPCLIENT_FTP);
    const std::tuple<const char *, int, int> cases[] = {
        {"socket", EMFILE, FTPCLIENT_ERR_SYSTEM},           {"epoll_create1", EMFILE, FTPCLIENT_ERR_SYSTEM},
        {"timerfd_create", ENFILE, FTPCLIENT_ERR_SYSTEM},   {"connect", EACCES, FTPCLIENT_ERR_DENIED},
        {"connect", EPERM, FTPCLIENT_ERR_DENIED},           {"connect", ENOMEM, FTPCLIENT_ERR_SYSTEM},
        {"connect", ECONNREFUSED, FTPCLIENT_ERR_NO_DAEMON}, {"connect", ENOENT, FTPCLIENT_ERR_NO_DAEMON},
        {"send", EPIPE, FTPCLIENT_ERR_DISCONNECTED},        {"send", ENOBUFS, FTPCLIENT_ERR_SYSTEM},
        {"recv", ECONNRESET, FTPCLIENT_ERR_DISCONNECTED},   {"recv", ENOMEM, FTPCLIENT_ERR_SYSTEM},
    };
    for (const auto &[call, error, result] : cases) {
        for (const bool is_run : {false, true}) {
            SCOPED_TRACE(call);
            const with breakage(failing(call, error));
            errno = 0;
            EXPECT_EQ(is_run ? ftpclient_run(client, FTPCLIENT_UPLOAD, request, nullptr, 0, 10000)
                             : ftpclient_ping(client, nullptr, 10000),
                      result);
            EXPECT_TRUE(result != FTPCLIENT_ERR_SYSTEM || errno == error) << errno;
        }
    }
}

TEST(System, AFailedWaitHasItsErrno)
{
    fake_daemon daemon(silence);
    const open_client client(daemon.path());
    const with breakage(failing("poll", ENOMEM));
    EXPECT_EQ(ftpclient_ping(client, nullptr, 10000), FTPCLIENT_ERR_SYSTEM);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(System, AReceiverOfNoticesThatCannotWaitReportsItsErrno)
{
    const temp_dir dir;
    ftpclient_notices_t *notices = nullptr;
    ASSERT_EQ(ftpclient_notices_open((dir / "nm.sock").c_str(), &notices), FTPCLIENT_OK);
    ftpclient_notice_t notice;
    for (const char *call : {"poll", "epoll_ctl"}) {
        {
            const with breakage(failing(call, ENOMEM));
            EXPECT_EQ(ftpclient_notices_receive(notices, &notice, sizeof notice, 10000),
                      FTPCLIENT_ERR_SYSTEM);
            EXPECT_EQ(errno, ENOMEM);
        }
        close(connected_to(dir / "nm.sock"));
    }
    EXPECT_EQ(ftpclient_notices_receive(notices, &notice, sizeof notice, 10000), FTPCLIENT_ERR_PROTOCOL)
        << "the next sender is served";
    ftpclient_notices_close(notices);
}

TEST(System, ARunThatFailsAfterItsFirstRequestHasTheErrno)
{
    const request_holder request(FTPCLIENT_FTP);
    for (const char *call_name : {"socket", "epoll_ctl"}) {
        fake_daemon daemon(script_of({idle()}));
        const call_holder call(daemon.path(), FTPCLIENT_UPLOAD, request);
        ASSERT_TRUE(daemon.has_got(COMMAND_GET_STATE, 1));
        const with breakage(failing(call_name, EMFILE));
        EXPECT_EQ(call.to_the_end(), FTPCLIENT_ERR_SYSTEM) << call_name;
        EXPECT_EQ(errno, EMFILE) << call_name;
    }
}

// A begin fails without creating a call, or the failure comes from finish, with errno each time.
TEST(System, ACallThatCannotBeginIsNotCreated)
{
    fake_daemon daemon(script_of({idle()}));
    const open_client client(daemon.path());
    const temp_dir dir;
    const auto before = open_descriptors();
    for (const char *call_name : {"epoll_create1", "epoll_ctl", "timerfd_create", "socket"}) {
        auto *call = reinterpret_cast<ftpclient_call_t *>(1);
        auto *notices = reinterpret_cast<ftpclient_notices_t *>(1);
        {
            const with breakage(failing(call_name, EMFILE));
            EXPECT_EQ(ftpclient_begin_ping(client, 1000, &call), FTPCLIENT_ERR_SYSTEM);
            EXPECT_EQ(errno, EMFILE);
            errno = 0;
            EXPECT_EQ(ftpclient_notices_open((dir / "x").c_str(), &notices), FTPCLIENT_ERR_SYSTEM);
            EXPECT_EQ(errno, EMFILE);
            EXPECT_EQ(entries_of(dir.path), 0u);
        }
        EXPECT_EQ(call, nullptr);
        EXPECT_EQ(notices, nullptr);
        EXPECT_EQ(open_descriptors(), before);
    }
    std::optional<call_holder> call;
    {
        const with breakage(failing("recv", ENOMEM));
        call.emplace(ftpclient_begin_ping, client, 1000);
    }
    for (int i = 0; i < 2; i++) {
        errno = 0;
        EXPECT_EQ(ftpclient_call_finish(*call), FTPCLIENT_ERR_SYSTEM);
        EXPECT_EQ(errno, ENOMEM);
    }
}

TEST(System, ABrokenConnectionRaisesNoSignal)
{
    fake_daemon daemon(script_of({idle()}));
    const open_client client(daemon.path());
    const with breakage({.shut_when_connected = true});
    EXPECT_EQ(ftpclient_ping(client, nullptr, 10000),
              FTPCLIENT_ERR_DISCONNECTED); // SIGPIPE would kill this test
}

TEST(System, WithoutMemoryNothingIsCreated)
{
    auto *client = reinterpret_cast<ftpclient_t *>(1);
    auto *request = reinterpret_cast<ftpclient_request_t *>(1);
    auto *notices = reinterpret_cast<ftpclient_notices_t *>(1);
    auto *call = reinterpret_cast<ftpclient_call_t *>(1);
    const open_client whole("/nonexistent/x");
    const request_holder filled(FTPCLIENT_FTP);
    int results[6];
    {
        const with poverty({.without_memory = true});
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

// The daemon gives another client ten seconds first.
TEST(System, ARunWaitsTwentyOneSecondsForAReplyAndAPingWithoutALimitForEver)
{
    fake_daemon daemon(silence);
    const request_holder request(FTPCLIENT_FTP);
    const call_holder run(daemon.path(), FTPCLIENT_UPLOAD, request, -1);
    const call_holder ping(ftpclient_begin_ping, open_client(daemon.path()), -1);
    ASSERT_TRUE(daemon.has_got(COMMAND_GET_STATE, 1));
    const std::tuple<const call_holder &, int64_t, int> cases[] = {
        {run, 20000, FTPCLIENT_PENDING},
        {run, 22000, FTPCLIENT_ERR_NO_ANSWER},
        {ping, int64_t(100) * 86400 * 1000, FTPCLIENT_PENDING}};
    for (const auto &[call, skipped_ms, result] : cases) {
        const with patience({.skipped_ms = skipped_ms});
        EXPECT_EQ(ftpclient_call_finish(call), result) << skipped_ms;
    }
}

// If even the cancel does not return, the call ends after ten more seconds with the result that it waited
// for.
TEST(System, StoppingHasALimitToo)
{
    fake_daemon daemon(hanging_at_cancel(script_of({idle(), running(JOB_DOWNLOAD, 100, 40)})));
    const request_holder request(FTPCLIENT_FTP);
    const call_holder call(daemon.path(), FTPCLIENT_DOWNLOAD, request, -1);
    ASSERT_EQ(call.go_on_until_it_runs(), FTPCLIENT_PENDING);
    ASSERT_LE(daemon.commands().size(), 10u);
    ftpclient_call_stop(call);
    ASSERT_EQ(call.go_on_to(FTPCLIENT_PHASE_STOPPING), FTPCLIENT_PENDING);
    ASSERT_TRUE(daemon.has_got(COMMAND_CANCEL, 1));
    ASSERT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    const with patience({.skipped_ms = 11000});
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_RESULT_CANCELED);
}

TEST(System, AJobThatCouldNotBeCancelledIsNotReportedAsCancelled)
{
    fake_daemon daemon([script = script_of({idle()})](const message_t &message) mutable {
        return message.command == COMMAND_DOWNLOAD ? fake_daemon::HANG : script(message);
    });
    const request_holder request(FTPCLIENT_FTP);
    const call_holder call(daemon.path(), FTPCLIENT_DOWNLOAD, request, -1);
    const auto is_asked_to_start = [&] {
        return std::ranges::count(daemon.commands(), COMMAND_DOWNLOAD) > 0;
    };
    while (!is_asked_to_start())
        ASSERT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    ftpclient_call_stop(call);
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_PENDING);
    const with patience({.skipped_ms = 11000});
    EXPECT_EQ(ftpclient_call_finish(call), FTPCLIENT_ERR_NO_ANSWER);
}

// Turns without open file description locks (before Linux 3.15).
TEST(OldKernel, TheTurnIsStillExclusive)
{
    const temp_dir dir;
    const std::string path = dir / "ftp.sock.turn";
    const with kernel({.without_ofd_locks = true});
    ftpc_turn_t first = {};
    ftpc_turn_t second = {};
    ASSERT_EQ(ftpc_turn_open(&first, path.c_str()), 0);
    ASSERT_EQ(ftpc_turn_open(&second, path.c_str()), 0);
    for (int round = 0; round < 3; round++) {
        ASSERT_TRUE(ftpc_turn_try(&first));
        EXPECT_FALSE(ftpc_turn_try(&second));
        EXPECT_FALSE(ftpc_turn_try(&second));
        ftpc_turn_give_back(&first);
        EXPECT_TRUE(ftpc_turn_try(&second));
        ASSERT_EQ(ftpc_turn_open(&first, path.c_str()), 0);
        EXPECT_FALSE(ftpc_turn_try(&first));
        ftpc_turn_give_back(&second);
        ASSERT_EQ(ftpc_turn_open(&second, path.c_str()), 0);
    }
    EXPECT_GT(refused_ofd_locks(), 0) << "the library prefers such locks";
    ftpc_turn_give_back(&first);
    ftpc_turn_give_back(&second);
}
