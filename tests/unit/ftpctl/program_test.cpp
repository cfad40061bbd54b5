// The whole program against a scripted daemon: its output and exit status.
#include "played.h"

#include <sys/wait.h>

namespace
{

// A `put` of ten bytes, and the daemon's replies to it.
class Job : public testing::Test
{
protected:
    temp_dir dir;
    std::vector<std::string> put = {"put", dir.file("f", "0123456789"), "ftp://anna@host/file"};

    outcome_t outcome_with(const job_script &script) { return played(script, put).outcome; }
};

} // namespace

TEST_F(Job, AFailureNamesTheRemedy)
{
    const outcome_t known = outcome_with(script_of({idle(), failed(2, 16, 67, 530)}));
    EXPECT_EQ(known.status, 50);
    EXPECT_EQ(known.out, "");
    EXPECT_EQ(known.err, std::string("ftpctl: anna@host:21: ") + ftpclient_cause_text(FTPCLIENT_CAUSE_LOGIN) +
                             "; check user and password (FTPCD_ERR_NETWORK 16, libcurl code 67, server "
                             "answered 530)\n");
    const outcome_t unknown = outcome_with(script_of({idle(), failed(2, 16, 999)}));
    EXPECT_EQ(unknown.status, 36);
    EXPECT_EQ(unknown.err,
              "ftpctl: ftp://anna@host/file: the transfer failed; check address, login, path and "
              "network; the daemon's log has the details (FTPCD_ERR_NETWORK 16, libcurl code "
              "999)\n");
}

TEST_F(Job, WithoutAPasswordIsNeverSent)
{
    fake_daemon daemon(script_of({idle()}));
    const outcome_t outcome = run({"info", "ftp://anna@host/f", "--socket", daemon.path()});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "ftpctl: no password for anna@host: use --password-file or FTPCTL_PASSWORD\n");
    EXPECT_THAT(daemon.commands(), IsEmpty());
}

TEST_F(Job, IsCancelledByEachEndingSignal)
{
    put.back() = "ftp://host/file";
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        fake_daemon daemon(endless(2));
        const outcome_t outcome = interrupted(daemon, put, signal);
        EXPECT_EQ(outcome.status, 21) << signal;
        EXPECT_THAT(outcome.err,
                    HasSubstr("interrupted, cancelling the job\nftpctl: ftp://host/file: the job was "
                              "cancelled"))
            << signal;
        EXPECT_TRUE(daemon.has_got(COMMAND_CANCEL, 1)) << signal;
    }
    job_script script = endless(2);
    script.cancel = {{1, 2}, 2};
    script.cancelled = ended(2, 0, 10, 10);
    fake_daemon faster(script);
    EXPECT_EQ(interrupted(faster, put, SIGINT).status, 0) << "the job ended before the cancel";
}

TEST_F(Job, IsCancelledAtItsTimeLimit)
{
    put.insert(put.end(), {"--timeout", "4"}); // long enough for the job to start
    const outcome_t outcome = outcome_with(endless(2));
    EXPECT_EQ(outcome.status, 8);
    EXPECT_THAT(outcome.err,
                EndsWith("out of time, cancelling the job\nftpctl: not done within 4s, the job was "
                         "cancelled; --timeout sets another limit\n"));
}

TEST_F(Job, ASecondInterruptEndsTheProgramBeforeTheJobHasStopped)
{
    fake_daemon daemon(hanging_at_cancel(endless(2)));
    program uploading({"put", put[1], "ftp://host/file", "--socket", daemon.path()});
    ASSERT_TRUE(daemon.has_got(COMMAND_GET_STATE, 3));
    uploading.signal(SIGINT);
    ASSERT_TRUE(daemon.has_got(COMMAND_CANCEL, 1));
    uploading.signal(SIGINT);
    EXPECT_EQ(uploading.wait().status, 128 + SIGINT);
}

TEST_F(Job, ShowsPlainLinesWithoutATerminal)
{
    std::deque<state_reply_t> states = {idle()};
    for (int step = 0; step <= 24; step++)
        states.push_back(running(2, 10, step * 0.4));
    states.push_back(ended(2, 0, 10, 10));
    const outcome_t outcome = outcome_with(script_of(states));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, MatchesRegex("([0-9]+ %, [0-9]+ B of 10 B(, [0-9]+ B/s, 0:[0-9]+ left)?\n)+"));
}

TEST(Info, ShowsTheFile)
{
    EXPECT_EQ(played(finding(5368709120), {"info", "ftp://host/dir/f"}).outcome.out,
              "ftp://host/dir/f: 5368709120 bytes, 2023-02-09, rw-r--r--\n");
    EXPECT_EQ(played(finding(-1), {"info", "ftp://host/f"}).outcome.err,
              "ftpctl: ftp://host/f: no such file\n");
}

TEST(Ping, SaysThatTheDaemonAnswers)
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

TEST(State, IsOneLine)
{
    EXPECT_EQ(
        played(script_of({running(2, 100, 40)}), {"state"}).outcome.out,
        "running: upload, 40 of 100 bytes in 0.0 s; a waiting ftpctl cancels a job in which nothing moves "
        "for 10m\n");
    EXPECT_EQ(played(script_of({idle()}), {"state"}).outcome.out, "idle, no job since the daemon started\n");
}

TEST(FullStandardOutput, IsALocalFailure)
{
    fake_daemon daemon(writing(script_of({idle(), ended(1, 0, 7, 7)}), "content"));
    for (const char *words : {" state", " get ftp://host/f -", " --json unknown"}) {
        const std::string command = FTPCTL + std::string(words) + " --socket " + daemon.path();
        const int status = system((command + " >/dev/full 2>/dev/null").c_str());
        EXPECT_EQ(WEXITSTATUS(status), 1) << words;
    }
}

TEST(Cancel, WaitsForTheJobsEndAndNamesTheJob)
{
    played play(script_of({running(2, 100, 40)}), {"cancel"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, "cancelled: upload\n");
    EXPECT_THAT(play.daemon.commands(), ElementsAre(3u, 4u));
    job_script script = script_of({idle()});
    script.cancel = {{1, 2}, 0};
    EXPECT_EQ(played(script, {"cancel"}).outcome.err,
              "ftpctl: there is no job to cancel (FTPCD_ERR_NOT_RUNNING 2)\n");
}

TEST(Cancel, GivesUpAfterItsTime)
{
    fake_daemon daemon(hanging_at_cancel(script_of({running(2, 100, 40)})));
    const outcome_t outcome = run({"cancel", "--timeout", "4", "--socket", daemon.path()});
    EXPECT_EQ(outcome.status, 8);
    EXPECT_EQ(outcome.err, "ftpctl: the job has not stopped yet; the daemon is still stopping it\n");
}
