// Waiting for other programs.
#include "played.h"

using std::chrono::steady_clock;

namespace
{

std::vector<std::string> info(const fake_daemon &daemon, std::vector<std::string> more = {})
{
    more.insert(more.begin(), {"info", "ftp://host/f", "--socket", daemon.path()});
    return more;
}

constexpr const char *WAITING = "waiting for another program's turn";

// The first line of an ftpctl that waits; then it is interrupted.
std::string line_of_one_who_waits(const fake_daemon &daemon)
{
    program asking(info(daemon));
    EXPECT_TRUE(asking.has_said(WAITING));
    EXPECT_TRUE(asking.has_said("\n"));
    asking.signal(SIGINT);
    const std::string said = asking.wait().err;
    return said.substr(0, said.find('\n') + 1);
}

// ftpctl asks for one second at most which job runs. On a busy machine the reply may come too late, so this
// tries a few times.
template <typename Say> bool is_told(Say say, const std::string &line)
{
    constexpr int TRIES = 5;
    for (int tries = 0; tries < TRIES; tries++) {
        const std::string said = say();
        if (said == line)
            return true;
        printf("said: %s", said.c_str());
    }
    return false;
}

} // namespace

TEST(WaitForATurn, IsReportedAfterASecondWithTheRunningJob)
{
    fake_daemon daemon(script_of({running(2, 268400000, 46600000)}));
    const turn_holder others(daemon);
    EXPECT_TRUE(is_told([&] { return line_of_one_who_waits(daemon); },
                        std::string(WAITING) + "; running: upload, 46.6 MB of 268.4 MB\n"));
    fake_daemon idle_one(script_of({idle()}));
    const turn_holder its(idle_one);
    EXPECT_EQ(line_of_one_who_waits(idle_one), std::string(WAITING) + "\n");
}

TEST(WaitForATurn, EndsAtItsLimit)
{
    const std::string longer = "other programs kept the daemon busy for longer than ";
    const struct {
        std::vector<std::string> options;
        int status;
        std::string line; // the only one: waiting is reported after a second, and never quietly
    } rows[] = {
        {{"--wait-turn", "300ms"}, 4, longer + "300ms; --wait-turn sets another limit"},
        {{"--wait-turn", "1.5", "--quiet"}, 4, longer + "1500ms; --wait-turn sets another limit"},
        {{"--wait-turn", "0"}, 4, "another program has the daemon; --wait-turn sets how long to wait"},
        {{"--timeout", "300ms"},
         8,
         "not done within 300ms, the job was not started; --timeout sets another limit"},
    };
    for (const auto &row : rows) {
        fake_daemon daemon(script_of({idle()}));
        const turn_holder others(daemon);
        const auto begin = steady_clock::now();
        const outcome_t outcome = run(info(daemon, row.options));
        EXPECT_EQ(outcome.status, row.status) << row.line;
        EXPECT_EQ(outcome.err, "ftpctl: " + row.line + "\n");
        EXPECT_THAT(daemon.requests(), IsEmpty()) << row.line;
        EXPECT_LT(steady_clock::now() - begin, std::chrono::minutes(1)) << "the default limit is ten minutes";
    }
}

TEST(WaitForATurn, EndsWhenTheTurnIsFree)
{
    fake_daemon daemon(finding(10));
    auto others = std::make_unique<turn_holder>(daemon);
    program asking(info(daemon));
    ASSERT_TRUE(asking.has_said(WAITING));
    EXPECT_THAT(daemon.requests(), IsEmpty());
    others.reset();
    EXPECT_EQ(asking.wait().status, 0);
    EXPECT_GE(daemon.starts(), 1u);
    EXPECT_EQ(run(info(daemon, {"--wait-turn", "0"})).status, 0) << "a free turn needs no wait";
}

TEST(WaitForATurn, EndsAtASignal)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        fake_daemon daemon(script_of({idle()}));
        const turn_holder others(daemon);
        program asking(info(daemon));
        ASSERT_TRUE(asking.has_said(WAITING));
        asking.signal(signal);
        const outcome_t outcome = asking.wait();
        EXPECT_EQ(outcome.status, 21) << signal;
        EXPECT_THAT(outcome.err, HasSubstr("\nftpctl: interrupted before the job was started\n"));
        EXPECT_THAT(daemon.requests(), IsEmpty());
    }
}

TEST(WaitForAJob, OfAProgramThatTakesNoTurnsIsReportedToo)
{
    job_script script = finding(10);
    script.states.insert(script.states.begin(), 20, running(1, 0, 100));
    const auto wait = [&] {
        fake_daemon daemon(script);
        const outcome_t outcome = run(info(daemon));
        EXPECT_EQ(outcome.status, 0);
        return outcome.err;
    };
    EXPECT_TRUE(is_told(wait, "waiting for another program's job; running: download, 100 B\n"));
}

TEST(WithoutATurn, TheJobRunsWithOneWarning)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can change its user";
    for (const std::vector<std::string> &options : {std::vector<std::string>{}, {"--quiet"}}) {
        fake_daemon daemon(finding(10));
        chmod(std::filesystem::path(daemon.path()).parent_path().c_str(),
              0755); // the other user cannot create the turn's file
        chmod(daemon.path().c_str(), 0666);
        const outcome_t outcome = run_as(4321, info(daemon, options));
        if (outcome.status == OUT_OF_REACH) // below /root, say
            GTEST_SKIP() << "other users have no access to this checkout";
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, !options.empty() ? ""
                                                : "ftpctl: cannot take turns with other programs: " +
                                                      daemon.path() + ".turn: Permission denied\n");
    }
}
