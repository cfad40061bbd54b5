// What --json prints, command by command, and what else scripts meet.
#include "played.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sstream>

using json = nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::vector<std::string> keys_of(const json &object)
{
    std::vector<std::string> keys;
    for (const auto &[key, value] : object.items())
        keys.push_back(key);
    return keys; // sorted
}

const auto ALL_KEYS = ElementsAre("command", "error", "file", "identity", "job", "local", "message", "remote",
                                  "state", "status", "upload");

// The object of a command, with every key.
json object_of(const outcome_t &outcome)
{
    const json object = json::parse(outcome.out);
    EXPECT_THAT(keys_of(object), ALL_KEYS);
    return object;
}

} // namespace

TEST(ForScripts, ASuccessOfEachCommandIsOneObject)
{
    const temp_dir dir;
    job_script info = script_of({idle(), ended(3, 0, 0, 0)});
    info.remote_file = remote(10);
    const struct {
        job_script script;
        std::vector<std::string> words;
    } cases[] = {
        {script_of({idle(), ended(1, 0, 7, 7)}), {"get", "ftp://host/f", dir / "f"}},
        {script_of({idle(), ended(2, 0, 10, 10)}), {"put", dir.file("g", "0123456789"), "ftp://host/f"}},
        {info, {"info", "ftp://host/f"}},
        {script_of({idle()}), {"ping"}},
        {script_of({idle()}), {"state"}},
        {script_of({running(2, 10, 4)}), {"cancel"}},
    };
    for (const auto &c : cases) {
        std::vector<std::string> words = c.words;
        words.emplace_back("--json");
        const played play(c.script, words);
        EXPECT_EQ(play.outcome.status, 0) << words[0] << play.outcome.err;
        const json object = object_of(play.outcome);
        EXPECT_EQ(object["command"], words[0]);
        EXPECT_EQ(object["status"], 0);
        EXPECT_EQ(object["error"], nullptr);
        EXPECT_FALSE(object["message"].get<std::string>().empty());
        EXPECT_EQ(std::count(play.outcome.out.begin(), play.outcome.out.end(), '\n'), 1);
        EXPECT_EQ(play.outcome.err, "");
    }
}

TEST(ForScripts, AFailureOfEachCommandIsOneObject)
{
    const temp_dir dir;
    const std::vector<std::vector<std::string>> commands = {{"get", "ftp://host/f", dir / "f"},
                                                            {"put", dir.file("g", ""), "ftp://host/f"},
                                                            {"info", "ftp://host/f"},
                                                            {"identity", "ftps://host"},
                                                            {"ping"},
                                                            {"state"},
                                                            {"cancel"},
                                                            {"watch"}};
    for (std::vector<std::string> words : commands) {
        words.insert(words.end(), {"--json", "--socket", "/nonexistent/ftp.sock"});
        const json object = object_of(run(words));
        EXPECT_EQ(object["command"], words[0]);
        EXPECT_EQ(object["status"], 3) << words[0];
        EXPECT_EQ(object["error"], "no-daemon");
        EXPECT_EQ(object["job"], nullptr);
    }
}

TEST(ForScripts, AListenThatCannotIsOneObject)
{
    const json object = object_of(run({"listen", "--json", "--notify-socket", "/nonexistent/nm.sock"}));
    EXPECT_EQ(object["command"], "listen");
    EXPECT_EQ(object["error"], "local");
}

TEST(ForScripts, ADownloadNamesBothEndsAndItsJob)
{
    const temp_dir dir;
    const played play(script_of({idle(), ended(1, 0, 7, 7)}),
                      {"--json", "get", "ftp://anna@host/f", dir / "f"});
    const json object = object_of(play.outcome);
    EXPECT_EQ(object["local"], dir / "f");
    EXPECT_EQ(object["remote"], "ftp://anna@host/f");
    EXPECT_EQ(object["job"]["kind"], "download");
    EXPECT_EQ(object["job"]["result"], 0);
    EXPECT_EQ(object["job"]["result_name"], "FTPCD_ERR_NONE");
    EXPECT_EQ(object["job"]["progress"]["transferred_bytes"], 7);
    EXPECT_EQ(object["upload"], nullptr);
    EXPECT_EQ(object["file"], nullptr);
}

