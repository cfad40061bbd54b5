// `watch` as a whole, against a scripted daemon.
#include "played.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <gmock/gmock.h>
#include <memory>

using testing::HasSubstr;
using testing::MatchesRegex;

TEST(Watch, PrintsALineForEachChange)
{
    fake_daemon daemon(
        script_of({idle(), idle(), running(2, 100, 40), running(2, 100, 40), ended(2, 16, 100, 40)}));
    program watching({"--json", "watch", "--socket", daemon.path()});
    ASSERT_TRUE(watching.has_printed("\"result\":16"));
    watching.signal(SIGINT);
    const outcome_t outcome = watching.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 3);
    EXPECT_EQ(outcome.err, "");
}

TEST(Watch, EndsWhenItsTimeIsOver)
{
    played play(script_of({idle()}), {"watch", "--timeout", "0.2"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out,
                MatchesRegex("....-..-.. ..:..:.. idle, no job since the daemon started\n"));
}

TEST(Watch, RunsTheCommandForEachChange)
{
    fake_daemon daemon(script_of({idle(), running(2, 100, 40), ended(2, 16, 100, 40)}));
    program watching({"watch", "--quiet", "--socket", daemon.path(), "--exec",
                      "echo $FTPCTL_EVENT:$FTPCTL_RUNNING:$FTPCTL_JOB:$FTPCTL_RESULT_NAME"});
    ASSERT_TRUE(watching.has_printed("FTPCD_ERR_NETWORK"));
    watching.signal(SIGINT);
    const outcome_t outcome = watching.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "state:0:no job:FTPCD_ERR_NONE\nstate:1:upload:FTPCD_ERR_NONE\n"
                           "state:0:upload:FTPCD_ERR_NETWORK\n");
}

TEST(Watch, ADaemonThatGoesAwayIsToldWhenTheCommandsHaveRun)
{
    job_script script = script_of({running(2, 100, 40)});
    auto answers = std::make_shared<std::atomic<int>>(0);
    fake_daemon daemon(
        [script, answers](const message_t &m) mutable { return ++*answers == 1 ? script(m) : bytes_t(); });
    const outcome_t outcome =
        run({"watch", "--quiet", "--socket", daemon.path(), "--exec", "sleep 0.5; echo $FTPCTL_JOB"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "upload\n");
    EXPECT_THAT(outcome.err, HasSubstr("the daemon "));
}
