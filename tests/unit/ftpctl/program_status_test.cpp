// Each exit status by its causes, with the matching name in JSON and line on standard error.
#include "ftpctl/drive.h"

#include "played.h"
#include "refused.h"

namespace
{

constexpr const char *URL = "ftp://anna@host:2121/dir/file";
constexpr const char *NOWHERE = "/nonexistent/ftp.sock";

using words_t = std::vector<std::string>;

void expect(const outcome_t &outcome, int status, const std::string &name)
{
    EXPECT_EQ(outcome.status, status) << outcome.err;
    const json object = json::parse(outcome.out);
    EXPECT_EQ(object["status"], status);
    EXPECT_EQ(object["error"], name);
    EXPECT_EQ("ftpctl: " + object["message"].get<std::string>() + "\n", outcome.err);
}

} // namespace

TEST(ExitStatus, FollowsFromTheDaemonsReply)
{
    const temp_dir dir;
    const words_t get = {"get", URL, dir / "f"};
    const std::string file = dir.file("g", "0123456789");
    job_script refusing = script_of({idle()});
    refusing.started = {1, 3};
    job_script refusing_for_good = script_of({idle()});
    refusing_for_good.started = {1, 5};
    job_script idle_one = script_of({idle()});
    idle_one.cancel = {{1, 2}, 0};
    job_script cut_short = script_of({idle(), ended(2, 0, 10, 10), idle(), ended(3, 0, 0, 0)});
    cut_short.remote_file = remote(9);
    const auto silence = [](const message_t &) { return bytes_t(); };
    const auto hanging = [](const message_t &) { return fake_daemon::HANG; };
    const auto nonsense = [](const message_t &) { return bytes_t(24, 0xEE); };
    const auto nonsense_then = [nonsense,
                                script = script_of({running(2, 10, 4)})](const message_t &message) mutable {
        return message.command == COMMAND_CANCEL ? nonsense(message) : script(message);
    };
    const struct {
        const char *what;
        fake_daemon::answer_t answer;
        words_t words;
        int status;
        const char *name;
    } rows[] = {
        {"the daemon breaks off", silence, {"ping"}, 3, "no-daemon"},
        {"a job runs",
         script_of({running(2, 10, 4)}),
         {"get", URL, dir / "f", "--wait-turn", "0"},
         4,
         "busy"},
        {"others are faster", refusing, {"get", URL, dir / "f", "--wait-turn", "300ms"}, 4, "busy"},
        {"nonsense", nonsense, {"ping"}, 5, "bad-answer"},
        {"nonsense of a state", nonsense, {"state"}, 5, "bad-answer"},
        {"nonsense of a cancel", nonsense_then, {"cancel"}, 5, "bad-answer"},
        {"no remote file", finding(-1), {"info", URL}, 6, "not-found"},
        {"sizes that forbid it", finding(11), {"put", "--resume", file, URL}, 7, "no-resume"},
        {"out of time", hanging, {"ping", "--timeout", "200ms"}, 8, "timeout"},
        {"out of time for a state", hanging, {"state", "--timeout", "200ms"}, 8, "timeout"},
        {"whose upload is that?", script_of({idle(), ended(2, 0, 10, 10)}), get, 10, "unknown-outcome"},
        {"another size", cut_short, {"put", "--verify", file, URL}, 12, "different-size"},
        {"nothing to cancel", idle_one, {"cancel"}, 22, "not-running"},
        {"refused for good", refusing_for_good, get, 25, "internal"},
        {"a result", script_of({idle(), ended(1, 12, 0, 0)}), get, 32, "size-limit"},
        {"a cause", script_of({idle(), failed(1, 16, 78, 550)}), get, 51, "no-such-file"},
        {"a result of a later daemon", script_of({idle(), ended(1, 99, 0, 0)}), get, 120, "unknown-result"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        words_t words = row.words;
        words.emplace_back("--json");
        expect(played(row.answer, words).outcome, row.status, row.name);
    }
}

TEST(ExitStatus, TellsWhyNothingWasSent)
{
    const temp_dir dir;
    const std::string file = dir.file("f", "");
    const auto is = [](const std::string &line) -> Matcher<std::string> { return "ftpctl: " + line + "\n"; };
    const std::string unlike = "identity: only ftps://, ftpes:// and sftp:// servers have one";
    const struct {
        words_t words;
        int status; // 1: a file of this program, 2: usage, 59: the local file
        Matcher<std::string> err;
    } rows[] = {
        {{"get", URL, "-"}, 2, is("--json: standard output is needed for the file")},
        {{"get", "--no-wait", URL}, 2, is("--no-wait: needs the name of a FILE")},
        {{"get", "--no-wait", URL, "-"}, 2, is("--no-wait: needs the name of a FILE")},
        {{"get", URL, "/dev/null"}, 1, HasSubstr("ftpctl get URL - >/dev/null")},
        {{"get", URL, dir / "a/f"}, 1, is((dir / "a") + ": No such file or directory")},
        {{"get", URL, "/" + std::string(255, 'x')},
         2,
         is("local path: 256 bytes are too many, at most 255 fit")},
        {{"put", dir / "a", URL}, 59, is((dir / "a") + ": the local file does not exist")},
        {{"put", dir / "", URL}, 1, is((dir / "") + ": is a folder; only files can be uploaded")},
        {{"put", "/dev/null", URL}, 1, is("/dev/null: is not a regular file")},
        {{"put", "..", "ftp://host/dir/"}, 2, is("..: is not the name of a file")},
        {{"put", file, "ftp://host/a%0Db"}, 2, is("remote path: must not hold a carriage return")},
        {{"put", dir.file("a#b", ""), "ftp://host/dir/"}, 2, is("remote path: must not hold '#'")},
        {{"put", file, dir.file("b?", ""), "ftp://host/"}, 2, is("remote path: must not hold '?'")},
        {{"put", file, file, "ftp://host/d"}, 2, is("URL: must end in '/' for several files")},
        {{"info", "ftp://host/f", "--password-file", "/dev/null"}, 2, is("--password-file: needs a user")},
        {{"identity", "ftp://host"}, 2, is(unlike)},
        {{"identity", "zixi://host"}, 2, is(unlike)},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.words));
        words_t words = row.words;
        words.emplace_back("--json");
        played play(script_of({idle()}), words);
        expect(play.outcome, row.status,
               row.status == 1   ? "local"
               : row.status == 2 ? "usage"
                                 : "no-local-file");
        EXPECT_THAT(play.outcome.err, row.err);
        EXPECT_THAT(play.daemon.commands(), testing::IsEmpty());
    }
}

