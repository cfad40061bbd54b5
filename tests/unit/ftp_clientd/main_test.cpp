#include "fake_engines.h"
#include "fake_system.h"
#include "ftp_clientd/run_flag.h"
#include "peer.h"
#include "support/logged.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>
#include <openssl/crypto.h>
#include <optional>

using testing::ElementsAre;
using testing::IsEmpty;

int ftp_clientd_main();

namespace
{

struct Main : testing::Test {
    Main()
    {
        exec_ = 0;
        system.on_wait = [] {
            ADD_FAILURE() << "the main loop does not end";
            exec_ = 0;
        };
    }

    // Sends a signal in the pass of this number, from 1.
    void ends_in_pass(int pass, int signal_number = SIGTERM)
    {
        system.on_wait = [this, pass, signal_number] {
            EXPECT_EQ(exec_, 1);
            if (++passes == pass)
                system.handlers.at(signal_number)(signal_number);
        };
    }
    // The calls from the first of this name on.
    std::vector<std::string> calls_from(const std::string &first) const
    {
        return {std::find(system.calls.begin(), system.calls.end(), first), system.calls.end()};
    }
    bytes notice() const
    {
        const bytes whole = network_manager.accepts().hears();
        EXPECT_EQ(whole.size(), 20u);
        return whole.size() == 20 ? part(whole, 1, 1) + part(whole, 12, 8) : whole;
    }

    fake_system system;
    fake_engines engines;
    listener network_manager{system.path_of("/var/run/marlox_nm.sock")};
    int passes = 0;
};

bool is_held(int number)
{
    sigset_t held;
    pthread_sigmask(SIG_BLOCK, nullptr, &held);
    return sigismember(&held, number) == 1;
}

const bytes STARTED = bytes{3} + words(0, 0);
const bytes NOT_STARTED = bytes{3} + words(1, 5);

} // namespace

TEST_F(Main, TakesItsStepsInOrder)
{
    ends_in_pass(2);
    EXPECT_EQ(ftp_clientd_main(), 0);
    EXPECT_THAT(system.calls,
                ElementsAre("OPENSSL_init_crypto(0x80000, NULL)", "openlog(libftp_clientd_if, 3, 8)",
                            // daemonise
                            "fork()", "setsid()", "fork()", "chdir(/)", "umask(0)", "fopen(/dev/console, a)",
                            "close(0)", "close(1)", "close(2)", "open(/dev/null, 2)", "dup2(console, 1)",
                            "dup2(console, 2)", "fclose(console)",
                            // the modules
                            "unlink(/var/run/ftp.sock)", "socket(1, 1, 0)", "bind(/var/run/ftp.sock, 20)",
                            "listen(5)", "curlf_init()", "zixif_init()",
                            // signals and the notice
                            "signal(2)", "signal(15)", "signal(1)", "socket(1, 1, 0)",
                            "setsockopt(SO_SNDTIMEO, 2 s)", "connect(/var/run/marlox_nm.sock, 26)",
                            "send(20, 0x4040)", "close()",
                            // two passes
                            "poll(1, 0)", "curlf_finished()", "usleep(100000)", //
                            "poll(1, 0)", "curlf_finished()", "usleep(100000)",
                            // the end
                            "close()", "closelog()"));
    EXPECT_EQ(OPENSSL_INIT_NO_ATEXIT, 0x80000);
}

TEST_F(Main, StartsWithoutANetworkManager)
{
    system.fails("connect", ENOENT);
    ends_in_pass(3);
    EXPECT_EQ(ftp_clientd_main(), 0);
    EXPECT_EQ(passes, 3);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(599): errno(2) No such file or directory\n"});
}

