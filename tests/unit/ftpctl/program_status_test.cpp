// Each exit status, by the daemon's answer that leads to it.
#include "played.h"

#include "ftpctl/statuses.h"

#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <grp.h>
#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using json = nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

constexpr const char *URL = "ftp://anna@host:2121/dir/file";

outcome_t get(const fake_daemon::answer_t &answer, std::vector<std::string> more = {})
{
    const temp_dir dir;
    more.insert(more.begin(), {"get", "--json", URL, dir / "f"});
    return played(answer, more).outcome;
}

// Status, "error" and the line on standard error belong together.
void expect(const outcome_t &outcome, int status, const std::string &name)
{
    EXPECT_EQ(outcome.status, status) << outcome.err;
    const json object = json::parse(outcome.out);
    EXPECT_EQ(object["status"], status);
    EXPECT_EQ(object["error"], name);
    EXPECT_EQ("ftpctl: " + object["message"].get<std::string>() + "\n", outcome.err);
}

} // namespace

TEST(ExitStatus, OfAResultWithoutAKnownCause)
{
    const struct {
        uint32_t result;
        int status;
        const char *name;
    } cases[] = {
        {4, 24, "auth-unsupported"},   {5, 25, "internal"},        {6, 26, "response-code"},
        {7, 27, "url-restore"},        {8, 28, "secure-data"},     {9, 29, "local-write"},
        {10, 30, "local-read"},        {11, 31, "no-memory"},      {12, 32, "size-limit"},
        {15, 35, "not-supported"},     {16, 36, "network"},        {17, 37, "fingerprint"},
        {18, 38, "secure-unknown"},    {19, 39, "identity-write"}, {20, 40, "identity-create"},
        {21, 41, "wrong-certificate"}, {22, 42, "wrong-host-key"}, {23, 43, "remote-file-exists"},
        {99, 120, "unknown-result"},
    };
    for (const auto &c : cases)
        expect(get(script_of({idle(), ended(1, c.result, 0, 0)})), c.status, c.name);
}

TEST(ExitStatus, OfACauseAndWhomItNames)
{
    const struct {
        uint32_t result;
        uint32_t curl_code;
        uint32_t reply;
        int status;
        const char *name;
        const char *subject;
    } cases[] = {
        {16, 67, 530, 50, "login-refused", "anna@host:2121"},
        {16, 78, 550, 51, "no-such-file", URL},
        {16, 25, 553, 52, "denied", URL},
        {16, 6, 0, 53, "name-not-found", "host:2121"},
        {16, 7, 0, 54, "nobody-listens", "host:2121"},
        {16, 28, 0, 55, "unreachable", "host:2121"},
        {16, 35, 0, 56, "handshake-failed", "host:2121"},
        {16, 70, 452, 57, "server-full", URL},
        {16, 56, 226, 61, "connection-broken", URL},
        {14, 28, 150, 62, "stalled", URL},
    };
    for (const auto &c : cases) {
        const outcome_t outcome = get(script_of({idle(), failed(1, c.result, c.curl_code, c.reply)}));
        expect(outcome, c.status, c.name);
        EXPECT_THAT(outcome.err,
                    StartsWith(std::string("ftpctl: ") + c.subject + ": " + status_find(c.status).meaning +
                               "; " + status_find(c.status).remedy + " (FTPCD_ERR_"));
    }
}

TEST(ExitStatus, OfAProxyThatWantsALoginIs60AndNamesTheProxy)
{
    state_reply_t refused = failed(1, 16, 56, 407);
    refused.exec_info.response_code_type = 2;
    const outcome_t outcome = get(script_of({idle(), refused}), {"--proxy", "gate:8080"});
    expect(outcome, 60, "proxy-login");
    EXPECT_THAT(outcome.err, StartsWith("ftpctl: proxy gate:8080: "));
}

TEST(ExitStatus, OfAProxyThatIsNotThereNamesTheProxy)
{
    const outcome_t outcome = get(script_of({idle(), failed(1, 16, 7)}), {"--proxy", "gate:8080"});
    expect(outcome, 54, "nobody-listens");
    EXPECT_THAT(outcome.err, StartsWith("ftpctl: proxy gate:8080: "));
}

TEST(ExitStatus, Is59WithoutTheLocalFile)
{
    const temp_dir dir;
    expect(played(script_of({idle()}), {"put", "--json", dir / "none", URL}).outcome, 59, "no-local-file");
}

TEST(ExitStatus, Is1ForAFileOnThisSide)
{
    const temp_dir dir;
    expect(played(script_of({idle()}), {"put", "--json", dir / "", URL}).outcome, 1, "local");
}

TEST(ExitStatus, Is2ForWhatTheDaemonWouldRefuse)
{
    expect(played(script_of({idle()}), {"info", "--json", "ftp://anna@host/a%23b"}).outcome, 2, "usage");
}

