#include "ftpspool/event_output.h"

#include "failing_calls.h"
#include "spool_fixture.h"

#include <cerrno>
#include <cstdlib>
#include <nlohmann/json.hpp>

using json = nlohmann::json;
using testing::Not;

namespace
{

constexpr int64_t LONG_MS = 60000;

class EventOutput : public Spool
{
protected:
    std::string out = dir / "out";
    entry_t entry = entry_to("ftp://host/f");
    void SetUp() override
    {
        entry.id = 7;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
    }
    void TearDown() override
    {
        if (!is_taken_)
            said();
    }
    // What has been printed, then what was said on standard error.
    std::pair<std::string, std::string> said()
    {
        is_taken_ = true;
        return {testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
    }

private:
    bool is_taken_ = false;
};

std::string not_run(const entry_t &entry)
{
    return "ftpspool: --exec: 300 events wait already, not run for: 7 done: " + entry.local +
           " -> ftp://host/f\n";
}

} // namespace

TEST_F(EventOutput, PrintsALineAndRunsACommandForEachEventInOrder)
{
    {
        event_output_t events(false, "echo $FTPSPOOL_EVENT >>" + out, LONG_MS);
        events.tell_start({2, 0, 0, 0, 0, 0, 1});
        events.tell("sending", entry, "");
        events.tell("waiting", entry, "why");
    }
    const auto [printed, errors] = said();
    const std::string names = file + " -> ftp://host/f";
    EXPECT_EQ(printed,
              "started (2 queued, 1 failed)\n7 sending: " + names + "\n7 waiting: " + names + " (why)\n");
    EXPECT_EQ(errors, "");
    EXPECT_EQ(content_of(out), "started\nsending\nwaiting\n");
}

TEST_F(EventOutput, PassesTheEventToTheCommandInVariables)
{
    entry.local = "/data/\xff'a b";
    {
        event_output_t events(true, "env >>" + out, LONG_MS);
        events.tell("failed", entry, "why not");
    }
    const std::string printed = said().first;
    const json object = json::parse(printed);
    const std::string variables = content_of(out);
    for (const std::string &line :
         {std::string("EVENT=failed"), std::string("ID=7"), std::string("LOCAL=/data/\xff'a b"),
          std::string("URL=ftp://host/f"), std::string("MESSAGE=why not"), "TIME=" + object["time"].dump(),
          "JSON=" + printed.substr(0, printed.size() - 1)})
        EXPECT_THAT(variables, HasSubstr("FTPSPOOL_" + line + "\n"));
    EXPECT_EQ(object["local"], "/data/\xEF\xBF\xBD'a b");
    EXPECT_NEAR(object["time"].get<double>(), static_cast<double>(time(nullptr)), 60);
}

TEST_F(EventOutput, PassesNoStaleVariablesToTheCommand)
{
    setenv("FTPSPOOL_ID", "stale", 1);
    {
        event_output_t events(true, "env >" + out, LONG_MS);
        events.tell_start({});
    }
    unsetenv("FTPSPOOL_ID");
    EXPECT_THAT(content_of(out), Not(HasSubstr("FTPSPOOL_ID")));
    EXPECT_THAT(content_of(out), HasSubstr("FTPSPOOL_EVENT=started\n"));
}

TEST_F(EventOutput, WaitsForNothingWithoutACommand)
{
    event_output_t events(false, "");
    events.tell("done", entry, "");
    events.step();
    EXPECT_EQ(events.fd(), -1);
}

TEST_F(EventOutput, DropsEventsBeyondTheLimitWithAMessage)
{
    {
        event_output_t events(false, "sleep 1000", 0);
        for (size_t i = 0; i < event_output_t::COMMANDS_MOST + 2; i++)
            events.tell("done", entry, "");
    }
    EXPECT_EQ(said().second, not_run(entry) + not_run(entry) +
                                 "ftpspool: --exec: the running command was asked to end\n"
                                 "ftpspool: --exec: interrupted, not run for 299 more\n");
}

TEST_F(EventOutput, ReportsACommandThatFails)
{
    {
        event_output_t events(false, "exit 3", LONG_MS);
        events.tell("done", entry, "");
    }
    EXPECT_EQ(said().second, "ftpspool: --exec: the command ended with status 3 for: 7 done: " + file +
                                 " -> ftp://host/f\n");
}

TEST_F(EventOutput, KeepsWhatACommandPrintsOutOfTheEvents)
{
    {
        event_output_t events(true, "echo printed", LONG_MS);
        events.tell("done", entry, "");
    }
    const auto [printed, errors] = said();
    EXPECT_EQ(json::parse(printed)["event"], "done");
    EXPECT_EQ(errors, "printed\n");
}

TEST_F(EventOutput, ReportsAFailedForkOnceAndRunsTheCommandLater)
{
    {
        event_output_t events(false, "echo $FTPSPOOL_EVENT >>" + out, LONG_MS);
        {
            const failing_call fork("fork", EAGAIN);
            events.tell("sending", entry, "");
            events.step();
            events.tell("done", entry, "");
        }
        EXPECT_FALSE(std::filesystem::exists(out));
        events.step();
    }
    EXPECT_EQ(said().second, "ftpspool: --exec: /bin/sh: Resource temporarily unavailable\n");
    EXPECT_EQ(content_of(out), "sending\ndone\n");
}

TEST_F(EventOutput, IsOneLineWhateverAFileIsCalled)
{
    entry.local = "/a\nb";
    {
        event_output_t events(false, "printf %s \"$FTPSPOOL_LOCAL\" >" + out, LONG_MS);
        events.tell("sending", entry, "");
    }
    EXPECT_EQ(said().first, "7 sending: /a?b -> ftp://host/f\n");
    EXPECT_EQ(content_of(out), "/a\nb");
}
