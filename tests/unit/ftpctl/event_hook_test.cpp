#include "ftpctl/event_hook.h"

#include "ftpctl/deadline.h"
#include "program.h"
#include "refused.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using testing::HasSubstr;
using testing::Not;

namespace
{

event_t event_named(const std::string &name)
{
    return {"line of " + name, "{}", {"FTPCTL_EVENT=" + name, "FTPCTL_RESULT=0"}};
}

class EventHook : public testing::Test
{
protected:
    temp_dir dir;
    const std::string out = dir / "out";
};

bool is_blocked(int number)
{
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    return sigismember(&blocked, number) == 1;
}

bool has_children() { return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD; }

} // namespace

TEST_F(EventHook, RunsOneCommandAfterTheOtherInOrder)
{
    event_hook hook("echo begin $FTPCTL_EVENT >>" + out + "; sleep 0.02; echo end $FTPCTL_EVENT >>" + out);
    std::string expected;
    for (int i = 0; i < 5; i++) {
        const std::string name = std::to_string(i);
        hook.add(event_named(name));
        expected += "begin " + name + "\nend " + name + "\n";
    }
    EXPECT_TRUE(hook.busy());
    EXPECT_TRUE(hook.finish());
    EXPECT_FALSE(hook.busy());
    EXPECT_EQ(content_of(out), expected);
    EXPECT_FALSE(has_children());
}

TEST_F(EventHook, DoesNotWaitForASlowCommand)
{
    ASSERT_EQ(mkfifo((dir / "gate").c_str(), 0600), 0);
    const int gate = open((dir / "gate").c_str(), O_RDWR | O_CLOEXEC);
    event_hook hook("read x <" + (dir / "gate") + "; echo e >>" + out);
    for (int i = 0; i < 50; i++)
        hook.add(event_named("e"));
    hook.wait(-1, 0);
    EXPECT_TRUE(hook.busy());
    EXPECT_EQ(content_of(out), "") << "the first command still waits at the gate";
    for (int i = 0; i < 50; i++)
        EXPECT_EQ(write(gate, "go\n", 3), 3);
    EXPECT_TRUE(hook.finish());
    close(gate);
    EXPECT_EQ(content_of(out).size(), 100u);
}

TEST_F(EventHook, ReplacesInheritedVariablesByTheEventsOwn)
{
    setenv("FTPCTL_EVENT", "stale", 1);
    setenv("FTPCTL_CURL_CODE", "stale", 1);
    setenv("FTPCTL_TEST_OTHER", "kept", 1);
    event_hook hook("env >" + out);
    hook.add(event_named("upload"));
    EXPECT_TRUE(hook.finish());
    for (const char *name : {"FTPCTL_EVENT", "FTPCTL_CURL_CODE", "FTPCTL_TEST_OTHER"})
        unsetenv(name);
    const std::string variables = content_of(out);
    EXPECT_THAT(variables, HasSubstr("FTPCTL_EVENT=upload\n"));
    EXPECT_THAT(variables, HasSubstr("FTPCTL_TEST_OTHER=kept\n"));
    EXPECT_THAT(variables, Not(HasSubstr("stale")));
}

TEST_F(EventHook, ACommandHasNoInputAndTheUsualSignals)
{
    signal(SIGPIPE, SIG_IGN); // as main does
    event_hook hook("cat >" + (dir / "in") + "; sed -n s/SigIgn:.0*/0/p /proc/self/status >" + out +
                    "; sed -n s/SigBlk:.0*/0/p /proc/self/status >" + (dir / "blocked"));
    hook.add(event_named("e"));
    EXPECT_TRUE(hook.finish());
    signal(SIGPIPE, SIG_DFL);
    EXPECT_EQ(content_of(dir / "in"), "");
    const unsigned long long ignored = std::stoull(content_of(out), nullptr, 16); // may hold inherited ones
    EXPECT_EQ(std::stoull(content_of(dir / "blocked"), nullptr, 16), 0U);
    for (const int number : {SIGPIPE, SIGINT, SIGTERM})
        EXPECT_EQ(ignored >> (number - 1) & 1, 0U) << strsignal(number);
}

TEST_F(EventHook, ReportsACommandThatFails)
{
    event_hook hook(
        "case $FTPCTL_EVENT in a) exit 3;; b) kill -9 $$;; c) true;; *) no-such-command;; esac 2>&-");
    testing::internal::CaptureStderr();
    for (const char *name : {"a", "b", "c", "d"})
        hook.add(event_named(name));
    EXPECT_FALSE(hook.finish());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ftpctl: --exec: the command ended with status 3 for: line of a\n"
              "ftpctl: --exec: the command was ended by signal 9 (Killed) for: line of b\n"
              "ftpctl: --exec: the command ended with status 127 for: line of d\n");
}

TEST_F(EventHook, LeavesNoProcessBehindAndStartsNoneWithoutACommand)
{
    for (const char *command : {"sleep 1000", ""}) {
        event_hook hook(command);
        hook.add(event_named("e"));
        EXPECT_EQ(has_children(), hook.busy());
        EXPECT_EQ(hook.busy(), *command != '\0');
    }
    EXPECT_FALSE(has_children());
}

TEST_F(EventHook, KillsACommandAndItsChildrenThatIgnoreTheRequestToEnd)
{
    int ends[2]; // the command and its child have the second one open
    ASSERT_EQ(pipe(ends), 0);
    event_hook hook("trap '' TERM; echo x >>" + out + "; sleep 1000; sleep 1000");
    hook.add(event_named("e"));
    while (content_of(out).empty()) // before, the signal is not ignored yet
        hook.wait(-1, 10);
    testing::internal::CaptureStderr();
    const deadline_t limit(std::chrono::seconds(60));
    hook.stop();
    EXPECT_FALSE(limit.passed());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ftpctl: --exec: the running command was asked to end\n"
              "ftpctl: --exec: the running command did not end and was killed\n");
    EXPECT_FALSE(has_children());
    close(ends[1]);
    pollfd closed = {ends[0], POLLIN, 0};
    EXPECT_EQ(poll(&closed, 1, 10000), 1) << "the child still runs";
    close(ends[0]);
}

TEST_F(EventHook, WithoutASignalfdFailsWithOneClearLineAndRestoresTheSignalMask)
{
    EXPECT_EQ(failure_without_descriptors([] { event_hook hook("true"); }),
              "1 signalfd: Too many open files");
    EXPECT_FALSE(is_blocked(SIGCHLD));
}

TEST_F(EventHook, AWaitEndsWhenACommandDoes)
{
    event_hook hook("sleep 0.5; echo $FTPCTL_EVENT >>" + out);
    hook.add(event_named("a"));
    hook.add(event_named("b"));
    hook.wait(-1, 10000);
    EXPECT_TRUE(hook.busy()) << "the second command runs";
    hook.wait(-1, 10000);
    EXPECT_FALSE(hook.busy());
    EXPECT_EQ(content_of(out), "a\nb\n");
}

TEST_F(EventHook, AWaitEndsWhenTheDescriptorCanBeRead)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    event_hook hook("sleep 1000");
    hook.add(event_named("e"));
    hook.wait(ends[0], -1);
    EXPECT_TRUE(hook.busy());
    close(ends[0]);
    close(ends[1]);
}

TEST_F(EventHook, SeesCommandsEndWhereSigchldIsIgnoredAndRestoresTheSignalMask)
{
    signal(SIGCHLD, SIG_IGN);
    {
        event_hook hook("exit 3");
        hook.add(event_named("e"));
        EXPECT_FALSE(hook.finish());
    }
    EXPECT_FALSE(is_blocked(SIGCHLD));
}
