// The whole program against a scripted daemon: what it says and how it ends.
#include "played.h"

#include <csignal>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

using json = nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace
{

constexpr uint32_t STATE = 3; // the command that asks for it

// A local file to upload, and the words that do it.
struct upload {
    temp_dir dir;
    std::string file = dir.file("f", "0123456789");
    std::vector<std::string> words = {"put", file, "ftp://host/file"};
    explicit upload(std::vector<std::string> more = {})
    {
        words.insert(words.end(), more.begin(), more.end());
    }
};

} // namespace

TEST(Job, ThatFailsForAKnownCauseNamesItAndWhatToDo)
{
    const upload put;
    played play(script_of({idle(), failed(2, 16, 67, 530)}), {"put", put.file, "ftp://anna@host/file"});
    EXPECT_EQ(play.outcome.status, 50);
    EXPECT_EQ(play.outcome.out, "");
    EXPECT_EQ(play.outcome.err,
              std::string("ftpctl: anna@host:21: ") + ftpclient_cause_text(FTPCLIENT_CAUSE_LOGIN) +
                  "; check user and password (FTPCD_ERR_NETWORK 16, libcurl code 67, server "
                  "answered 530)\n");
}

TEST(Job, ThatFailsForNoKnownCauseTellsItsResult)
{
    const upload put;
    played play(script_of({idle(), failed(2, 16, 999)}), put.words);
    EXPECT_EQ(play.outcome.status, 36);
    EXPECT_EQ(play.outcome.err,
              "ftpctl: ftp://host/file: the transfer failed; check address, login, path and "
              "network; the daemon's log has the details (FTPCD_ERR_NETWORK 16, libcurl code "
              "999)\n");
}

TEST(Job, ThatIsRefusedForAnEndedOneIsStartedOnceMore)
{
    const upload put;
    job_script script = script_of({idle(), idle(), ended(2, 0, 10, 10)});
    script.refusals = {{1, 5}};
    played play(script, put.words);
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(starts(play.daemon).size(), 2u);
}

TEST(Job, ThatIsRefusedForGoodExitsWithTheReason)
{
    const upload put;
    job_script script = script_of({idle()});
    script.started = {1, 5};
    EXPECT_EQ(played(script, put.words).outcome.status, 25);
}

TEST(Job, ThatWouldBeRefusedIsNeverSent)
{
    const upload put;
    played play(script_of({idle()}), {"put", put.file, "ftp://anna@host/a%0Db"});
    EXPECT_EQ(play.outcome.status, 2);
    EXPECT_EQ(play.outcome.err, "ftpctl: remote path: must not hold a carriage return\n");
    EXPECT_THAT(play.daemon.commands(), IsEmpty());
}

TEST(Job, WithoutAPasswordIsNeverSent)
{
    fake_daemon daemon(script_of({idle()}));
    const outcome_t outcome = run({"info", "ftp://anna@host/f", "--socket", daemon.path()});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "ftpctl: no password for anna@host: use --password-file or FTPCTL_PASSWORD\n");
    EXPECT_THAT(daemon.commands(), IsEmpty());
}

TEST(Job, IsCancelledAtEachSignal)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const upload put;
        job_script script = script_of({idle(), running(2, 10, 4)});
        script.cancelled = ended(2, 1, 10, 4);
        fake_daemon daemon(script);
        program uploading({"put", put.file, "ftp://host/file", "--socket", daemon.path()});
        ASSERT_TRUE(daemon.has_got(STATE, 3));
        uploading.signal(signal);
        const outcome_t outcome = uploading.wait();
        EXPECT_EQ(outcome.status, 21) << signal;
        EXPECT_THAT(outcome.err,
                    HasSubstr("interrupted, cancelling the job\nftpctl: ftp://host/file: the job was "
                              "cancelled"))
            << signal;
        EXPECT_TRUE(daemon.has_got(4, 1)) << signal;
    }
}

TEST(Job, ThatEndsBeforeItsCancelCountsAsItEnded)
{
    const upload put;
    job_script script = script_of({idle(), running(2, 10, 4)});
    script.cancel = {{1, 2}, 2};
    script.cancelled = ended(2, 0, 10, 10);
    fake_daemon daemon(script);
    program uploading({"put", put.file, "ftp://host/file", "--socket", daemon.path()});
    ASSERT_TRUE(daemon.has_got(STATE, 3));
    uploading.signal(SIGINT);
    EXPECT_EQ(uploading.wait().status, 0);
}

TEST(Job, IsCancelledWhenItsTimeIsOver)
{
    const upload put({"--timeout", "4"}); // by then it runs
    job_script script = script_of({idle(), running(2, 10, 4)});
    script.cancelled = ended(2, 1, 10, 4);
    played play(script, put.words);
    EXPECT_EQ(play.outcome.status, 8);
    EXPECT_THAT(play.outcome.err,
                EndsWith("out of time, cancelling the job\nftpctl: not done within 4s, the job was "
                         "cancelled; --timeout sets another limit\n"));
}

