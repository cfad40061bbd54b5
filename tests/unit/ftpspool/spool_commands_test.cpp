#include "commands_fixture.h"

using SpoolCommands = Commands;

TEST_F(SpoolCommands, ListPrintsALineOrAnObjectForEach)
{
    EXPECT_EQ(run({"list"}).status, 0);
    run({"add", file, "ftp://host/f"});
    run({"add", file, "ftp://host/g"});
    run({"hold", "2"});
    const std::string first = "     1  queued        10 B  " + file + " -> ftp://host/f\n";
    const std::string second = "     2  held          10 B  " + file + " -> ftp://host/g\n";
    EXPECT_EQ(run({"list"}).out, first + second);
    EXPECT_EQ(run({"list", "--state", "held"}).out, second);
    EXPECT_EQ(json::parse(run({"list", "--json", "--state", "held"}).out)["id"], 2);
}

TEST_F(SpoolCommands, ShowPrintsAllFactsOfTheNamedEntries)
{
    run({"add", file, "ftp://host/f"});
    EXPECT_THAT(run({"show", "1"}).out, StartsWith("entry: 1\nstate: queued\n"));
    EXPECT_EQ(json::parse(run({"--json", "show", "1"}).out)["url"], "ftp://host/f");
    EXPECT_EQ(refusal({"show", "2"}), "6 ftpspool: there is no entry 2\n");
}

TEST_F(SpoolCommands, ChangeAllNamedEntriesOrNone)
{
    for (int i = 0; i < 3; i++)
        run({"add", file, "ftp://host/f"});
    EXPECT_EQ(run({"hold", "1", "2"}).out, "2 entries held\n");
    EXPECT_EQ(refusal({"hold", "3", "4"}), "6 ftpspool: there is no entry 4\n");
    EXPECT_EQ(found(3).state, state_t::QUEUED);
    EXPECT_EQ(refusal({"release", "1", "3"}), "2 ftpspool: entry 3 is queued, not held\n");
    EXPECT_EQ(found(1).state, state_t::HELD);
    EXPECT_EQ(run({"release", "1"}).out, "1 entry released\n");
    EXPECT_EQ(refusal({"retry", "2"}), "2 ftpspool: entry 2 is held, not queued, waiting or failed\n");
    EXPECT_EQ(run({"retry", "3"}).out, "1 entry queued again\n");
    EXPECT_TRUE(found(3).urged);
    EXPECT_EQ(run({"remove", "1", "2"}).out, "2 entries removed\n");
    open().done(3, "", NOW_S);
    EXPECT_EQ(run({"clear", "--done"}).out, "1 entry removed\n");
    EXPECT_EQ(run({"list"}).out, "");
}

TEST_F(SpoolCommands, ReportFailuresInJsonAsWell)
{
    const said_t said = run({"--json", "show", "9"});
    EXPECT_EQ(said.status, 6);
    EXPECT_EQ(said.err, "ftpspool: there is no entry 9\n");
    const json object = json::parse(said.out);
    EXPECT_EQ(object["command"], "show");
    EXPECT_EQ(object["error"], "not-found");
    EXPECT_EQ(object["ids"], json({9}));
}

TEST_F(SpoolCommands, RefuseADamagedDatabaseAndLeaveItUnchanged)
{
    std::filesystem::create_directory(paths.folder);
    fill(paths.database(), std::string(8192, 'x'));
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {"add", file, "ftp://host/f"}, {"list"}, {"show", "1"}, {"remove", "1"}, {"clear", "--done"}})
        EXPECT_EQ(refusal(words), "1 ftpspool: " + paths.database() + ": file is not a database\n");
    EXPECT_EQ(content_of(paths.database()), std::string(8192, 'x'));
}

TEST_F(SpoolCommands, ReportAFullOutput)
{
    run({"add", file, "ftp://host/f"});
    const std::string list = FTPCTL " --spool " + paths.folder + " list >/dev/full 2>" + (dir / "err");
    EXPECT_NE(system(list.c_str()), 0);
    EXPECT_EQ(content_of(dir / "err"), "ftpspool: cannot write to standard output\n");
}
