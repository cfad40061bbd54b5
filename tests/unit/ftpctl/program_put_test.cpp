// put: one file or several, whole or the rest.
#include "played.h"

#include <csignal>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using json = nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace
{

// A file of ten bytes.
struct local_t {
    temp_dir dir;
    std::string path = dir.file("f", "0123456789");
};

job_script done() { return script_of({idle(), ended(2, 0, 10, 10)}); }

// Uploads of ten bytes that succeed, one after the other; a name that holds "denied" is denied.
fake_daemon::answer_t many()
{
    return [current = done(), first = true](const message_t &message) mutable {
        if (!message.body.empty()) {
            const std::string name = request_of(message).remote_path;
            current.states = {name.find("denied") == name.npos ? ended(2, 0, 10, 10)
                                                               : failed(2, 16, 25, 553)};
        }
        return current(message);
    };
}

std::vector<std::string> remote_paths(fake_daemon &daemon)
{
    std::vector<std::string> paths;
    for (const message_t &message : starts(daemon))
        paths.emplace_back(request_of(message).remote_path);
    return paths;
}

std::vector<json> objects(const std::string &text)
{
    std::vector<json> found;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        found.push_back(json::parse(line));
    return found;
}

// The script of a resumed upload: look-up, upload, check.
job_script resuming(int64_t found, int64_t sent)
{
    job_script script = script_of({idle(), ended(3, 0, 0, 0), idle(),
                                   ended(2, 0, static_cast<double>(sent), static_cast<double>(sent)), idle(),
                                   ended(3, 0, 0, 0)});
    script.remote_file = remote(found);
    return script;
}

// The remote file has `before` bytes, and after each upload the next of `after`.
fake_daemon::answer_t growing(job_script script, std::deque<int64_t> after)
{
    return [script, after](const message_t &message) mutable {
        if (message.command == COMMAND_UPLOAD) {
            script.remote_file = remote(after.front());
            after.pop_front();
        }
        return script(message);
    };
}

} // namespace

