// The whole program against a scripted daemon.
#include "played.h"

#include <csignal>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using json = nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace
{

constexpr uint32_t STATE = 3; // the command that asks for it

std::string text_at(const bytes_t &body, size_t offset)
{
    return reinterpret_cast<const char *>(body.data()) + offset;
}

} // namespace

TEST(Get, StartsTheJobAndWaitsForItsEnd)
{
    played play(script_of({idle(), running(1, 0, 0), running(1, 100, 40), ended(1, 0, 100, 100)}),
                {"get", "ftp://anna@host/dir/file", "/tmp/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, "/tmp/file: 100 of 100 bytes in 0.5 s\n");
    EXPECT_EQ(play.outcome.err, "");
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE, 1u, STATE, STATE, STATE));
    const bytes_t request = play.daemon.messages()[1].body;
    ASSERT_EQ(request.size(), 2080u);
    EXPECT_EQ(text_at(request, 0), "dir/file");
    EXPECT_EQ(text_at(request, 512), "/tmp/file");
    EXPECT_EQ(text_at(request, 768), "host");
    EXPECT_EQ(text_at(request, 1028), "anna");
    EXPECT_EQ(text_at(request, 1060), "secret");
}

TEST(Put, OfAnEmptyFileIsDoneWithNoBytes)
{
    played play(script_of({idle(), ended(2, 0, 0, 0)}), {"put", "/tmp/file", "ftp://anna@host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, "ftp://anna@host/file: 0 bytes in 0.5 s\n");
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE, 2u, STATE));
}

