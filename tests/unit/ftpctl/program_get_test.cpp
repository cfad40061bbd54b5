// get: beside its place, and into it when whole.
#include "played.h"

#include <csignal>
#include <gmock/gmock.h>
#include <sys/stat.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace
{

constexpr const char *URL = "ftp://anna@host/dir/file";

std::vector<std::string> names_in(const temp_dir &dir)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(dir / ""))
        names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

mode_t mode_of(const std::string &path)
{
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

job_script done() { return script_of({idle(), running(1, 0, 0), ended(1, 0, 7, 7)}); }

outcome_t get(const temp_dir &dir, const std::string &name, const fake_daemon::answer_t &answer)
{
    return played(answer, {"get", URL, dir / name}).outcome;
}

} // namespace

TEST(Get, PutsTheFileInItsPlaceWhenItIsWhole)
{
    const temp_dir dir;
    const played play(writing(done(), "content"), {"get", URL, dir / "f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out, MatchesRegex((dir / "f") + ": 7 of 7 bytes in [0-9.]+ s\n"));
    EXPECT_EQ(play.outcome.err, "");
    EXPECT_EQ(content_of(dir / "f"), "content");
    EXPECT_THAT(names_in(dir), ElementsAre("f"));
}

TEST(Get, AsksForItBesideItsPlaceWhereNobodyElseReads)
{
    const temp_dir dir;
    mode_t folder_mode = 0;
    played play(
        [&, script = done()](const message_t &message) mutable {
            if (message.command == COMMAND_DOWNLOAD)
                folder_mode = mode_of(std::filesystem::path(request_of(message).local_path).parent_path());
            return script(message);
        },
        {"get", URL, dir / "f"});
    ASSERT_EQ(starts(play.daemon).size(), 1u);
    const transfer_request_t request = request_of(starts(play.daemon).front());
    EXPECT_THAT(request.local_path, MatchesRegex((dir / "") + "\\.f\\.ftpctl\\.[A-Za-z0-9]{6}/f"));
    EXPECT_EQ(folder_mode, 0700u);
    EXPECT_STREQ(request.remote_path, "dir/file");
    EXPECT_STREQ(request.host, "host");
    EXPECT_STREQ(request.username, "anna");
    EXPECT_STREQ(request.password, "secret");
}

TEST(Get, ThatFailsLeavesTheOldFileAndNothingElse)
{
    const temp_dir dir;
    dir.file("f", "old");
    const outcome_t outcome = get(dir, "f", writing(script_of({idle(), failed(1, 16, 78, 550)}), "half"));
    EXPECT_EQ(outcome.status, 51);
    EXPECT_THAT(outcome.err, StartsWith("ftpctl: ftp://anna@host/dir/file: " +
                                        std::string(ftpclient_cause_text(FTPCLIENT_CAUSE_NO_FILE))));
    EXPECT_EQ(content_of(dir / "f"), "old");
    EXPECT_THAT(names_in(dir), ElementsAre("f"));
}

TEST(Get, ThatFailsMakesNoFile)
{
    const temp_dir dir;
    EXPECT_EQ(get(dir, "f", script_of({idle(), failed(1, 12, 42)})).status, 32);
    EXPECT_THAT(names_in(dir), IsEmpty());
}

TEST(Get, ASignalLeavesTheOldFileAndNothingElse)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const temp_dir dir;
        dir.file("f", "old");
        job_script script = script_of({idle(), running(1, 7, 3)});
        script.cancelled = ended(1, 1, 7, 3);
        fake_daemon daemon(writing(script, "hal"));
        program getting({"get", "ftp://host/f", dir / "f", "--socket", daemon.path()});
        ASSERT_TRUE(daemon.has_got(3, 3));
        getting.signal(signal);
        EXPECT_EQ(getting.wait().status, 21) << signal;
        EXPECT_EQ(content_of(dir / "f"), "old") << signal;
        EXPECT_THAT(names_in(dir), ElementsAre("f")) << signal;
    }
}

TEST(Get, ANewFileHasTheModeOfAnyNewFile)
{
    const temp_dir dir;
    const mode_t before = umask(027);
    EXPECT_EQ(get(dir, "f", writing(done(), "content")).status, 0);
    umask(before);
    EXPECT_EQ(mode_of(dir / "f"), 0640u);
}

TEST(Get, AReplacedFileKeepsItsMode)
{
    const temp_dir dir;
    chmod(dir.file("f", "old").c_str(), 0751);
    EXPECT_EQ(get(dir, "f", writing(done(), "content")).status, 0);
    EXPECT_EQ(mode_of(dir / "f"), 0751u);
    EXPECT_EQ(content_of(dir / "f"), "content");
}

TEST(Get, ToALinkReplacesWhatItPointsTo)
{
    const temp_dir dir;
    std::filesystem::create_directory(dir / "sub");
    dir.file("sub/f", "old");
    std::filesystem::create_symlink("sub/f", dir / "link");
    EXPECT_EQ(get(dir, "link", writing(done(), "content")).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(dir / "link"));
    EXPECT_EQ(content_of(dir / "sub/f"), "content");
    EXPECT_THAT(names_in(dir), ElementsAre("link", "sub"));
}

