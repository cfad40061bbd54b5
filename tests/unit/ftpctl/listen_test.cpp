#include "fake_daemon.h"
#include "libftpclient/ftpclient.h"
#include "notice_bytes.h"
#include "program.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using json = nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace
{

const std::string IGNORED = "ftpctl: ignored: what came is no notice of the daemon\n";

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
    EXPECT_THAT(outcome.out, EndsWith(" upload done, 5368709120 of 5368709120 bytes in 2.0 s\n"));
    EXPECT_EQ(outcome.err, IGNORED);
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
    EXPECT_EQ(json::parse(outcome.out)["job"]["result"], 12);
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

TEST(Listen, EndsAndTidiesUpAtAnInterruptOrAHangup)
{
    for (const int signal : {SIGTERM, SIGHUP}) {
        const temp_dir dir;
        const std::string path = dir / "nm.sock";
        program listening({"listen", "--notify-socket", path});
        send_notice(path, STARTED);
        ASSERT_TRUE(listening.has_printed("daemon started\n"));
        listening.signal(signal);
        EXPECT_EQ(listening.wait().status, 0) << signal;
        EXPECT_FALSE(std::filesystem::exists(path)) << signal;
    }
}

TEST(Listen, TellsAFailedJobAsFailed)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program listening({"listen", "--notify-socket", path, "--count", "3"});
    for (uint8_t code = 0; code <= 2; code++)
        send_notice(path, completion(code, 16));
    const std::string out = listening.wait().out;
    for (const char *kind : {"download", "upload", "file information"})
        EXPECT_THAT(out, HasSubstr(std::string(" ") + kind + " failed, "));
    EXPECT_THAT(out, Not(HasSubstr("done")));
}

TEST(Listen, AFailureEndsWithAnObject)
{
    const temp_dir dir;
    const outcome_t outcome = run({"listen", "--json", "--notify-socket", dir / "a/b"});
    EXPECT_EQ(outcome.status, 1);
    const json object = json::parse(outcome.out);
    EXPECT_EQ(object["command"], "listen");
    EXPECT_EQ(object["status"], 1);
    EXPECT_FALSE(object.contains("event"));
}

TEST(Listen, EndsAtAnInterruptAlsoBehindASilentSender)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program listening({"listen", "--notify-socket", path});
    send_notice(path, STARTED);
    const int silent = connected_to(path);
    EXPECT_EQ(send(silent, STARTED.data(), 5, MSG_NOSIGNAL), 5);
    ASSERT_TRUE(listening.has_printed("daemon started\n"));
    usleep(200000); // by now the silent one is listened to
    const auto before = std::chrono::steady_clock::now();
    listening.signal(SIGTERM);
    EXPECT_EQ(listening.wait().status, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(8)) << "a sender has 10 s";
    close(silent);
}

TEST(Listen, ThatCannotPrintExitsWith1)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    const std::string command = std::string(FTPCTL) + " listen --notify-socket " + path + " >/dev/full 2>&1";
    std::thread sender([&] { send_notice(path, STARTED); });
    const int status = system(command.c_str());
    sender.join();
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST(Listen, EndsWhenItsTimeIsOver)
{
    const temp_dir dir;
    const outcome_t missing =
        run({"listen", "--notify-socket", dir / "a", "--timeout", "0.1", "--count", "1"});
    EXPECT_EQ(missing.status, 8);
    EXPECT_EQ(missing.err, "ftpctl: only 0 of 1 notices came in time\n");
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
    EXPECT_EQ(second.err, "ftpctl: " + path + ": " + ftpclient_strerror(FTPCLIENT_ERR_IN_USE) + "\n");
    send_notice(path, STARTED);
    const outcome_t outcome = first.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, IGNORED) << "only this test's own first connection";
}

TEST(Listen, LeavesAFileThatIsNoSocketAlone)
{
    const temp_dir dir;
    const std::string path = dir.file("precious", "content");
    EXPECT_EQ(run({"listen", "--notify-socket", path}).status, 1);
    EXPECT_EQ(content_of(path), "content");
}

TEST(ListenExec, RunsTheCommandForEachNoticeHoweverSlowItIs)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program listening({"listen", "--notify-socket", path, "--count", "200", "--quiet", "--exec",
                       "echo $FTPCTL_EVENT $FTPCTL_RESULT; test $FTPCTL_RESULT != 0 || sleep 0.3"});
    std::string expected;
    for (uint32_t i = 0; i < 200;
         i++) { // more than may wait in the socket's queue, while the first one sleeps
        send_notice(path, completion(1, i));
        expected += "upload " + std::to_string(i) + "\n";
    }
    const outcome_t outcome = listening.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, expected);
    EXPECT_EQ(outcome.err, "");
}

TEST(ListenExec, PrintsTheNoticeAsWellAndReportsAFailedCommand)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program listening({"listen", "--notify-socket", path, "--count", "2", "--json", "--exec", "exit 7"});
    send_notice(path, STARTED);
    send_notice(path, STARTED);
    const outcome_t outcome = listening.wait();
    EXPECT_EQ(outcome.status, 9);
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 3) << "two events and the failure";
    EXPECT_THAT(outcome.out, HasSubstr("\"status\":9"));
    const std::string line = "ftpctl: --exec: the command ended with status 7 for: daemon started\n";
    EXPECT_EQ(outcome.err, line + line);
}

TEST(ListenExec, AtAnInterruptTheRunningCommandEndsAndTheRestIsTold)
{
    const temp_dir dir;
    const std::string path = dir / "nm.sock";
    program listening({"listen", "--notify-socket", path, "--exec", "echo runs; exec sleep 1000"});
    for (int i = 0; i < 3; i++)
        send_notice(path, STARTED);
    ASSERT_TRUE(listening.has_printed("runs\n"));
    ASSERT_TRUE(listening.has_printed("started\n", 3));
    listening.signal(SIGINT);
    const outcome_t outcome = listening.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "ftpctl: --exec: the running command was asked to end\n"
                           "ftpctl: --exec: interrupted, not run for 2 more\n");
    EXPECT_FALSE(std::filesystem::exists(path));
}
