#include "ftpctl/options.h"

#include "ftpctl/commands.h"
#include "ftpctl/watch.h"
#include "program.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sstream>

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

// The words of a line; '' is an empty word.
static std::vector<std::string> words_of(const std::string &line)
{
    std::vector<std::string> words;
    std::istringstream rest(line);
    for (std::string word; rest >> word;)
        words.push_back(word == "''" ? "" : word);
    return words;
}

static options_t parsed(const std::string &line)
{
    const std::vector<std::string> words = words_of("ftpctl " + line);
    std::vector<const char *> argv;
    for (const std::string &word : words)
        argv.push_back(word.c_str());
    options_t options;
    EXPECT_EQ(cli_parse(static_cast<int>(argv.size()), argv.data(), options), std::nullopt);
    return options;
}

TEST(CommandLine, BeginsWithTheNameOfACommand)
{
    EXPECT_EQ(parsed("ping").run, command_ping);
    EXPECT_EQ(parsed("state").run, command_state);
    EXPECT_EQ(parsed("cancel").run, command_cancel);
    EXPECT_EQ(parsed("watch").run, command_watch);
    EXPECT_EQ(parsed("listen").run, command_listen);
    EXPECT_EQ(parsed("get u f").run, command_get);
    EXPECT_EQ(parsed("put f u").run, command_put);
    EXPECT_EQ(parsed("info u").run, command_info);
    EXPECT_EQ(parsed("identity u").run, command_identity);
    EXPECT_EQ(parsed("identity u").command, "identity");
}

TEST(CommandLine, GetHasAUrlAndPerhapsAFile)
{
    EXPECT_EQ(parsed("get u f").url, "u");
    EXPECT_THAT(parsed("get u f").files, ElementsAre("f"));
    EXPECT_THAT(parsed("get u").files, IsEmpty());
    EXPECT_THAT(parsed("get u -").files, ElementsAre("-"));
    EXPECT_THAT(parsed("get u - --json").files, ElementsAre("-"));
}

TEST(CommandLine, PutHasFilesAndThenAUrl)
{
    EXPECT_EQ(parsed("put f u").url, "u");
    EXPECT_THAT(parsed("put f u").files, ElementsAre("f"));
    for (const options_t &options :
         {parsed("put a b c u --resume --timeout 5"), parsed("put --resume --timeout 5 a b c u")}) {
        EXPECT_EQ(options.url, "u");
        EXPECT_THAT(options.files, ElementsAre("a", "b", "c"));
    }
}

TEST(CommandLine, HasTheFixedSocketsAsDefaults)
{
    EXPECT_EQ(parsed("ping").socket, "/var/run/ftp.sock");
    EXPECT_EQ(parsed("listen").notify_socket, "/var/run/marlox_nm.sock");
    EXPECT_EQ(parsed("ping").timeout, std::nullopt);
    EXPECT_EQ(parsed("get u").wait_turn, std::chrono::minutes(10));
    EXPECT_EQ(parsed("get u --wait-turn 0").wait_turn, milliseconds(0));
}

TEST(CommandLine, AcceptsCommonOptionsBeforeAndAfterTheCommand)
{
    for (const options_t &options : {parsed("--json --quiet --socket /s --timeout 1.5 ping"),
                                     parsed("ping --json --quiet --socket /s --timeout 1.5")}) {
        EXPECT_TRUE(options.json);
        EXPECT_TRUE(options.quiet);
        EXPECT_EQ(options.socket, "/s");
        EXPECT_EQ(options.timeout, milliseconds(1500));
    }
}