TEST(ExitStatus, Is3WithoutADaemon)
{
    for (const char *command : {"ping", "state", "cancel", "watch"})
        expect(run({command, "--json", "--socket", "/nonexistent/ftp.sock"}), 3, "no-daemon");
    const temp_dir dir;
    expect(run({"get", "--json", "ftp://host/f", dir / "f", "--socket", "/nonexistent/ftp.sock"}), 3,
           "no-daemon");
    expect(run({"info", "--json", "ftp://host/f", "--socket", "/nonexistent/ftp.sock"}), 3, "no-daemon");
}

TEST(ExitStatus, Is3WhenTheDaemonBreaksOff)
{
    expect(played([](const message_t &) { return bytes_t(); }, {"ping", "--json"}).outcome, 3, "no-daemon");
}

TEST(ExitStatus, Is4WhenOthersHaveTheDaemonForTooLong)
{
    expect(get(script_of({running(2, 10, 4)}), {"--wait-turn", "0"}), 4, "busy");
    job_script refusing = script_of({idle()});
    refusing.started = {1, 3};
    expect(get(refusing, {"--wait-turn", "300ms"}), 4, "busy");
}

TEST(ExitStatus, Is5ForAnAnswerThatMakesNoSense)
{
    const auto nonsense = [](const message_t &) { return bytes_t(24, 0xEE); };
    for (const char *command : {"ping", "state", "cancel"})
        expect(played(nonsense, {command, "--json"}).outcome, 5, "bad-answer");
}

TEST(ExitStatus, Is6ForARemoteFileThatIsNotThere)
{
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(-1);
    expect(played(script, {"info", "--json", URL}).outcome, 6, "not-found");
}

TEST(ExitStatus, Is7WhenTheSizesForbidToResume)
{
    const temp_dir dir;
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(11);
    expect(played(script, {"put", "--json", "--resume", dir.file("f", "0123456789"), URL}).outcome, 7,
           "no-resume");
}

TEST(ExitStatus, Is8WhenTheTimeIsOver)
{
    fake_daemon hanging([](const message_t &) { return fake_daemon::HANG; });
    for (const char *command : {"ping", "state"})
        expect(run({command, "--json", "--timeout", "200ms", "--socket", hanging.path()}), 8, "timeout");
}

TEST(ExitStatus, Is10WhenAnotherProgramCameBetween)
{
    const temp_dir dir;
    const outcome_t outcome = get(script_of({idle(), ended(2, 0, 10, 10)})); // whose upload is that?
    expect(outcome, 10, "unknown-outcome");
    EXPECT_EQ(json::parse(outcome.out)["job"], nullptr);
}

TEST(ExitStatus, Is11ForAUserWhoMayNotUseTheSocket)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become somebody else";
    fake_daemon daemon(script_of({idle()}));
    chmod(std::filesystem::path(daemon.path()).parent_path().c_str(), 0755);
    chmod(daemon.path().c_str(), 0660);
    ASSERT_EQ(chown(daemon.path().c_str(), 0, 4322), 0);
    const temp_dir dir;
    const char *ANONYMOUS = "ftp://host/file";
    std::ofstream(daemon.path() + ".turn").close();
    chmod((daemon.path() + ".turn").c_str(), 0666);
    chmod((dir / ".").c_str(), 0755);
    const std::vector<std::string> commands[] = {{"ping"},
                                                 {"get", ANONYMOUS, "/tmp/"},
                                                 {"put", dir.file("f", "0123456789"), ANONYMOUS},
                                                 {"info", ANONYMOUS}};
    for (std::vector<std::string> words : commands) {
        words.insert(words.end(), {"--json", "--socket", daemon.path()});
        const outcome_t outcome = run_as(4321, words);
        if (outcome.status == OUT_OF_REACH)
            GTEST_SKIP() << "this checkout lies where no other user gets to";
        expect(outcome, 11, "denied-socket");
        EXPECT_EQ(outcome.err, "ftpctl: this user may not use " + daemon.path() +
                                   "; it belongs to group 4322: add the user to it\n");
    }
}

TEST(ExitStatus, Is12WhenTheRemoteFileHasAnotherSize)
{
    const temp_dir dir;
    job_script script = script_of({idle(), ended(2, 0, 10, 10), idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(9);
    expect(played(script, {"put", "--json", "--verify", dir.file("f", "0123456789"), URL}).outcome, 12,
           "different-size");
}

TEST(ExitStatus, Is22WithoutAJobToCancel)
{
    job_script script = script_of({idle()});
    script.cancel = {{1, 2}, 0};
    expect(played(script, {"cancel", "--json"}).outcome, 22, "not-running");
}
