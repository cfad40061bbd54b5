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

// Makes one call fail, or return 4711 if the error is 0.
void daemonise_with(const char *call, int error, int after)
{
    fake_system system;
    if (error != 0)
        system.fails(call, error, after);
    else
        system.gives(call, 4711, after);
    daemonise();
}

} // namespace

TEST(Daemonise, TheChildContinuesWithZero)
{
    fake_system system;
    EXPECT_EQ(change_child_process(), 0);
    EXPECT_THAT(system.calls, ElementsAre("fork()"));
}

TEST(Daemonise, ParentsExitWithStatusZeroAndFailuresAreLoggedAndExitWithOne)
{
    struct {
        const char *call;
        int error, after;
        std::string done_and_logged;
    } const cases[] = {
        {"fork", 0, 0, "fork()\n"},
        {"fork", 0, 1, "fork()\nsetsid()\nfork()\n"},
        {"fork", EAGAIN, 0, "fork()\nerror: ftp_clientd(935): errno(11) Resource temporarily unavailable\n"},
        {"setsid", EPERM, 0, "fork()\nsetsid()\nerror: ftp_clientd(892): errno(1) Operation not permitted\n"},
        {"fork", ENOMEM, 1,
         "fork()\nsetsid()\nfork()\nerror: ftp_clientd(935): errno(12) Cannot allocate memory\n"},
        {"chdir", EACCES, 0,
         "fork()\nsetsid()\nfork()\nchdir(/)\nerror: ftp_clientd(907): errno(13) Permission denied\n"},
        {"fopen", ENOENT, 0, CONSOLE + "error: ftp_clientd(967): errno(2) No such file or directory\n"},
        {"open", EMFILE, 0,
         NULL_INPUT + "fclose(console)\nerror: ftp_clientd(979): errno(24) Too many open files\n"},
        {"dup2", EBUSY, 0,
         NULL_INPUT + "dup2(console, 1)\nfclose(console)\n"
                      "error: ftp_clientd(985): errno(16) Device or resource busy\n"},
        {"dup2", EINTR, 1,
         NULL_INPUT + "dup2(console, 1)\ndup2(console, 2)\nfclose(console)\n"
                      "error: ftp_clientd(991): errno(4) Interrupted system call\n"},
    };
    for (const auto &c : cases) {
        const int status = c.error == 0 ? 0 : 1;
        EXPECT_EXIT(daemonise_with(c.call, c.error, c.after), ExitedWithCode(status),
                    StartsWith(c.done_and_logged + "exit(" + std::to_string(status) + ")\n"));
    }
}