TEST(CommandLine, AcceptsEveryOptionOfAPut)
{
    const options_t options = parsed(
        "put f u --user anna --password-file p --active --proxy [::1]:80 --pin sha1:00 --save-identity i "
        "--resume --verify --no-wait --no-overwrite --protocol 5 --proxy-password-file q --json --progress");
    EXPECT_EQ(options.user, "anna");
    EXPECT_EQ(options.password.file, "p");
    EXPECT_TRUE(options.active);
    EXPECT_EQ(options.proxy, "[::1]:80");
    EXPECT_EQ(options.pin, "sha1:00");
    EXPECT_EQ(options.save_identity, "i");
    EXPECT_TRUE(options.resume);
    EXPECT_TRUE(options.verify);
    EXPECT_TRUE(options.progress);
    EXPECT_EQ(options.proxy_password.file, "q");
    EXPECT_TRUE(options.no_wait);
    EXPECT_TRUE(options.no_overwrite);
    EXPECT_EQ(options.protocol, 5u);
    EXPECT_EQ(parsed("put f u --protocol 4").protocol, 4u);
    EXPECT_EQ(parsed("get u f --user ''").user, "") << "an empty user name is one";
}

TEST(CommandLine, MayNameAProfileOfTheServer)
{
    EXPECT_EQ(parsed("get f").profile, "");
    EXPECT_EQ(parsed("get f").profiles, "/etc/ftp_clientd/profiles");
    for (const char *line : {"get f", "put a f", "info f", "identity f"}) {
        const options_t options = parsed(line + std::string(" --profile cam --profiles p"));
        EXPECT_EQ(options.profile, "cam") << line;
        EXPECT_EQ(options.profiles, "p") << line;
        EXPECT_EQ(options.url, "f") << line;
    }
    EXPECT_EQ(parsed("identity --profile cam").url, "");
    for (const char *line :
         {"identity", "get --profile cam", "info --profile cam", "put f --profile cam", "get f --profile a/b",
          "get f --profile ''", "get f --profile .", "ping --profile cam"})
        EXPECT_EQ(run(words_of(line)).status, 2) << line;
}

TEST(CommandLine, AWrongOneExitsWith2AndSaysWhy)
{
    for (const char *line :
         {"", "fetch", "get", "get u f more", "get u f --resume", "ping --password x", "put f u --protocol 3",
          "listen --count 0", "ping --timeout 0", "ping --timeout x", "ping --timeout -1",
          "get u --wait-turn -1", "ping --wait-turn 1", "put u", "put", "get u f --verify",
          "put f u --progress", "info u --proxy p"}) {
        const outcome_t outcome = run(words_of(line));
        EXPECT_EQ(outcome.status, 2) << line;
        EXPECT_EQ(outcome.out, "") << line;
        EXPECT_THAT(outcome.err, EndsWith("\n")) << line;
    }
}

TEST(CommandLine, AWrongOneIsReportedInJsonToo)
{
    const outcome_t outcome = run({"put", "--json", "--what", "f", "u"});
    EXPECT_EQ(outcome.status, 2);
    const auto object = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(object["command"], "put");
    EXPECT_EQ(object["status"], 2);
    EXPECT_EQ(object["error"], "usage");
    EXPECT_EQ("ftpctl: " + object["message"].get<std::string>() + "\n", outcome.err);
    EXPECT_EQ(nlohmann::json::parse(run({"--json"}).out)["command"], nullptr);
}

TEST(CommandLine, AnErrorQuotesOnlyTheWrongWordBecauseOthersMayBePasswords)
{
    EXPECT_EQ(run(words_of("ping --password secret")).err,
              "ftpctl: unexpected '--password'; see ftpctl ping --help\n");
}

TEST(CommandLine, HelpExplainsUrlsPasswordsAndExitStatuses)
{
    const outcome_t outcome = run({"--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const char *part :
         {"\nURLs: ", "ftpes", "FTPCTL_PASSWORD", "--password-file", "\n\nDURATION: seconds ",
          "\n\nCtrl-C cancels ", "Exit status:\n", "36  the transfer failed\n"})
        EXPECT_THAT(outcome.out, HasSubstr(part));
    EXPECT_EQ(run({"put", "--help"}).status, 0);
}

TEST(CommandLine, PrintsItsVersion)
{
    EXPECT_THAT(run({"--version"}).out, testing::MatchesRegex("ftpctl [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}
