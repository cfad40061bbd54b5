// put: one file or several, whole or resumed.
#include "played.h"

namespace
{

// Files of ten bytes.
class Put : public testing::Test
{
protected:
    temp_dir dir;
    std::string path = dir.file("f", "0123456789");
    std::string second = dir.file("denied", "0123456789");
};

// Uploads of ten bytes that succeed, except those whose name contains "denied".
fake_daemon::answer_t many()
{
    return [current = script_of({idle()})](const message_t &message) mutable {
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
    for (const transfer_request_t &request : daemon.requests())
        paths.emplace_back(request.remote_path);
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

// Plays one job after the other, each preceded by an idle state: look-ups (LOOK) and uploads of so many
// bytes. `sizes` are the remote file's: the first at the start, the next after each upload.
fake_daemon::answer_t doing(const std::vector<double> &jobs, std::deque<int64_t> sizes)
{
    job_script script = script_of({});
    for (const double bytes : jobs) {
        script.states.push_back(idle());
        script.states.push_back(bytes < 0 ? ended(3, 0, 0, 0) : ended(2, 0, bytes, bytes));
    }
    return [script, sizes](const message_t &message) mutable {
        if (message.command == COMMAND_UPLOAD && sizes.size() > 1)
            sizes.pop_front();
        script.remote_file = remote(sizes.front());
        return script(message);
    };
}

constexpr double LOOK = -1;

} // namespace

TEST_F(Put, StartsTheJobAndWaitsForItsEnd)
{
    played play(script_of({idle(), running(2, 0, 0), running(2, 10, 4), ended(2, 0, 10, 10)}),
                {"put", path, "sftp://anna@host:2022/dir/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out,
                MatchesRegex("sftp://anna@host:2022/dir/file: 10 of 10 bytes in [0-9.]+ s\n"));
    EXPECT_EQ(play.outcome.err, "");
    ASSERT_EQ(play.daemon.starts(), 1u);
    EXPECT_EQ(play.daemon.commands().at(1), 2u);
    const transfer_request_t request = play.daemon.requests()[0];
    EXPECT_STREQ(request.remote_path, "dir/file");
    EXPECT_EQ(request.local_path, path);
    EXPECT_STREQ(request.host, "host");
    EXPECT_EQ(request.port, 2022u);
    EXPECT_STREQ(request.username, "anna");
    EXPECT_STREQ(request.password, "secret");
}

TEST_F(Put, OfAHugeFileCountsEveryByte)
{
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

TEST_F(Put, WithoutWaitingReturnsAfterTheStart)
{
    played play(script_of({idle()}), {"put", "--no-wait", path, "ftp://host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.daemon.commands(), ElementsAre(3u, 2u));
    EXPECT_EQ(play.outcome.out, "ftp://host/file: upload started\n");
    const played object(script_of({idle()}), {"put", "--no-wait", "--json", path, "ftp://host/file"});
    EXPECT_EQ(json::parse(object.outcome.out)["job"], nullptr);
}

TEST_F(Put, IntoAFolderUsesTheLocalName)
{
    const std::string odd = dir.file("a b%c", "0123456789");
    played play(many(), {"put", odd, "ftp://host/dir/"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out, StartsWith("ftp://host/dir/a%20b%25c: 10 of 10 bytes"));
    EXPECT_THAT(remote_paths(play.daemon), ElementsAre("dir/a b%c"));
    played root(many(), {"put", odd, "ftp://host"});
    EXPECT_THAT(remote_paths(root.daemon), ElementsAre("a b%c"));
    EXPECT_THAT(root.outcome.out, StartsWith("ftp://host/a%20b%25c: "));
}

TEST_F(Put, AFailedFileDoesNotStopTheOthersAndDeterminesTheStatus)
{
    played play(many(), {"put", "--json", path, second, dir / "missing", path, "ftp://host/"});
    EXPECT_EQ(play.outcome.status, 52) << "the first failure's";
    const std::vector<json> told = objects(play.outcome.out);
    ASSERT_EQ(told.size(), 4u);
    EXPECT_EQ(told[0]["status"], 0);
    EXPECT_EQ(told[1]["error"], "denied");
    EXPECT_EQ(told[1]["remote"], "ftp://host/denied");
    EXPECT_EQ(told[2]["error"], "no-local-file");
    EXPECT_EQ(told[2]["local"], dir / "missing");
    EXPECT_EQ(told[3]["status"], 0);
    EXPECT_THAT(remote_paths(play.daemon), ElementsAre("f", "denied", "f"));
}

TEST_F(Put, AFullStandardOutputDoesNotStopTheOthersAndIsToldForEach)
{
    fake_daemon daemon(many());
    const std::string words = FTPCTL " put " + path + " " + path + " ftp://host/ --socket " + daemon.path();
    const int status = system((words + " >/dev/full 2>" + (dir / "err")).c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1);
    const std::string line = "ftpctl: cannot write to standard output\n";
    EXPECT_EQ(content_of(dir / "err"), line + line);
    EXPECT_THAT(remote_paths(daemon), ElementsAre("f", "f"));
}

TEST_F(Put, SeveralFilesStopWithoutADaemonOrOnAnInterrupt)
{
    const outcome_t outcome =
        run({"put", "--json", path, second, "ftp://host/", "--socket", "/nonexistent/ftp.sock"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(objects(outcome.out).size(), 1u);
    fake_daemon daemon(endless(2));
    const outcome_t stopped = interrupted(daemon, {"put", path, second, "ftp://host/"}, SIGINT);
    EXPECT_EQ(stopped.status, 21);
    EXPECT_THAT(stopped.err, testing::Not(HasSubstr("before the job was started"))) << "the second file";
    EXPECT_THAT(remote_paths(daemon), ElementsAre("f"));
}

TEST_F(Put, ReportsTheOutcomeOfAResumedOrVerifiedUpload)
{
    const std::string appended =
        "ftp://host/f: 6 of 6 bytes in [0-9.]+ s, appended to the 4 bytes already there";
    const struct {
        const char *option;
        std::vector<double> jobs;
        std::deque<int64_t> sizes;
        int status;
        Matcher<std::string> line;
    } rows[] = {
        {"--resume", {LOOK, 6, LOOK}, {4, 10}, 0, MatchesRegex(appended + ", verified\n")},
        {"--resume", {LOOK, 10, LOOK}, {-1, 10}, 0, MatchesRegex(".*10 of 10 bytes in .* s, verified\n")},
        {"--resume", {LOOK}, {10}, 0, "ftp://host/f: all 10 bytes are there already\n"},
        {"--resume", {LOOK}, {11}, 7, HasSubstr("the remote file has 11 bytes, the local one only 10")},
        {"--resume",
         {LOOK, 6, LOOK, 10, LOOK},
         {4, 6, 10},
         0,
         HasSubstr("; appending had spoiled the remote file, so all of it was sent again")},
        {"--verify", {10, LOOK}, {9}, 12, EndsWith(" has 9 bytes after the upload, the local one 10\n")},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.sizes));
        played play(doing(row.jobs, row.sizes), {"put", row.option, path, "ftp://host/f"});
        EXPECT_EQ(play.outcome.status, row.status);
        EXPECT_THAT(row.status == 0 ? play.outcome.out : play.outcome.err, row.line);
        ASSERT_EQ(play.daemon.starts(), row.jobs.size());
        for (size_t i = 0; i < row.jobs.size(); i++)
            EXPECT_EQ(play.daemon.requests()[i].resume, row.jobs[i] == 6 ? 1u : 0u);
    }
}
