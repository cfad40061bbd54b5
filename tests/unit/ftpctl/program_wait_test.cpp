// Waiting for other programs.
#include "played.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using std::chrono::steady_clock;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

// Holds the turn, as another program does.
class turn
{
public:
    explicit turn(const fake_daemon &daemon)
        : fd_(open((daemon.path() + ".turn").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666))
    {
        EXPECT_EQ(flock(fd_, LOCK_EX), 0);
    }
    ~turn() { close(fd_); }
    turn(const turn &) = delete;
    turn &operator=(const turn &) = delete;

private:
    int fd_;
};

// A file info that is done at once.
job_script info_script()
{
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(10);
    return script;
}

std::vector<std::string> info(const fake_daemon &daemon, std::vector<std::string> more = {})
{
    more.insert(more.begin(), {"info", "ftp://host/f", "--socket", daemon.path()});
    return more;
}

constexpr const char *WAITING = "waiting for another program's turn";

// What ftpctl says first when it waits; then it is interrupted.
std::string line_of_one_who_waits(const fake_daemon &daemon)
{
    program asking(info(daemon));
    EXPECT_TRUE(asking.has_said(WAITING));
    EXPECT_TRUE(asking.has_said("\n"));
    asking.signal(SIGINT);
    const std::string said = asking.wait().err;
    return said.substr(0, said.find('\n') + 1);
}

// ftpctl asks what runs for a second at most. A busy machine may hold the answer up: once of a few times it
// comes.
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

TEST(WaitForATurn, IsToldAfterASecondWithTheJobThatRuns)
{
    fake_daemon daemon(script_of({running(2, 268400000, 46600000)}));
    const turn others(daemon);
    EXPECT_TRUE(is_told([&] { return line_of_one_who_waits(daemon); },
                        std::string(WAITING) + "; running: upload, 46.6 MB of 268.4 MB\n"));
}

TEST(WaitForATurn, IsToldWithoutAJobWhenNoneRuns)
{
    fake_daemon daemon(script_of({idle()}));
    const turn others(daemon);
    EXPECT_EQ(line_of_one_who_waits(daemon), std::string(WAITING) + "\n");
}

TEST(WaitForATurn, ThatTookTooLongEndsWithTheLimit)
{
    fake_daemon daemon(script_of({idle()}));
    const turn others(daemon);
    const outcome_t outcome = run(info(daemon, {"--wait-turn", "300ms"}));
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err,
                EndsWith("ftpctl: other programs had the daemon for longer than 300ms; --wait-turn "
                         "sets another limit\n"));
}

TEST(WaitForATurn, IsNotToldWithinASecondNorQuietly)
{
    fake_daemon daemon(script_of({idle()}));
    const turn others(daemon);
    EXPECT_THAT(run(info(daemon, {"--wait-turn", "300ms"})).err, StartsWith("ftpctl: other programs had"));
    EXPECT_THAT(run(info(daemon, {"--wait-turn", "1.5", "--quiet"})).err,
                StartsWith("ftpctl: other programs had"));
}

TEST(WaitForATurn, IsNoneWithZero)
{
    fake_daemon daemon(info_script());
    const auto begin = steady_clock::now();
    {
        const turn others(daemon);
        const outcome_t outcome = run(info(daemon, {"--wait-turn", "0"}));
        EXPECT_EQ(outcome.status, 4);
        EXPECT_EQ(outcome.err, "ftpctl: another program has the daemon; --wait-turn sets how long to wait\n");
        EXPECT_THAT(starts(daemon), IsEmpty());
    }
    EXPECT_LT(steady_clock::now() - begin, std::chrono::minutes(1)) << "as a rule it is ten minutes";
    EXPECT_EQ(run(info(daemon, {"--wait-turn", "0"})).status, 0) << "when it is free";
}

TEST(WaitForATurn, GoesOnWhenTheTurnIsFree)
{
    fake_daemon daemon(info_script());
    auto others = std::make_unique<turn>(daemon);
    program asking(info(daemon));
    ASSERT_TRUE(asking.has_said(WAITING));
    EXPECT_THAT(starts(daemon), IsEmpty());
    others.reset();
    EXPECT_EQ(asking.wait().status, 0);
    EXPECT_GE(starts(daemon).size(), 1u);
}

TEST(WaitForATurn, EndsAtASignal)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        fake_daemon daemon(script_of({idle()}));
        const turn others(daemon);
        program asking(info(daemon));
        ASSERT_TRUE(asking.has_said(WAITING));
        asking.signal(signal);
        const outcome_t outcome = asking.wait();
        EXPECT_EQ(outcome.status, 21) << signal;
        EXPECT_THAT(outcome.err, HasSubstr("\nftpctl: interrupted before the job was started\n"));
        EXPECT_THAT(starts(daemon), IsEmpty());
    }
}

TEST(WaitForATurn, EndsWithTheTimeOfTheCommand)
{
    fake_daemon daemon(script_of({idle()}));
    const turn others(daemon);
    const outcome_t outcome = run(info(daemon, {"--timeout", "300ms"}));
    EXPECT_EQ(outcome.status, 8);
    EXPECT_EQ(outcome.err,
              "ftpctl: not done within 300ms, the job was not started; --timeout sets another limit\n");
}

TEST(WaitForAJob, OfAProgramThatTakesNoTurnsIsToldToo)
{
    std::deque<state_reply_t> states(20, running(1, 0, 100));
    states.push_back(idle());
    states.push_back(ended(3, 0, 0, 0));
    job_script script = script_of(states);
    script.remote_file = remote(10);
    const auto wait = [&] {
        fake_daemon daemon(script);
        const outcome_t outcome = run(info(daemon));
        EXPECT_EQ(outcome.status, 0);
        return outcome.err;
    };
    EXPECT_TRUE(is_told(wait, "waiting for another program's job; running: download, 100 B\n"));
}

TEST(WithoutATurn, TheJobGoesOnAndThatIsToldOnce)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become somebody else";
    fake_daemon daemon(info_script());
    const std::filesystem::path folder = std::filesystem::path(daemon.path()).parent_path();
    chmod(folder.c_str(), 0755); // the turn's file cannot be made there
    chmod(daemon.path().c_str(), 0666);
    const outcome_t outcome = run_as(4321, info(daemon));
    if (outcome.status == OUT_OF_REACH)
        GTEST_SKIP() << "this checkout lies where no other user gets to";
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "ftpctl: cannot take turns with other programs: " + daemon.path() +
                               ".turn: Permission denied\n");
    fake_daemon second(info_script());
    chmod(std::filesystem::path(second.path()).parent_path().c_str(), 0755);
    chmod(second.path().c_str(), 0666);
    EXPECT_EQ(run_as(4321, info(second, {"--quiet"})).err, "");
}