TEST(Put, StartsTheJobAndWaitsForItsEnd)
{
    const local_t local;
    played play(script_of({idle(), running(2, 0, 0), running(2, 10, 4), ended(2, 0, 10, 10)}),
                {"put", local.path, "sftp://anna@host:2022/dir/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out,
                MatchesRegex("sftp://anna@host:2022/dir/file: 10 of 10 bytes in [0-9.]+ s\n"));
    EXPECT_EQ(play.outcome.err, "");
    ASSERT_EQ(starts(play.daemon).size(), 1u);
    const transfer_request_t request = request_of(starts(play.daemon).front());
    EXPECT_EQ(starts(play.daemon).front().command, 2u);
    EXPECT_STREQ(request.remote_path, "dir/file");
    EXPECT_EQ(request.local_path, local.path);
    EXPECT_STREQ(request.host, "host");
    EXPECT_EQ(request.port, 2022u);
    EXPECT_STREQ(request.username, "anna");
    EXPECT_STREQ(request.password, "secret");
}

TEST(Put, OfAHugeFileCountsEveryByte)
{
    const temp_dir dir;
    const std::string path = dir.file("huge", "");
    std::filesystem::resize_file(path, 5368709120);
    const played play(
        script_of({idle(), running(2, 5368709120, 4294967296), ended(2, 0, 5368709120, 5368709120)}),
        {"--json", "put", path, "ftp://host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    const json object = json::parse(play.outcome.out);
    EXPECT_EQ(object["job"]["progress"]["transferred_bytes"], 5368709120);
    EXPECT_EQ(object["upload"]["local_bytes"], 5368709120);
    EXPECT_EQ(play.outcome.err, "");
}

TEST(Put, QuietlyPrintsNothing)
{
    const local_t local;
    const played play(script_of({idle(), running(2, 10, 5), ended(2, 0, 10, 10)}),
                      {"put", "--quiet", local.path, "ftp://host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out + play.outcome.err, "");
}

TEST(Put, WithoutWaitingReturnsAfterTheStart)
{
    const local_t local;
    played play(script_of({idle()}), {"put", "--no-wait", local.path, "ftp://host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.daemon.commands(), ElementsAre(3u, 2u));
    EXPECT_EQ(play.outcome.out, "ftp://host/file: upload started\n");
}

TEST(Put, OfWhatCannotBeReadIsRefusedBeforeAnythingIsSent)
{
    const temp_dir dir;
    const struct {
        std::string name;
        int status;
        std::string why;
    } cases[] = {{dir / "none", 59, "the local file does not exist"},
                 {dir / "", 1, "is a folder; only files can be uploaded"},
                 {"/dev/null", 1, "is no regular file"}};
    for (const auto &c : cases) {
        played play(done(), {"put", c.name, "ftp://host/file"});
        EXPECT_EQ(play.outcome.status, c.status) << c.name;
        EXPECT_EQ(play.outcome.err, "ftpctl: " + c.name + ": " + c.why + "\n");
        EXPECT_THAT(play.daemon.commands(), IsEmpty());
    }
}

TEST(Put, OfAFileThatTheDaemonDoesNotSeeTellsWhy)
{
    const local_t local;
    const played play(script_of({idle(), failed(2, 10, 0)}), {"put", local.path, "ftp://host/file"});
    EXPECT_EQ(play.outcome.status, 30);
    EXPECT_THAT(play.outcome.err,
                AllOf(StartsWith("ftpctl: the daemon cannot see or write " + local.path + ": "),
                      HasSubstr("PrivateTmp")));
}

TEST(Put, IntoAFolderTakesTheLocalName)
{
    const temp_dir dir;
    const std::string path = dir.file("a b%c", "0123456789");
    played play(many(), {"put", path, "ftp://host/dir/"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out, StartsWith("ftp://host/dir/a%20b%25c: 10 of 10 bytes"));
    EXPECT_THAT(remote_paths(play.daemon), ElementsAre("dir/a b%c"));
    played root(many(), {"put", path, "ftp://host"});
    EXPECT_THAT(remote_paths(root.daemon), ElementsAre("a b%c"));
    EXPECT_THAT(root.outcome.out, StartsWith("ftp://host/a%20b%25c: "));
}

TEST(Put, ALocalNameThatTheDaemonWouldRefuseIsRefused)
{
    const temp_dir dir;
    played play(many(), {"put", dir.file("a#b", ""), "ftp://host/dir/"});
    EXPECT_EQ(play.outcome.status, 2);
    EXPECT_EQ(play.outcome.err, "ftpctl: remote path: must not hold '#'\n");
}

TEST(PutMany, GoOneAfterTheOther)
{
    const temp_dir dir;
    played play(many(), {"put", dir.file("a", "0123456789"), dir.file("b", "0123456789"), "ftp://host/dir/"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out,
                MatchesRegex("ftp://host/dir/a: [^\n]*\nftp://host/dir/b: 10 of 10 bytes in [0-9.]+ s\n"));
    EXPECT_THAT(remote_paths(play.daemon), ElementsAre("dir/a", "dir/b"));
}

TEST(PutMany, AFailedOneDoesNotStopTheRestAndItsStatusCounts)
{
    const temp_dir dir;
    played play(many(), {"put", "--json", dir.file("a", "0123456789"), dir.file("denied", "0123456789"),
                         dir / "missing", dir.file("b", "0123456789"), "ftp://host/"});
    EXPECT_EQ(play.outcome.status, 52) << "the first failure's";
    const std::vector<json> told = objects(play.outcome.out);
    ASSERT_EQ(told.size(), 4u);
    EXPECT_EQ(told[0]["status"], 0);
    EXPECT_EQ(told[1]["error"], "denied");
    EXPECT_EQ(told[1]["remote"], "ftp://host/denied");
    EXPECT_EQ(told[2]["error"], "no-local-file");
    EXPECT_EQ(told[2]["local"], dir / "missing");
    EXPECT_EQ(told[3]["status"], 0);
    EXPECT_THAT(remote_paths(play.daemon), ElementsAre("a", "denied", "b"));
}

TEST(PutMany, NeedAFolder)
{
    const temp_dir dir;
    played play(many(), {"put", dir.file("a", ""), dir.file("b", ""), "ftp://host/dir"});
    EXPECT_EQ(play.outcome.status, 2);
    EXPECT_EQ(play.outcome.err, "ftpctl: URL: must end in '/', for several files go there\n");
    EXPECT_THAT(play.daemon.commands(), IsEmpty());
}

TEST(PutMany, AWrongNameIsFoundBeforeAnythingIsSent)
{
    const temp_dir dir;
    played play(many(), {"put", dir.file("a", ""), dir.file("b?", ""), "ftp://host/"});
    EXPECT_EQ(play.outcome.status, 2);
    EXPECT_THAT(play.daemon.commands(), IsEmpty());
}

TEST(PutMany, EndWithoutADaemon)
{
    const temp_dir dir;
    const outcome_t outcome = run({"put", "--json", dir.file("a", ""), dir.file("b", ""), "ftp://host/",
                                   "--socket", "/nonexistent/ftp.sock"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(objects(outcome.out).size(), 1u);
}

TEST(PutMany, EndAtAnInterrupt)
{
    const temp_dir dir;
    job_script script = script_of({idle(), running(2, 10, 4)});
    script.cancelled = ended(2, 1, 10, 4);
    fake_daemon daemon(script);
    program uploading({"put", dir.file("a", "0123456789"), dir.file("b", "0123456789"), "ftp://host/",
                       "--socket", daemon.path()});
    ASSERT_TRUE(daemon.has_got(3, 3));
    uploading.signal(SIGINT);
    EXPECT_EQ(uploading.wait().status, 21);
    EXPECT_THAT(remote_paths(daemon), ElementsAre("a"));
}

TEST(Resume, SendsWhatTheRemoteFileLacksAndLooksAgain)
{
    const local_t local;
    played play(growing(resuming(4, 6), {10}), {"put", "--resume", local.path, "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out,
                MatchesRegex("ftp://host/f: 6 of 6 bytes in [0-9.]+ s, appended to the 4 bytes "
                             "already there, verified\n"));
    const std::vector<message_t> jobs = starts(play.daemon);
    ASSERT_EQ(jobs.size(), 3u);
    EXPECT_EQ(jobs[0].command, 5u);
    EXPECT_EQ(jobs[1].command, 2u);
    EXPECT_EQ(request_of(jobs[1]).resume, 1u);
    EXPECT_EQ(jobs[2].command, 5u);
}

TEST(Resume, IsAWholeUploadWhenNothingIsThere)
{
    const local_t local;
    played play(growing(resuming(-1, 10), {10}), {"put", "--resume", "--json", local.path, "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(request_of(starts(play.daemon).at(1)).resume, 0u);
    EXPECT_EQ(json::parse(play.outcome.out)["upload"], (json{{"sent", "whole"},
                                                             {"local_bytes", 10},
                                                             {"resumed_bytes", 0},
                                                             {"remote_bytes", 10},
                                                             {"verified", true},
                                                             {"may_be_spoiled", false}}));
}

TEST(Resume, SendsNothingWhenAllIsThere)
{
    const local_t local;
    played play(resuming(10, 0), {"put", "--resume", local.path, "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(play.outcome.out, "ftp://host/f: all 10 bytes are there already\n");
    EXPECT_EQ(starts(play.daemon).size(), 1u);
}

TEST(Resume, IsRefusedWhenTheRemoteFileIsLonger)
{
    const local_t local;
    played play(resuming(11, 0), {"put", "--resume", local.path, "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 7);
    EXPECT_EQ(play.outcome.err,
              "ftpctl: cannot resume: the remote file has 11 bytes, the local one only 10\n");
    EXPECT_EQ(starts(play.daemon).size(), 1u);
}

TEST(Resume, ARestThatSpoiledTheRemoteFileIsMendedAndTold)
{
    const local_t local;
    job_script script = resuming(4, 6);
    script.states.insert(script.states.end(), {idle(), ended(2, 0, 10, 10), idle(), ended(3, 0, 0, 0)});
    played play(growing(script, {6, 10}), {"put", "--resume", local.path, "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out,
                HasSubstr("; appending had spoiled the remote file, so all of it was sent again"));
    EXPECT_EQ(request_of(starts(play.daemon).at(3)).resume, 0u);
}

TEST(Verify, ADifferentSizeExitsWith12AndTellsBoth)
{
    const local_t local;
    job_script script = script_of({idle(), ended(2, 0, 10, 10), idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(9);
    played play(script, {"put", "--verify", "--json", local.path, "ftp://host/f"});
    EXPECT_EQ(play.outcome.status, 12);
    EXPECT_EQ(play.outcome.err,
              "ftpctl: ftp://host/f: the remote file has 9 bytes after the upload, the local one 10\n");
    const json object = json::parse(play.outcome.out);
    EXPECT_EQ(object["error"], "different-size");
    EXPECT_EQ(object["upload"]["remote_bytes"], 9);
    EXPECT_EQ(object["upload"]["verified"], false);
}
