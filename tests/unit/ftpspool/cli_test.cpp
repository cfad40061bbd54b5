#include "commands_fixture.h"

using Cli = Commands;

TEST_F(Cli, RefusesUnknownWords)
{
    EXPECT_THAT(refusal({"lst"}),
                AllOf(StartsWith("2 ftpspool: "), HasSubstr("'lst'"), HasSubstr("see ftpspool --help")));
    EXPECT_THAT(refusal({"list", "secret", "more"}),
                AllOf(HasSubstr("'secret'"), HasSubstr("see ftpspool list --help")));
    EXPECT_THAT(refusal({"list", "--state", "lost"}), HasSubstr("must be queued, waiting"));
    EXPECT_THAT(refusal({"run", "--pause", "0"}), HasSubstr("must be a duration above 0"));
    EXPECT_THAT(refusal({}), StartsWith("2 ftpspool: "));
    EXPECT_THAT(run({"--version"}).out, StartsWith("ftpspool 0."));
    EXPECT_THAT(run({"--help"}).out, HasSubstr("Exit statuses"));
}

TEST_F(Cli, ReportsUsageErrorsInJsonAsWell)
{
    const said_t said = run({"clear", "--json"});
    EXPECT_EQ(said.status, 2);
    const json object = json::parse(said.out);
    EXPECT_EQ(object["command"], "clear");
    EXPECT_EQ(object["error"], "usage");
}
