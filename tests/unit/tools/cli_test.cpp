#include "tools/cli.h"

#include "program.h"
#include "tools/jobs.h"
#include "tools/notices.h"
#include "tools/watch.h"

#include <gmock/gmock.h>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

static options_t parsed(std::vector<const char *> words)
{
    words.insert(words.begin(), "ftpctl");
    options_t options;
    EXPECT_EQ(cli_parse(static_cast<int>(words.size()), words.data(), options), std::nullopt);
    return options;
}

TEST(CommandLine, NamesACommand)
{
    EXPECT_EQ(parsed({"ping"}).run, job_ping);
    EXPECT_EQ(parsed({"state"}).run, job_state);
    EXPECT_EQ(parsed({"cancel"}).run, job_cancel);
    EXPECT_EQ(parsed({"watch"}).run, watch);
    EXPECT_EQ(parsed({"listen"}).run, notices_listen);
    EXPECT_EQ(parsed({"get", "u", "f"}).run, job_get);
    EXPECT_EQ(parsed({"put", "f", "u"}).run, job_put);
    EXPECT_EQ(parsed({"info", "u"}).run, job_info);
}

TEST(CommandLine, GetAndPutNameSourceThenTarget)
{
    EXPECT_EQ(parsed({"get", "u", "f"}).url, "u");
    EXPECT_EQ(parsed({"get", "u", "f"}).file, "f");
    EXPECT_EQ(parsed({"put", "f", "u"}).url, "u");
    EXPECT_EQ(parsed({"put", "f", "u"}).file, "f");
}

TEST(CommandLine, HasTheFixedSocketsAsDefaults)
{
    EXPECT_EQ(parsed({"ping"}).socket, "/var/run/ftp.sock");
    EXPECT_EQ(parsed({"listen"}).notify_socket, "/var/run/marlox_nm.sock");
    EXPECT_EQ(parsed({"ping"}).timeout(), std::nullopt);
}

TEST(CommandLine, TakesCommonOptionsBeforeAndBehindTheCommand)
{
    for (const options_t &options :
         {parsed({"--json", "--quiet", "--socket", "/s", "--timeout", "1.5", "ping"}),
          parsed({"ping", "--json", "--quiet", "--socket", "/s", "--timeout", "1.5"})}) {
        EXPECT_TRUE(options.json);
        EXPECT_TRUE(options.quiet);
        EXPECT_EQ(options.socket, "/s");
        EXPECT_EQ(options.timeout(), std::chrono::milliseconds(1500));
    }
}

TEST(CommandLine, ATimeoutBeyondAllMeasureIsALongOne)
{
    for (const char *seconds : {"1e9", "1e300", "nan"})
        EXPECT_EQ(parsed({"ping", "--timeout", seconds}).timeout(), std::chrono::seconds(1000000000))
            << seconds;
}

TEST(CommandLine, TakesEveryOptionOfAPut)
{
    const options_t options = parsed({"put", "f", "u", "--user", "anna", "--password-file", "p", "--active",
                                      "--proxy", "[::1]:80", "--pin", "sha1:00", "--save-identity", "i",
                                      "--resume", "--no-wait", "--no-overwrite", "--protocol", "5"});
    EXPECT_EQ(options.user, "anna");
    EXPECT_EQ(options.password_file, "p");
    EXPECT_TRUE(options.active);
    EXPECT_EQ(options.proxy, "[::1]:80");
    EXPECT_EQ(options.pin, "sha1:00");
    EXPECT_EQ(options.save_identity, "i");
    EXPECT_TRUE(options.resume);
    EXPECT_TRUE(options.no_wait);
    EXPECT_TRUE(options.no_overwrite);
    EXPECT_EQ(options.protocol, 5u);
}

TEST(CommandLine, AnEmptyUserIsAUser) { EXPECT_EQ(parsed({"get", "u", "f", "--user", ""}).user, ""); }

TEST(CommandLine, AWrongOneExitsWith2AndSaysWhy)
{
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"fetch"},
        {"get"},
        {"get", "u"},
        {"get", "u", "f", "more"},
        {"get", "u", "f", "--resume"},
        {"ping", "--password", "x"},
        {"put", "f", "u", "--protocol", "3"},
        {"listen", "--count", "0"},
        {"ping", "--timeout", "0"},
        {"ping", "--timeout", "x"},
        {"info", "u", "--proxy", "p"},
    };
    for (const auto &words : cases) {
        const outcome_t outcome = run(words);
        EXPECT_EQ(outcome.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(outcome.out, "") << testing::PrintToString(words);
        EXPECT_THAT(outcome.err, EndsWith("\n")) << testing::PrintToString(words);
    }
}

TEST(CommandLine, HelpTellsOfUrlsPasswordsAndExitStatuses)
{
    const outcome_t outcome = run({"--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const char *part :
         {"ftpes", "FTPCTL_PASSWORD", "--password-file", "Exit status:\n", "36  FTPCD_ERR_NETWORK\n"})
        EXPECT_THAT(outcome.out, HasSubstr(part));
    EXPECT_EQ(run({"put", "--help"}).status, 0);
}

TEST(CommandLine, TellsItsVersion)
{
    const outcome_t outcome = run({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, testing::MatchesRegex("ftpctl [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}