TEST(Job, ASecondInterruptEndsTheProgramWhileTheDaemonStops)
{
    const upload put;
    job_script script = script_of({idle(), running(2, 10, 4)});
    fake_daemon daemon([script](const message_t &message) mutable {
        return message.command == COMMAND_CANCEL ? fake_daemon::HANG : script(message);
    });
    program uploading({"put", put.file, "ftp://host/file", "--socket", daemon.path()});
    ASSERT_TRUE(daemon.has_got(STATE, 3));
    uploading.signal(SIGINT);
    ASSERT_TRUE(daemon.has_got(4, 1));
    uploading.signal(SIGINT);
    EXPECT_EQ(uploading.wait().status, 128 + SIGINT);
}

TEST(Job, ShowsPlainLinesWhereThereIsNoTerminal)
{
    const upload put;
    std::deque<state_reply_t> states = {idle()};
    for (int step = 0; step <= 24; step++)
        states.push_back(running(2, 10, step * 0.4));
    states.push_back(ended(2, 0, 10, 10));
    const auto begin = std::chrono::steady_clock::now();
    played play(script_of(states), put.words);
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.err,
                MatchesRegex("([0-9]+ %, [0-9]+ B of 10 B(, [0-9]+ B/s, 0:[0-9]+ left)?\n)+"));
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    EXPECT_THAT(std::count(play.outcome.err.begin(), play.outcome.err.end(), '\n'),
                testing::AllOf(testing::Ge(1), testing::Le(static_cast<int64_t>(took.count()) + 1)))
        << "25 states at 10 a second, and at most a line a second";
}

TEST(Info, ShowsTheFile)
{
    job_script script = script_of({idle(), running(3, 0, 0), ended(3, 0, 0, 0)});
    script.remote_file = remote(5368709120);
    played play(script, {"info", "ftp://host/dir/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, "ftp://host/dir/f: 5368709120 bytes, 2023-02-09, rw-r--r--\n");
}

TEST(Info, IsOneObjectForScripts)
{
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(5368709120);
    played play(script, {"info", "--json", "ftp://host/dir/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(json::parse(play.outcome.out)["file"]["size_bytes"], 5368709120);
}

TEST(Info, OfAFileThatIsNotThereExitsWith6)
{
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(-1);
    played play(script, {"info", "--json", "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 6);
    EXPECT_EQ(play.outcome.err, "ftpctl: ftp://host/f: no such file\n");
    EXPECT_EQ(json::parse(play.outcome.out)["file"], (json{{"exists", false}}));
}

TEST(Ping, TellsThatTheDaemonAnswers)
{
    job_script script;
    script.started = {0, 15};
    played play(script, {"ping"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out,
                MatchesRegex("the daemon answers after [0-9]+ ms; its last start of a job gave "
                             "FTPCD_ERR_NOT_SUPPORTED \\(15\\)\n"));
    EXPECT_THAT(play.daemon.commands(), ElementsAre(0u));
}

TEST(Ping, ExitsWith3WithoutADaemon)
{
    const outcome_t outcome = run({"ping", "--socket", "/nonexistent/ftp.sock"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "ftpctl: /nonexistent/ftp.sock: no daemon listens there; see whether ftp_clientd runs\n");
}

TEST(State, IsOneLineOrOneObject)
{
    EXPECT_EQ(
        played(script_of({running(2, 100, 40)}), {"state"}).outcome.out,
        "running: upload, 40 of 100 bytes in 0.0 s; a waiting ftpctl cancels a job in which nothing moves "
        "for 10m\n");
    EXPECT_EQ(played(script_of({idle()}), {"state"}).outcome.out, "idle, no job since the daemon started\n");
    const outcome_t outcome = played(script_of({running(2, 100, 40)}), {"--json", "state"}).outcome;
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(json::parse(outcome.out)["state"]["running"], true);
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 1);
}

TEST(State, ThatCannotBePrintedExitsWith1)
{
    fake_daemon daemon(script_of({idle()}));
    const std::string command =
        std::string(FTPCTL) + " state --socket " + daemon.path() + " >/dev/full 2>/dev/null";
    const int status = system(command.c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST(Cancel, WaitsForTheJobsEndAndNamesIt)
{
    played play(script_of({running(2, 100, 40)}), {"cancel"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, "cancelled: upload\n");
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE, 4u));
}

TEST(Cancel, WithoutAJobExitsWith22)
{
    job_script script = script_of({idle()});
    script.cancel = {{1, 2}, 0};
    played play(script, {"cancel"});
    EXPECT_EQ(play.outcome.status, 22);
    EXPECT_EQ(play.outcome.err, "ftpctl: there is no job to cancel (FTPCD_ERR_NOT_RUNNING 2)\n");
}

TEST(Cancel, GivesUpAfterItsTime)
{
    fake_daemon daemon([script = script_of({running(2, 100, 40)})](const message_t &message) mutable {
        return message.command == COMMAND_CANCEL ? fake_daemon::HANG : script(message);
    });
    const outcome_t outcome = run({"cancel", "--timeout", "4", "--socket", daemon.path()});
    EXPECT_EQ(outcome.status, 8);
    EXPECT_EQ(outcome.err, "ftpctl: the job has not stopped yet; the daemon goes on stopping it\n");
}
