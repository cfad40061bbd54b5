#include "fake_system.h"
#include "ftp_clientd/daemonise.h"
#include "support/logged.h"

#include <cerrno>
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::StartsWith;

namespace
{

const std::string CONSOLE = "fork()\nsetsid()\nfork()\nchdir(/)\numask(0)\nfopen(/dev/console, a)\n";
const std::string NULL_INPUT = CONSOLE + "close(0)\nclose(1)\nclose(2)\nopen(/dev/null, 2)\n";

// Runs it in a process of its own, with one call made to fail or to give something else.
void daemonise_with(void (*arrange)(fake_system *))
{
    fake_system system;
    arrange(&system);
    daemonise();
}

} // namespace

TEST(Daemonise, TheParentsEndWithStatusZero)
{
    EXPECT_EXIT(daemonise_with([](fake_system *system) { system->gives("fork", 4711); }), ExitedWithCode(0),
                StartsWith("fork()\nexit(0)\n"));
    EXPECT_EXIT(daemonise_with([](fake_system *system) { system->gives("fork", 4711, 1); }),
                ExitedWithCode(0), StartsWith("fork()\nsetsid()\nfork()\nexit(0)\n"));
}

TEST(Daemonise, TheChildGoesOnWithZero)
{
    fake_system system;
    EXPECT_EQ(change_child_process(), 0);
    EXPECT_THAT(system.calls, ElementsAre("fork()"));
}

TEST(Daemonise, EveryFailureIsLoggedAndEndsWithStatusOne)
{
    struct {
        void (*arrange)(fake_system *);
        std::string done_and_logged;
    } const cases[] = {
        {[](fake_system *system) { system->fails("fork", EAGAIN); },
         "fork()\n"
         "error: ftp_clientd(935): errno(11) Resource temporarily unavailable\n"},
        {[](fake_system *system) { system->fails("setsid", EPERM); },
         "fork()\nsetsid()\n"
         "error: ftp_clientd(892): errno(1) Operation not permitted\n"},
        {[](fake_system *system) { system->fails("fork", ENOMEM, 1); },
         "fork()\nsetsid()\nfork()\n"
         "error: ftp_clientd(935): errno(12) Cannot allocate memory\n"},
        {[](fake_system *system) { system->fails("chdir", EACCES); },
         "fork()\nsetsid()\nfork()\nchdir(/)\n"
         "error: ftp_clientd(907): errno(13) Permission denied\n"},
        {[](fake_system *system) { system->fails("fopen", ENOENT); },
         CONSOLE + "error: ftp_clientd(967): errno(2) No such file or directory\n"},
        {[](fake_system *system) { system->fails("open", EMFILE); },
         NULL_INPUT + "fclose(console)\n"
                      "error: ftp_clientd(979): errno(24) Too many open files\n"},
        {[](fake_system *system) { system->fails("dup2", EBUSY); },
         NULL_INPUT + "dup2(console, 1)\nfclose(console)\n"
                      "error: ftp_clientd(985): errno(16) Device or resource busy\n"},
        {[](fake_system *system) { system->fails("dup2", EINTR, 1); },
         NULL_INPUT + "dup2(console, 1)\ndup2(console, 2)\nfclose(console)\n"
                      "error: ftp_clientd(991): errno(4) Interrupted system call\n"},
    };
    for (const auto &c : cases)
        EXPECT_EXIT(daemonise_with(c.arrange), ExitedWithCode(1),
                    StartsWith(c.done_and_logged + "exit(1)\n"));
}
