// --json for each command, and other behaviour that scripts rely on.
#include "played.h"

#include <sstream>

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

// A command's JSON object, checked to have every key.
json object_of(const outcome_t &outcome)
{
    const json object = json::parse(outcome.out);
    EXPECT_THAT(keys_of(object), ALL_KEYS);
    return object;
}

class ForScripts : public testing::Test
{
protected:
    temp_dir dir;
    std::string file = dir.file("g", "0123456789");
};

} // namespace

TEST_F(ForScripts, ASuccessOfEachCommandIsOneObject)
{
    const struct {
        job_script script;
        std::vector<std::string> words;
        bool is_answer; // printed even with --quiet
    } cases[] = {
        {script_of({idle(), ended(1, 0, 7, 7)}), {"get", "ftp://host/f", dir / "f"}, false},
        {script_of({idle(), running(2, 10, 5), ended(2, 0, 10, 10)}), {"put", file, "ftp://host/f"}, false},
        {finding(10), {"info", "ftp://host/f"}, true},
        {script_of({idle()}), {"ping"}, false},
        {script_of({idle()}), {"state"}, true},
        {script_of({running(2, 10, 4)}), {"cancel"}, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.words[0]);
        std::vector<std::string> words = c.words;
        words.emplace_back("--json");
        const played play(c.script, words);
        EXPECT_EQ(play.outcome.status, 0) << play.outcome.err;
        const json object = object_of(play.outcome);
        EXPECT_EQ(object["command"], words[0]);
        EXPECT_EQ(object["status"], 0);
        EXPECT_EQ(object["error"], nullptr);
        EXPECT_FALSE(object["message"].get<std::string>().empty());
        EXPECT_EQ(std::count(play.outcome.out.begin(), play.outcome.out.end(), '\n'), 1);
        EXPECT_EQ(play.outcome.err, "");
        words.emplace_back("--quiet");
        EXPECT_EQ(played(c.script, words).outcome.out.empty(), !c.is_answer);
        words.erase(words.end() - 2);
        const outcome_t quiet = played(c.script, words).outcome;
        EXPECT_EQ(quiet.out.empty(), !c.is_answer);
        EXPECT_EQ(quiet.err, "");
    }
}

TEST_F(ForScripts, AFailedDownloadIsReportedEvenQuietlyWithBothEndsAndItsJob)
{
    const played play(script_of({idle(), failed(1, 16, 67, 530)}),
                      {"--quiet", "--json", "get", "ftp://anna@host/f", dir / "f"});
    const json object = object_of(play.outcome);
    EXPECT_EQ(object["error"], "login-refused");
    EXPECT_EQ(object["local"], dir / "f");
    EXPECT_EQ(object["remote"], "ftp://anna@host/f");
    EXPECT_EQ(object["job"]["kind"], "download");
    EXPECT_EQ(object["job"]["result"], 16);
    EXPECT_EQ(object["job"]["progress"]["curl_code"], 67);
    EXPECT_EQ(object["job"]["progress"]["response_code"], 530);
    EXPECT_EQ(object["upload"], nullptr);
    EXPECT_EQ(object["file"], nullptr);
}

TEST_F(ForScripts, ProgressIsPrintedOnRequest)
{
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

TEST_F(ForScripts, AProxysPasswordComesFromTheEnvironment)
{
    fake_daemon daemon(script_of({idle(), ended(1, 0, 7, 7)}));
    const outcome_t outcome =
        run({"get", "ftp://host/f", dir / "f", "--proxy", "peter@gate", "--socket", daemon.path()},
            {"FTPCTL_PROXY_PASSWORD=p w"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_STREQ(daemon.requests().at(0).proxy_host, "peter:p%20w@gate");
}