TEST(Get, IntoAFolderTakesTheUrlsName)
{
    const temp_dir dir;
    EXPECT_EQ(get(dir, "", writing(done(), "content")).status, 0);
    EXPECT_EQ(content_of(dir / "file"), "content");
    EXPECT_THAT(names_in(dir), ElementsAre("file"));
}

TEST(Get, WithoutANameMakesTheUrlsNameHere)
{
    const temp_dir dir;
    fake_daemon daemon(writing(done(), "content"));
    const std::string command =
        "cd " + (dir / "") + " && " FTPCTL " get --quiet ftp://host/d/a%20b --socket " + daemon.path();
    EXPECT_EQ(system(command.c_str()), 0);
    EXPECT_EQ(content_of(dir / "a b"), "content");
    EXPECT_THAT(names_in(dir), ElementsAre("a b"));
}

TEST(Get, ToStandardOutputPrintsTheFileAndNothingElse)
{
    const played play(writing(done(), std::string("con\0tent\n", 9)), {"get", URL, "-"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, std::string("con\0tent\n", 9));
    EXPECT_EQ(play.outcome.err, "");
    const played failing(script_of({idle(), failed(1, 12, 42)}), {"get", URL, "-"});
    EXPECT_EQ(failing.outcome.status, 32);
    EXPECT_EQ(failing.outcome.out, "");
}

TEST(Get, ToStandardOutputHasNoRoomForJson)
{
    played play(done(), {"get", "--json", URL, "-"});
    EXPECT_EQ(play.outcome.status, 2);
    EXPECT_EQ(starts(play.daemon).size(), 0u);
}

TEST(Get, ToAFullStandardOutputExitsWith1)
{
    fake_daemon daemon(writing(done(), "content"));
    const std::string command =
        FTPCTL " get ftp://host/f - --socket " + daemon.path() + " >/dev/full 2>/dev/null";
    const int status = system(command.c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST(Get, ToADeviceIsRefusedBeforeAnythingIsSent)
{
    played play(done(), {"get", URL, "/dev/null"});
    EXPECT_EQ(play.outcome.status, 1);
    EXPECT_THAT(play.outcome.err, HasSubstr("ftpctl get URL - >/dev/null"));
    EXPECT_THAT(play.daemon.commands(), IsEmpty());
}

TEST(Get, IntoAFolderThatIsNotThereIsRefusedBeforeAnythingIsSent)
{
    const temp_dir dir;
    played play(done(), {"get", URL, dir / "none/f"});
    EXPECT_EQ(play.outcome.status, 1);
    EXPECT_EQ(play.outcome.err, "ftpctl: " + (dir / "none") + ": No such file or directory\n");
    EXPECT_THAT(play.daemon.commands(), IsEmpty());
}

TEST(Get, APathThatIsTooLongIsRefusedBeforeAnythingIsSent)
{
    const temp_dir dir;
    played play(done(), {"get", URL, "/" + std::string(255, 'x')});
    EXPECT_EQ(play.outcome.status, 2);
    EXPECT_EQ(play.outcome.err, "ftpctl: local path: 256 bytes are too many, at most 255 fit\n");
    EXPECT_THAT(play.daemon.commands(), IsEmpty());
}

TEST(Get, ThatTheDaemonCannotWriteTellsWhy)
{
    const temp_dir dir;
    const outcome_t outcome = get(dir, "f", script_of({idle(), failed(1, 9, 0)}));
    EXPECT_EQ(outcome.status, 29);
    EXPECT_EQ(outcome.err, "ftpctl: the daemon cannot see or write " + (dir / "f") +
                               ": it runs with rights and a view of the file system of its own (ProtectHome, "
                               "PrivateTmp, another mount namespace) (FTPCD_ERR_LOCAL_WRITE 9)\n");
    EXPECT_THAT(names_in(dir), IsEmpty());
}

TEST(Get, WithoutWaitingIsWrittenStraightToItsPlace)
{
    const temp_dir dir;
    played play(script_of({idle()}), {"get", "--no-wait", URL, dir / "f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, std::string(URL) + ": download started\n");
    ASSERT_EQ(starts(play.daemon).size(), 1u);
    EXPECT_EQ(request_of(starts(play.daemon).front()).local_path, dir / "f");
    EXPECT_THAT(names_in(dir), IsEmpty());
}

TEST(Get, WithoutWaitingNeedsAFile)
{
    for (const auto &words : {std::vector<std::string>{"get", "--no-wait", URL},
                              std::vector<std::string>{"get", "--no-wait", URL, "-"}}) {
        played play(script_of({idle()}), words);
        EXPECT_EQ(play.outcome.status, 2);
        EXPECT_EQ(play.outcome.err, "ftpctl: --no-wait: needs the name of a FILE\n");
    }
}
