#include "fake_daemon.h"
#include "libftpclient/ftpclient.h"
#include "notice_bytes.h"
#include "program.h"

#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using json = nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;

namespace
{

const std::string IGNORED = "ftpctl: ignored: not a notice of the daemon\n";

class Listen : public testing::Test
{
protected:
    temp_dir dir;
    std::string path = dir / "nm.sock";

    // `listen` with these further options.
    program listening(const std::vector<std::string> &options = {}) const { return program(words(options)); }
    outcome_t ended(const std::vector<std::string> &options = {}) const { return run(words(options)); }

    std::vector<std::string> words(std::vector<std::string> options) const
    {
        options.insert(options.begin(), {"listen", "--notify-socket", path});
        return options;
    }
    int sender() const
    {
        int fd = connected_to(path);
        for (int tries = 0; tries < 1000 && fd == -1; tries++) {
            usleep(10000);
            fd = connected_to(path);
        }
        EXPECT_NE(fd, -1) << "ftpctl does not listen";
        return fd;
    }
};

using ListenExec = Listen;

} // namespace

TEST_F(Listen, PrintsEachNoticeAtOnceAndEndsAfterItsCount)
{
    program first = listening({"--count", "2"});
    announce(sender(), STARTED);
    EXPECT_TRUE(first.has_printed("daemon started\n"));
    announce(sender(), bytes_t(5));
    announce(sender(), completion(1, 0));
    const outcome_t outcome = first.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, EndsWith(" upload done, 5368709120 of 5368709120 bytes in 2.0 s\n"));
    EXPECT_EQ(outcome.err, IGNORED);
    EXPECT_FALSE(std::filesystem::exists(path)) << "the socket is left behind";
    program second = listening({"--count", "1", "--json"});
    announce(sender(), completion(0, 12));
    EXPECT_EQ(json::parse(second.wait().out)["job"]["result"], 12);
}

TEST_F(Listen, EndsAndCleansUpOnASignalEvenAfterASilentSender)
{
    for (const int signal : {SIGTERM, SIGHUP}) {
        program ending = listening();
        announce(sender(), STARTED);
        const int silent = sender();
        EXPECT_EQ(send(silent, STARTED.data(), 5, MSG_NOSIGNAL), 5);
        ASSERT_TRUE(ending.has_printed("daemon started\n"));
        usleep(200000); // for ftpctl to accept the silent one
        const auto before = std::chrono::steady_clock::now();
        ending.signal(signal);
        EXPECT_EQ(ending.wait().status, 0) << signal;
        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(8)) << "a sender has 10 s";
        EXPECT_FALSE(std::filesystem::exists(path)) << signal;
        close(silent);
    }
}

TEST_F(Listen, ThatCannotPrintExitsWith1)
{
    std::thread late([&] { announce(sender(), STARTED); });
    const int status = system((FTPCTL " listen --notify-socket " + path + " >/dev/full 2>&1").c_str());
    late.join();
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST_F(Listen, EndsWhenItsTimeIsOver)
{
    const outcome_t missing = ended({"--timeout", "0.1", "--count", "1"});
    EXPECT_EQ(missing.status, 8);
    EXPECT_EQ(missing.err, "ftpctl: only 0 of 1 notices came in time\n");
    EXPECT_EQ(ended({"--timeout", "0.1"}).status, 0);
}

TEST_F(Listen, LeavesASocketInUseAlone)
{
    program first = listening({"--count", "1"});
    close(sender());
    const outcome_t second = ended({"--json"});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(json::parse(second.out)["command"], "listen");
    EXPECT_EQ(json::parse(second.out)["error"], "local");
    EXPECT_EQ(second.err, "ftpctl: " + path + ": " + ftpclient_strerror(FTPCLIENT_ERR_IN_USE) + "\n");
    announce(sender(), STARTED);
    const outcome_t outcome = first.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, IGNORED) << "only this test's own first connection";
}

TEST_F(ListenExec, RunsTheCommandForEachNoticeHoweverSlowItIs)
{
    program slow = listening({"--count", "200", "--quiet", "--exec",
                              "echo $FTPCTL_EVENT $FTPCTL_RESULT; test $FTPCTL_RESULT != 0 || sleep 0.3"});
    std::string expected;
    for (uint32_t i = 0; i < 200; i++) { // more than the socket's queue holds; the first command sleeps
        announce(sender(), completion(1, i));
        expected += "upload " + std::to_string(i) + "\n";
    }
    const outcome_t outcome = slow.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, expected);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(ListenExec, PrintsTheNoticeAsWellAndReportsAFailedCommand)
{
    program failing = listening({"--count", "2", "--json", "--exec", "exit 7"});
    announce(sender(), STARTED);
    announce(sender(), STARTED);
    const outcome_t outcome = failing.wait();
    EXPECT_EQ(outcome.status, 9);
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 3) << "two events and the failure";
    EXPECT_THAT(outcome.out, HasSubstr("\"status\":9"));
    const std::string line = "ftpctl: --exec: the command ended with status 7 for: daemon started\n";
    EXPECT_EQ(outcome.err, line + line);
}

TEST_F(ListenExec, AnInterruptEndsTheRunningCommandAndReportsTheOthers)
{
    program running = listening({"--exec", "echo runs; exec sleep 1000"});
    for (int i = 0; i < 3; i++)
        announce(sender(), STARTED);
    ASSERT_TRUE(running.has_printed("runs\n"));
    ASSERT_TRUE(running.has_printed("started\n", 3));
    running.signal(SIGINT);
    const outcome_t outcome = running.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "ftpctl: --exec: the running command was asked to end\n"
                           "ftpctl: --exec: interrupted, not run for 2 more\n");
    EXPECT_FALSE(std::filesystem::exists(path));
}