TEST(Put, OfAHugeFileCountsEveryByte)
{
    played play(script_of({idle(), running(2, 5368709120, 4294967296), ended(2, 0, 5368709120, 5368709120)}),
                {"--json", "put", "/tmp/file", "ftp://anna@host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    const json job = json::parse(play.outcome.out);
    EXPECT_EQ(job["exec_info"]["transferred_size"], 5368709120);
    EXPECT_EQ(job["result_name"], "FTPCD_ERR_NONE");
    EXPECT_EQ(play.outcome.err, "");
}

TEST(Put, QuietlyPrintsNothing)
{
    played play(script_of({idle(), running(2, 10, 5), ended(2, 0, 10, 10)}),
                {"put", "--quiet", "/tmp/file", "ftp://anna@host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out + play.outcome.err, "");
}

TEST(Put, WithoutWaitingReturnsAfterTheStart)
{
    played play(script_of({idle()}), {"put", "--no-wait", "/tmp/file", "ftp://anna@host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE, 2u));
}

TEST(Job, ThatFailsExitsWith20AndItsResultAndSaysWhatToDo)
{
    state_reply_t failed = ended(2, 16, 100, 40);
    failed.exec_info.curl_code = 67;
    failed.exec_info.response_code_type = 1;
    failed.exec_info.response_code = 530;
    played play(script_of({idle(), failed}), {"put", "/tmp/file", "ftp://anna@host/file"});
    EXPECT_EQ(play.outcome.status, 36);
    EXPECT_EQ(play.outcome.out, "");
    EXPECT_THAT(play.outcome.err,
                MatchesRegex("ftpctl: FTPCD_ERR_NETWORK \\(16\\): [^\n]+ \\(libcurl code 67, server "
                             "answered 530\\)\n"));
}

TEST(Job, ThatFailsIsAnObjectForScripts)
{
    played play(script_of({idle(), ended(1, 12, 5000, 4096)}),
                {"--json", "get", "ftp://anna@host/file", "/tmp/file"});
    EXPECT_EQ(play.outcome.status, 32);
    EXPECT_EQ(json::parse(play.outcome.out)["module_info"]["result"], 12);
}

TEST(Job, IsNotStartedWhileAnotherRuns)
{
    played play(script_of({running(2, 10, 5)}), {"get", "ftp://anna@host/file", "/tmp/file"});
    EXPECT_EQ(play.outcome.status, 4);
    EXPECT_THAT(play.outcome.err, StartsWith("ftpctl: FTPCD_ERR_BUSY (3): "));
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE));
}

TEST(Job, ThatTheDaemonRefusesAsBusyExitsWith4)
{
    job_script script = script_of({idle()});
    script.started = {1, 3};
    played play(script, {"get", "ftp://anna@host/file", "/tmp/file"});
    EXPECT_EQ(play.outcome.status, 4);
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE, 1u));
}

TEST(Job, ThatIsRefusedForAnEndedOneIsStartedOnceMore)
{
    job_script script = script_of({idle(), ended(1, 0, 1, 1)});
    script.refusals = {{1, 5}};
    played play(script, {"get", "ftp://anna@host/file", "/tmp/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE, 1u, 1u, STATE));
}

TEST(Job, ThatIsRefusedTwiceExitsWithTheReason)
{
    job_script script = script_of({idle()});
    script.started = {1, 5};
    played play(script, {"get", "ftp://anna@host/file", "/tmp/file"});
    EXPECT_EQ(play.outcome.status, 25);
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE, 1u, 1u));
}

TEST(Job, ThatWouldBeRefusedIsNeverSent)
{
    played play(script_of({idle()}), {"put", "/tmp/file", "ftp://anna@host/a%0Db"});
    EXPECT_EQ(play.outcome.status, 2);
    EXPECT_EQ(play.outcome.err, "ftpctl: remote path: must not hold a carriage return\n");
    EXPECT_THAT(play.daemon.commands(), ElementsAre());
}

TEST(Job, WithoutAPasswordIsNeverSent)
{
    fake_daemon daemon(script_of({idle()}));
    const outcome_t outcome = run({"get", "ftp://anna@host/f", "/tmp/f", "--socket", daemon.path()});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "ftpctl: no password for anna@host: use --password-file or FTPCTL_PASSWORD\n");
    EXPECT_THAT(daemon.commands(), ElementsAre());
}

TEST(Job, IsCancelledAtAnInterrupt)
{
    job_script script = script_of({idle(), running(2, 100, 40)});
    script.cancelled = ended(2, 1, 100, 40);
    fake_daemon daemon(script);
    program put({"put", "/tmp/file", "ftp://host/file", "--socket", daemon.path()});
    ASSERT_TRUE(daemon.has_got(STATE, 3));
    put.signal(SIGINT);
    const outcome_t outcome = put.wait();
    EXPECT_EQ(outcome.status, 21);
    EXPECT_THAT(outcome.err, HasSubstr("interrupted, cancelling the job\nftpctl: FTPCD_ERR_CANCELED (1): "));
    EXPECT_TRUE(daemon.has_got(4, 1));
}

TEST(Job, ThatEndsBeforeItsCancelCountsAsItEnded)
{
    job_script script = script_of({idle(), running(2, 100, 40)});
    script.cancel = {{1, 2}, 2};
    script.cancelled = ended(2, 0, 100, 100);
    fake_daemon daemon(script);
    program put({"put", "/tmp/file", "ftp://host/file", "--socket", daemon.path()});
    ASSERT_TRUE(daemon.has_got(STATE, 3));
    put.signal(SIGINT);
    EXPECT_EQ(put.wait().status, 0);
}

TEST(Job, IsCancelledWhenItsTimeIsOver)
{
    job_script script = script_of({idle(), running(2, 100, 40)});
    script.cancelled = ended(2, 1, 100, 40);
    played play(script, {"put", "/tmp/file", "ftp://host/file", "--timeout", "0.3"});
    EXPECT_EQ(play.outcome.status, 8);
    EXPECT_EQ(play.outcome.err,
              "out of time, cancelling the job\nftpctl: not done in time, the job was cancelled\n");
}

TEST(Job, ASecondInterruptEndsTheProgramWhileTheDaemonStops)
{
    job_script script = script_of({idle(), running(2, 100, 40)});
    fake_daemon daemon([script](const message_t &message) mutable {
        return message.command == COMMAND_CANCEL ? fake_daemon::HANG : script(message);
    });
    program put({"put", "/tmp/file", "ftp://host/file", "--socket", daemon.path()});
    ASSERT_TRUE(daemon.has_got(STATE, 3));
    put.signal(SIGINT);
    ASSERT_TRUE(daemon.has_got(4, 1));
    put.signal(SIGINT);
    EXPECT_EQ(put.wait().status, 128 + SIGINT);
}

TEST(Job, ShowsPlainLinesWhereThereIsNoTerminal)
{
    std::deque<state_reply_t> states = {idle()};
    for (int percent = 0; percent <= 24; percent++)
        states.push_back(running(2, 1000, percent * 40));
    states.push_back(ended(2, 0, 1000, 1000));
    played play(script_of(states), {"put", "/tmp/file", "ftp://host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.err,
                MatchesRegex("([0-9]+ %, [0-9]+ B of 1.0 kB, [0-9]+ B/s, 0:0[0-9] left\n)+"));
    EXPECT_THAT(std::count(play.outcome.err.begin(), play.outcome.err.end(), '\n'),
                testing::AllOf(testing::Ge(1), testing::Le(3)))
        << "25 states at 10 a second, and at most a line a second";
}

TEST(Resume, SendsWhatTheRemoteFileLacks)
{
    const temp_dir dir;
    job_script script = script_of({idle(), ended(3, 0, 0, 0), ended(3, 0, 0, 0), ended(2, 0, 6, 6)});
    script.remote_file = remote(4);
    played play(script, {"put", "--resume", dir.file("f", "0123456789"), "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out, StartsWith("resuming behind 4 of 10 bytes\n"));
    ASSERT_THAT(play.daemon.commands(), ElementsAre(STATE, 5u, STATE, 6u, STATE, 2u, STATE));
    EXPECT_EQ(play.daemon.messages()[1].body[2076], 0);
    EXPECT_EQ(play.daemon.messages()[5].body[2076], 1);
}

TEST(Resume, IsAWholeUploadWhenNothingIsThere)
{
    const temp_dir dir;
    job_script script = script_of({idle(), ended(3, 0, 0, 0), ended(3, 0, 0, 0), ended(2, 0, 10, 10)});
    script.remote_file = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    played play(script, {"put", "--resume", dir.file("f", "0123456789"), "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 0);
    ASSERT_THAT(play.daemon.commands(), ElementsAre(STATE, 5u, STATE, 6u, STATE, 2u, STATE));
    EXPECT_EQ(play.daemon.messages()[5].body[2076], 0);
}

TEST(Resume, SendsNothingWhenAllIsThere)
{
    const temp_dir dir;
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(10);
    played play(script, {"put", "--resume", dir.file("f", "0123456789"), "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, "ftp://host/f: all 10 bytes are there already\n");
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE, 5u, STATE, 6u));
}

TEST(Resume, IsRefusedWhenTheRemoteFileIsLonger)
{
    const temp_dir dir;
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(11);
    played play(script, {"put", "--resume", dir.file("f", "0123456789"), "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 7);
    EXPECT_EQ(play.outcome.err,
              "ftpctl: cannot resume: the remote file has 11 bytes, the local one only 10\n");
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE, 5u, STATE, 6u));
}

TEST(Resume, NeedsTheLocalFile)
{
    played play(script_of({idle()}), {"put", "--resume", "/nonexistent/f", "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 1);
    EXPECT_EQ(play.outcome.err, "ftpctl: /nonexistent/f: No such file or directory\n");
    EXPECT_THAT(play.daemon.commands(), ElementsAre());
}

TEST(Info, ShowsTheFile)
{
    job_script script = script_of({idle(), running(3, 0, 0), ended(3, 0, 0, 0)});
    script.remote_file = remote(5368709120);
    played play(script, {"info", "ftp://host/dir/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, "ftp://host/dir/f: 5368709120 bytes, 2023-02-09, rw-r--r--\n");
    EXPECT_THAT(play.daemon.commands(), ElementsAre(STATE, 5u, STATE, STATE, 6u));
}

TEST(Info, IsOneObjectForScripts)
{
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(5368709120);
    played play(script, {"info", "--json", "ftp://host/dir/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(json::parse(play.outcome.out)["remote_file"]["size"], 5368709120);
}

TEST(Info, OfAFileThatIsNotThereExitsWith6)
{
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(-1);
    played play(script, {"info", "--json", "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 6);
    EXPECT_EQ(play.outcome.err, "ftpctl: ftp://host/f: no such file\n");
    EXPECT_EQ(json::parse(play.outcome.out)["remote_file"]["exists"], 0);
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
    EXPECT_EQ(outcome.err, "ftpctl: /nonexistent/ftp.sock: no daemon: No such file or directory\n");
}

TEST(State, IsOneLineOrOneObject)
{
    EXPECT_EQ(played(script_of({running(2, 100, 40)}), {"state"}).outcome.out,
              "running: upload, 40 of 100 bytes in 0.5 s\n");
    const outcome_t outcome = played(script_of({running(2, 100, 40)}), {"--json", "state"}).outcome;
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(json::parse(outcome.out)["module_info"]["running"], 1);
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
    EXPECT_THAT(play.daemon.commands(), ElementsAre(4u));
}

TEST(Cancel, WithoutAJobExitsWith22)
{
    job_script script;
    script.cancel = {{1, 2}, 0};
    played play(script, {"cancel"});
    EXPECT_EQ(play.outcome.status, 22);
    EXPECT_EQ(play.outcome.err, "ftpctl: FTPCD_ERR_NOT_RUNNING (2): There is no job to cancel.\n");
}

TEST(Cancel, GivesUpAfterItsTime)
{
    fake_daemon daemon([](const message_t &) { return fake_daemon::HANG; });
    const outcome_t outcome = run({"cancel", "--timeout", "0.2", "--socket", daemon.path()});
    EXPECT_EQ(outcome.status, 8);
    EXPECT_EQ(outcome.err, "ftpctl: the job has not stopped yet; the daemon goes on stopping it\n");
}