TEST(ForScripts, AFailedJobHasItsProgressAsWell)
{
    const temp_dir dir;
    const played play(script_of({idle(), failed(1, 16, 67, 530)}),
                      {"--json", "get", "ftp://anna@host/f", dir / "f"});
    const json object = object_of(play.outcome);
    EXPECT_EQ(object["error"], "login-refused");
    EXPECT_EQ(object["job"]["result"], 16);
    EXPECT_EQ(object["job"]["progress"]["curl_code"], 67);
    EXPECT_EQ(object["job"]["progress"]["response_code"], 530);
}

TEST(ForScripts, AStartWithoutWaitingHasNoJobToTellOf)
{
    const temp_dir dir;
    const played play(script_of({idle()}),
                      {"--json", "put", "--no-wait", dir.file("f", ""), "ftp://anna@host/file"});
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_EQ(object_of(play.outcome)["job"], nullptr);
}

TEST(ForScripts, ProgressIsToldOnRequest)
{
    const temp_dir dir;
    const std::string file = dir.file("f", "0123456789");
    const std::deque<state_reply_t> states = {idle(), running(2, 10, 4), ended(2, 0, 10, 10)};
    const played play(script_of(states), {"put", "--json", "--progress", file, "ftp://host/f"});
    std::istringstream lines(play.outcome.out);
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    const json progress = json::parse(line);
    EXPECT_THAT(keys_of(progress), ElementsAre("command", "progress"));
    EXPECT_EQ(progress["command"], "put");
    EXPECT_EQ(progress["progress"]["transferred_bytes"], 4);
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_THAT(keys_of(json::parse(line)), ALL_KEYS);
    EXPECT_FALSE(std::getline(lines, line));
}

TEST(ForScripts, QuietlyOnlyFailuresAndAnswersPrint)
{
    const temp_dir dir;
    const std::string file = dir.file("f", "0123456789");
    job_script info = script_of({idle(), ended(3, 0, 0, 0)});
    info.remote_file = remote(10);
    EXPECT_EQ(
        played(script_of({idle(), ended(2, 0, 10, 10)}), {"--quiet", "--json", "put", file, "ftp://host/f"})
            .outcome.out,
        "");
    EXPECT_EQ(played(script_of({idle()}), {"--quiet", "--json", "ping"}).outcome.out, "");
    EXPECT_EQ(played(script_of({idle()}), {"--quiet", "ping"}).outcome.out, "");
    EXPECT_EQ(object_of(played(script_of({idle()}), {"--quiet", "--json", "state"}).outcome)["status"], 0);
    EXPECT_EQ(object_of(played(info, {"--quiet", "--json", "info", "ftp://host/f"}).outcome)["status"], 0);
    EXPECT_EQ(played(info, {"--quiet", "info", "ftp://host/f"}).outcome.out,
              "ftp://host/f: 10 bytes, 2023-02-09, rw-r--r--\n");
    const played failing(script_of({idle(), failed(2, 16, 67, 530)}),
                         {"--quiet", "--json", "put", file, "ftp://anna@host/f"});
    EXPECT_EQ(object_of(failing.outcome)["error"], "login-refused");
}

TEST(ForScripts, APasswordFileWithoutAUserIsRefused)
{
    played play(script_of({idle()}), {"info", "ftp://host/f", "--password-file", "/dev/null"});
    EXPECT_EQ(play.outcome.status, 2);
    EXPECT_EQ(play.outcome.err, "ftpctl: --password-file: needs a user\n");
    EXPECT_THAT(play.daemon.commands(), IsEmpty());
}

TEST(ForScripts, AProxysPasswordComesFromTheEnvironment)
{
    const temp_dir dir;
    fake_daemon daemon(script_of({idle(), ended(1, 0, 7, 7)}));
    const outcome_t outcome =
        run({"get", "ftp://host/f", dir / "f", "--proxy", "peter@gate", "--socket", daemon.path()},
            {"FTPCTL_PROXY_PASSWORD=p w"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_STREQ(request_of(starts(daemon).at(0)).proxy_host, "peter:p%20w@gate");
}
