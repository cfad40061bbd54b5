// What --json prints, command by command, and what else scripts meet.
#include "played.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using json = nlohmann::json;
using testing::ElementsAre;

namespace
{

const json DONE = {{"result", 0}, {"detail", 0}};

} // namespace

TEST(ForScripts, AStartWithoutWaitingIsTheReply)
{
    played play(script_of({idle()}), {"--json", "put", "--no-wait", "/tmp/file", "ftp://anna@host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(json::parse(play.outcome.out), DONE);
}

TEST(ForScripts, APingIsTheReply)
{
    job_script script;
    script.started = {0, 15};
    played play(script, {"--json", "ping"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(json::parse(play.outcome.out), (json{{"result", 0}, {"detail", 15}}));
}

TEST(ForScripts, ACancelIsTheReplyWhateverItSays)
{
    played cancelled(script_of({running(2, 100, 40)}), {"--json", "cancel"});
    EXPECT_EQ(cancelled.outcome.status, 0);
    EXPECT_EQ(json::parse(cancelled.outcome.out), (json{{"reply", DONE}, {"exec", 2}}));
    job_script script;
    script.cancel = {{1, 2}, 0};
    played refused(script, {"--json", "cancel"});
    EXPECT_EQ(refused.outcome.status, 22);
    EXPECT_EQ(json::parse(refused.outcome.out),
              (json{{"reply", {{"result", 1}, {"detail", 2}}}, {"exec", 0}}));
}

TEST(ForScripts, AnUploadThatHasNothingToDoIsTheRemoteFile)
{
    const temp_dir dir;
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(10);
    played play(script, {"--json", "put", "--resume", dir.file("f", "0123456789"), "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(json::parse(play.outcome.out)["remote_file"]["size"], 10);
    EXPECT_THAT(play.daemon.commands(), ElementsAre(3u, 5u, 3u, 6u));
}

TEST(ForScripts, ACancelWithoutADaemonExitsWith3)
{
    const outcome_t outcome = run({"--json", "cancel", "--socket", "/nonexistent/ftp.sock"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "ftpctl: /nonexistent/ftp.sock: no daemon: No such file or directory\n");
}

TEST(ForScripts, APasswordFileWithoutAUserIsRefused)
{
    played play(script_of({idle()}), {"get", "ftp://host/f", "/tmp/f", "--password-file", "/dev/null"});
    EXPECT_EQ(play.outcome.status, 2);
    EXPECT_EQ(play.outcome.err, "ftpctl: --password-file: needs a user\n");
    EXPECT_THAT(play.daemon.commands(), ElementsAre());
}