TEST(ExitStatus, Is3WithoutADaemonForEachCommand)
{
    const temp_dir dir;
    const words_t commands[] = {{"get", "ftp://host/f", dir / "f"},
                                {"put", dir.file("g", ""), "ftp://host/f"},
                                {"info", "ftp://host/f"},
                                {"identity", "ftps://host"},
                                {"ping"},
                                {"state"},
                                {"cancel"},
                                {"watch"}};
    for (words_t words : commands) {
        SCOPED_TRACE(words[0]);
        words.insert(words.end(), {"--json", "--socket", NOWHERE});
        const outcome_t outcome = run(words);
        expect(outcome, 3, "no-daemon");
        EXPECT_EQ(outcome.err, "ftpctl: " + std::string(NOWHERE) +
                                   ": no daemon listens there; see whether ftp_clientd runs\n");
        EXPECT_EQ(json::parse(outcome.out)["command"], words[0]);
        EXPECT_EQ(json::parse(outcome.out)["job"], nullptr);
    }
    const std::string longer(108, 'x');
    EXPECT_EQ(run({"ping", "--socket", longer}).err,
              "ftpctl: " + longer + ": too long for a socket's path\n");
}

TEST(ExitStatus, Is1WithoutFreeDescriptors)
{
    const options_t options;
    driver driver(options);
    EXPECT_EQ(failure_without_descriptors(
                  [&] { throw daemon_failure(options, driver.run(ftpclient_begin_ping).code); }),
              "1 Too many open files");
}

TEST(ExitStatus, Is11ForAUserWhoMayNotUseTheSocket)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can change its user";
    fake_daemon daemon(script_of({idle()}));
    chmod(std::filesystem::path(daemon.path()).parent_path().c_str(), 0755);
    chmod(daemon.path().c_str(), 0660);
    ASSERT_EQ(chown(daemon.path().c_str(), 0, 4322), 0);
    const temp_dir dir;
    const char *ANONYMOUS = "ftp://host/file";
    std::ofstream(daemon.path() + ".turn").close();
    chmod((daemon.path() + ".turn").c_str(), 0666);
    chmod((dir / ".").c_str(), 0755);
    const words_t commands[] = {{"ping"},
                                {"get", ANONYMOUS, "/tmp/"},
                                {"put", dir.file("f", "0123456789"), ANONYMOUS},
                                {"info", ANONYMOUS}};
    for (words_t words : commands) {
        words.insert(words.end(), {"--json", "--socket", daemon.path()});
        const outcome_t outcome = run_as(4321, words);
        if (outcome.status == OUT_OF_REACH) // below /root, say
            GTEST_SKIP() << "other users have no access to this checkout";
        expect(outcome, 11, "denied-socket");
        EXPECT_EQ(outcome.err, "ftpctl: this user may not use " + daemon.path() +
                                   "; it belongs to group 4322: add the user to it\n");
    }
    chmod(std::filesystem::path(daemon.path()).parent_path().c_str(), 0700);
    EXPECT_EQ(run_as(4321, {"ping", "--socket", daemon.path()}).err,
              "ftpctl: this user may not use " + daemon.path() + "\n")
        << "its owner cannot be seen";
}
