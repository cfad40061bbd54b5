// get: a download goes to a file beside the destination, which it replaces when complete.
#include "played.h"

#include <atomic>

namespace
{

constexpr const char *URL = "ftp://anna@host/dir/file";

class Get : public testing::Test
{
protected:
    temp_dir dir;

    static job_script done() { return script_of({idle(), running(1, 0, 0), ended(1, 0, 7, 7)}); }

    std::vector<std::string> names() const { return names_in(dir.path); }

    outcome_t get(const fake_daemon::answer_t &answer) const
    {
        return played(answer, {"get", URL, dir / "f"}).outcome;
    }
};

} // namespace

TEST_F(Get, RenamesTheFileWhenItIsComplete)
{
    const outcome_t outcome = get(writing(done(), "content"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, MatchesRegex((dir / "f") + ": 7 of 7 bytes in [0-9.]+ s\n"));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(content_of(dir / "f"), "content");
    EXPECT_THAT(names(), ElementsAre("f"));
}

TEST_F(Get, DownloadsIntoAPrivateFolderNextToTheDestination)
{
    std::atomic<mode_t> folder_mode = 0;
    played play(
        [&, script = done()](const message_t &message) mutable {
            struct stat status = {};
            const std::filesystem::path local = request_of(message).local_path;
            if (message.command == COMMAND_DOWNLOAD && stat(local.parent_path().c_str(), &status) == 0)
                folder_mode = status.st_mode;
            return script(message);
        },
        {"get", URL, dir / "f"});
    EXPECT_EQ(folder_mode.load(), S_IFDIR | 0700u);
    ASSERT_EQ(play.daemon.starts(), 1u);
    const transfer_request_t request = play.daemon.requests()[0];
    EXPECT_THAT(request.local_path, MatchesRegex((dir / "") + "\\.f\\.ftpctl\\.[A-Za-z0-9]{6}/f"));
    EXPECT_STREQ(request.remote_path, "dir/file");
    EXPECT_STREQ(request.host, "host");
    EXPECT_STREQ(request.username, "anna");
    EXPECT_STREQ(request.password, "secret");
}

TEST_F(Get, ThatFailsLeavesTheOldFileAndNothingElse)
{
    EXPECT_EQ(get(script_of({idle(), failed(1, 12, 42)})).status, 32);
    EXPECT_THAT(names(), IsEmpty());
    const outcome_t unwritten = get(script_of({idle(), failed(1, 9, 0)}));
    EXPECT_EQ(unwritten.status, 29);
    EXPECT_THAT(unwritten.err, StartsWith("ftpctl: the daemon cannot see or write " + (dir / "f") + ": "));
    EXPECT_THAT(names(), IsEmpty());
    dir.file("f", "old");
    const outcome_t outcome = get(writing(script_of({idle(), failed(1, 16, 78, 550)}), "half"));
    EXPECT_EQ(outcome.status, 51);
    EXPECT_THAT(outcome.err, StartsWith("ftpctl: ftp://anna@host/dir/file: " +
                                        std::string(ftpclient_cause_text(FTPCLIENT_CAUSE_NO_FILE))));
    EXPECT_EQ(content_of(dir / "f"), "old");
    EXPECT_THAT(names(), ElementsAre("f"));
}

TEST_F(Get, ASignalLeavesTheOldFileAndNothingElse)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        dir.file("f", "old");
        fake_daemon daemon(writing(endless(1), "hal"));
        EXPECT_EQ(interrupted(daemon, {"get", "ftp://host/f", dir / "f"}, signal).status, 21) << signal;
        EXPECT_EQ(content_of(dir / "f"), "old") << signal;
        EXPECT_THAT(names(), ElementsAre("f")) << signal;
    }
}

TEST_F(Get, WithoutANameUsesTheUrlsInTheWorkingDirectory)
{
    fake_daemon daemon(writing(done(), "content"));
    const std::string command =
        "cd " + (dir / "") + " && " FTPCTL " get --quiet ftp://host/d/a%20b --socket " + daemon.path();
    EXPECT_EQ(system(command.c_str()), 0);
    EXPECT_EQ(content_of(dir / "a b"), "content");
    EXPECT_THAT(names(), ElementsAre("a b"));
}

TEST_F(Get, InARemovedFolderIsALocalFailure)
{
    const std::string command =
        "cd " + (dir / "") + " && mkdir gone && cd gone && rmdir ../gone && " FTPCTL " get ftp://host/f 2>" +
        (dir / "err");
    EXPECT_EQ(WEXITSTATUS(system(command.c_str())), 1);
    // The shell that starts an emulator complains as well.
    EXPECT_THAT(content_of(dir / "err"), testing::ContainsRegex("ftpctl: .*No such file or directory.*\n"));
}

TEST_F(Get, ToStandardOutputPrintsTheFileAndNothingElse)
{
    const played play(writing(done(), std::string("con\0tent\n", 9)), {"get", URL, "-"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, std::string("con\0tent\n", 9));
    EXPECT_EQ(play.outcome.err, "");
    const played failing(script_of({idle(), failed(1, 12, 42)}), {"get", URL, "-"});
    EXPECT_EQ(failing.outcome.status, 32);
    EXPECT_EQ(failing.outcome.out, "");
}

TEST_F(Get, WithoutWaitingIsWrittenDirectlyToItsPlace)
{
    played play(script_of({idle()}), {"get", "--no-wait", URL, dir / "f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, std::string(URL) + ": download started\n");
    ASSERT_EQ(play.daemon.starts(), 1u);
    EXPECT_EQ(play.daemon.requests()[0].local_path, dir / "f");
    EXPECT_THAT(names(), IsEmpty());
}