TEST_F(Main, AFailedModuleEndsTheStartWithANoticeAndStatusZero)
{
    struct {
        const char *name;
        int bind_errno, curl_result, zixi_result;
        std::vector<std::string> inits;
    } const cases[] = {
        {"control channel", EACCES, 0, 0, {}},
        {"libcurl engine", 0, -1, 0, {"curlf_init()"}},
        {"libcurl engine, above 0", 0, 1, 0, {"curlf_init()"}},
        {"Zixi engine", 0, 0, -1, {"curlf_init()", "zixif_init()"}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        system.calls.clear();
        if (c.bind_errno != 0)
            system.fails("bind", c.bind_errno);
        engines.curl.init_result = c.curl_result;
        engines.zixi.init_result = c.zixi_result;
        EXPECT_EQ(ftp_clientd_main(), 0);
        EXPECT_EQ(notice(), NOT_STARTED);
        std::vector<std::string> inits = system.calls_of("curlf_init");
        std::ranges::copy(system.calls_of("zixif_init"), std::back_inserter(inits));
        EXPECT_EQ(inits, c.inits);
        EXPECT_EQ(system.calls.back(), "closelog()");
        EXPECT_THAT(system.calls_of("signal"), IsEmpty());
        EXPECT_THAT(system.calls_of("poll"), IsEmpty());
    }
    logged();
}

TEST_F(Main, RunsWithoutAListeningSocket)
{
    system.fails("socket", EMFILE);
    ends_in_pass(1);
    EXPECT_EQ(ftp_clientd_main(), 0);
    EXPECT_EQ(notice(), STARTED);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(108): errno(24) Too many open files\n"});
    EXPECT_THAT(calls_from("usleep(100000)"), ElementsAre("usleep(100000)", "closelog()"));
}

TEST_F(Main, EachEndingSignalLetsThePassFinish)
{
    for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
        SCOPED_TRACE(number);
        system.calls.clear();
        passes = 0;
        // The signal comes while a request is served: the reply is sent and the pass completed.
        std::optional<peer> client;
        system.on_wait = [&] {
            passes++;
            if (passes == 1) {
                client.emplace(connect_to(system.path_of("/var/run/ftp.sock")));
            } else if (passes == 2) {
                EXPECT_TRUE(is_held(number)) << "the signal can interrupt the poll for clients";
                system.handlers.at(number)(number);
                client->says(words(0, 0));
            }
        };
        EXPECT_EQ(ftp_clientd_main(), 0);
        EXPECT_EQ(client->hears(), words(0, 8, 0, 0));
        EXPECT_THAT(calls_from("accept()"),
                    ElementsAre("accept()", "poll(1, 10000)", "recv(8, 0)", "send(8, 0x4040)",
                                "send(8, 0x4040)", "close()", "curlf_finished()", "usleep(100000)", "close()",
                                "closelog()"));
    }
}

TEST_F(Main, ServesOneRequestPerPassAndRemembersTheLastStart)
{
    engines.curl.start_result = 3;
    std::optional<peer> first;
    std::optional<peer> second;
    system.on_wait = [&] {
        passes++;
        const std::string path = system.path_of("/var/run/ftp.sock");
        if (passes == 1) {
            first.emplace(connect_to(path));
            first->says(words(1, 2080) + raw_request().body);
            second.emplace(connect_to(path));
            second->says(words(0, 0));
        } else if (passes == 2) {
            EXPECT_EQ(first->hears(), words(1, 8, 1, 3));
            EXPECT_EQ(second->hears(), bytes{});
        } else {
            sighandler(SIGTERM);
        }
    };
    EXPECT_EQ(ftp_clientd_main(), 0);
    EXPECT_EQ(second->hears(), words(0, 8, 0, 3));
    logged();
}

TEST_F(Main, AFinishedJobIsAnnouncedWithAndWithoutARequest)
{
    engines.curl.finished_results = {-1, 0};
    engines.curl.record.module_info = {0, 2, 16, 0};
    ends_in_pass(3);
    EXPECT_EQ(ftp_clientd_main(), 0);
    EXPECT_EQ(notice(), STARTED);
    const bytes completion = network_manager.accepts().hears();
    ASSERT_EQ(completion.size(), 68u);
    EXPECT_EQ(part(completion, 1, 1) + part(completion, 12, 8), bytes{1} + words(1, 16));
    EXPECT_TRUE(network_manager.is_nobody_waiting());
}
