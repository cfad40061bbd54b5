// Start, finish, join and cancel in every order. Each script has its complete list of stories: all of them
// must be seen, and no other.
#include "daemon.h"

#include <gmock/gmock.h>

using stories = std::set<std::string>;

namespace
{

struct case_t {
    const char *script;
    stories expected;
};

void expect_stories(const case_t &tested)
{
    SCOPED_TRACE(tested.script);
    const seen_t seen = run_in_every_order(tested.script);
    EXPECT_EQ(seen.fault, "");
    EXPECT_FALSE(seen.workers_left);
    EXPECT_EQ(seen.stories, tested.expected);
    printf("%-6s %6zu runs, %6zu states, %zu stories\n", tested.script, seen.explored.runs,
           seen.explored.states, seen.stories.size());
}

} // namespace

TEST(Interleavings, AFinishedJobIsAnnouncedOnce)
{
    for (const case_t &tested :
         {case_t{"", {""}}, //
          case_t{"d", {"d0 !d0"}}, case_t{"u", {"u0 !u0"}}, case_t{"i", {"i0 !i0"}}, case_t{"z", {"z0 !u0"}},
          case_t{"y", {"y0 !i0"}}, case_t{"f", {"f5"}}, case_t{"fd", {"f5 d0 !d0"}}})
        expect_stories(tested);
}

// The second start finds the worker ended but not joined: both jobs are lost, and a third start succeeds.
TEST(Interleavings, AStartBetweenTheEndAndItsReportLosesBothJobsAndNoOther)
{
    expect_stories({"dd", {"d0 !d0 d0 !d0", "d0 d3 !d0", "d0 d5"}});
    expect_stories({"ui", {"u0 !u0 i0 !i0", "u0 i3 !u0", "u0 i5"}});
    expect_stories({"df", {"d0 !d0 f5", "d0 f3 !d0", "d0 f5"}});
    expect_stories({"ddd",
                    {"d0 !d0 d0 !d0 d0 !d0", "d0 !d0 d0 d3 !d0", "d0 !d0 d0 d5", //
                     "d0 d3 !d0 d0 !d0", "d0 d3 d3 !d0", "d0 d3 d5",             //
                     "d0 d5 d0 !d0"}});
    expect_stories({"Dd.c", {"D0 d3 c0"}});
}

// Zixi's second start is refused as well, but its worker is still joined: the notice is the refused start's.
TEST(Interleavings, AZixiStartBetweenTheEndAndItsReportIsWhatIsAnnounced)
{
    expect_stories({"zz", {"z0 !u0 z0 !u0", "z0 z3 !u0", "z0 z5 !u5"}});
    expect_stories({"zy", {"z0 !u0 y0 !i0", "z0 y3 !u0", "z0 y5 !i5"}});
    expect_stories({"yzz",
                    {"y0 !i0 z0 !u0 z0 !u0", "y0 !i0 z0 z3 !u0", "y0 !i0 z0 z5 !u5", //
                     "y0 z3 !i0 z0 !u0", "y0 z3 z3 !i0", "y0 z3 z5 !u5",             //
                     "y0 z5 !u5 z0 !u0"}});
}

// c0: cancelled. c2: too late, no job ran; a cancel between a job's end and its report loses the report.
TEST(Interleavings, ACancelledJobIsNotAnnounced)
{
    for (const char *job : {"d", "u", "i"}) {
        const std::string start = std::string(job) + "0";
        expect_stories(
            {(std::string(job) + "c").c_str(), {start + " c0", start + " c2", start + " !" + job + "0 c2"}});
    }
    expect_stories({"zc", {"z0 c0", "z0 c2", "z0 !u0 c2"}});
    expect_stories({"Dc", {"D0 c0"}});
    expect_stories({"Zc", {"Z0 c0"}});
    expect_stories({"D.cc", {"D0 c0 c2"}});
    expect_stories({"dcc", {"d0 c0 c2", "d0 c2 c2", "d0 !d0 c2 c2"}});
    expect_stories({"ddc",
                    {"d0 !d0 d0 !d0 c2", "d0 !d0 d0 c2", "d0 !d0 d0 c0", //
                     "d0 d3 !d0 c2", "d0 d3 c2", "d0 d3 c0",             //
                     "d0 d5 c2"}});
}

TEST(Interleavings, ACancelDoesNotReachTheNextJob)
{
    expect_stories({"cd", {"c2 d0 !d0"}});
    expect_stories({"Dcd", {"D0 c0 d0 !d0"}});
    expect_stories({"Zcz", {"Z0 c0 z0 !u0"}});
    expect_stories({"dcd", {"d0 c0 d0 !d0", "d0 c2 d0 !d0", "d0 !d0 c2 d0 !d0"}});
    expect_stories({"zcz", {"z0 c0 z0 !u0", "z0 c2 z0 !u0", "z0 !u0 c2 z0 !u0"}});
}

// A job of the inactive engine ends unreported.
TEST(Interleavings, TheEnginesDoNotDisturbEachOther)
{
    expect_stories({"dz", {"d0 !d0 z0 !u0", "d0 z0 !u0"}});
    expect_stories({"zd", {"z0 !u0 d0 !d0", "z0 d0 !d0"}});
    expect_stories({"DZcq", {"D0 Z0 c0"}});
    expect_stories({"dzc",
                    {"d0 !d0 z0 !u0 c2", "d0 !d0 z0 c2", "d0 !d0 z0 c0", //
                     "d0 z0 !u0 c2", "d0 z0 c2", "d0 z0 c0"}});
    expect_stories({"dyd",
                    {"d0 !d0 y0 !i0 d0 !d0", "d0 !d0 y0 d0 !d0", //
                     "d0 y0 !i0 d3 !d0", "d0 y0 d3 !d0",         //
                     "d0 y0 !i0 d5", "d0 y0 d5"}});
}

TEST(Interleavings, TheStateIsThatOfOneMoment)
{
    expect_stories({"ds", {"d0 s110 !d0", "d0 s010 !d0", "d0 !d0 s010"}});
    expect_stories({"zs", {"z0 s120 !u0", "z0 s020 !u0", "z0 !u0 s020"}});
    expect_stories({"Dcs", {"D0 c0 s011"}});
}

TEST(Interleavings, TheDaemonEndsWhileJobsRun)
{
    expect_stories({"Dq", {"D0"}});
    expect_stories({"DZq", {"D0 Z0"}});
    expect_stories({"dq", {"d0", "d0 !d0"}});
}
