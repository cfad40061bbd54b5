#include "ftpspool/choice.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace
{

class Choice : public testing::Test
{
protected:
    pauses_t pauses{1000, 1000, [] { return 0.0; }};
    chooser_t chooser;

    int64_t id_of(const std::vector<ready_t> &lines, int64_t now_ms = 0)
    {
        const choice_t choice = chooser.choose(lines, pauses, now_ms);
        return choice.entry ? choice.entry->id : 0;
    }
};

} // namespace

TEST_F(Choice, WithoutEntriesChoosesNone)
{
    const choice_t choice = chooser.choose({}, pauses, 0);
    EXPECT_FALSE(choice.entry);
    EXPECT_EQ(choice.wake_ms, 0);
}

TEST_F(Choice, TakesServersInTurn)
{
    const std::vector<ready_t> lines = {{1, 10, 0, false}, {2, 11, 0, false}, {3, 12, 0, false}};
    std::vector<int64_t> chosen;
    for (int i = 0; i < 6; i++)
        chosen.push_back(id_of(lines));
    EXPECT_THAT(chosen, ElementsAre(10, 11, 12, 10, 11, 12));
}

TEST_F(Choice, PutsAHigherPriorityBeforeTheTurn)
{
    const std::vector<ready_t> lines = {{1, 10, 0, false}, {2, 11, 1, false}};
    EXPECT_EQ(id_of(lines), 11);
    EXPECT_EQ(id_of(lines), 11);
    EXPECT_EQ(id_of({{1, 10, -1, false}, {2, 11, -2, false}}), 10);
}

TEST_F(Choice, AmongEqualsTakesTheOldest) { EXPECT_EQ(id_of({{1, 11, 0, false}, {2, 10, 0, false}}), 10); }

TEST_F(Choice, SkipsPausedServersUnlessAnEntryIsUrged)
{
    pauses.failed(1, 0);
    const std::vector<ready_t> lines = {{1, 10, 5, false}, {2, 11, 0, false}};
    EXPECT_EQ(id_of(lines, 999), 11);
    EXPECT_EQ(id_of(lines, 1000), 10);
    EXPECT_EQ(id_of({{1, 10, 5, true}, {2, 11, 0, false}}, 0), 10);
}

TEST_F(Choice, TellsWhenTheFirstPauseEnds)
{
    pauses.failed(1, 500);
    pauses.failed(2, 0);
    pauses.failed(3, 800);
    const choice_t choice =
        chooser.choose({{1, 10, 0, false}, {2, 11, 0, false}, {3, 12, 0, false}}, pauses, 999);
    EXPECT_FALSE(choice.entry);
    EXPECT_EQ(choice.wake_ms, 1000);
}
