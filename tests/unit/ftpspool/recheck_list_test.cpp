#include "ftpspool/recheck_list.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class RecheckList : public testing::Test
{
protected:
    recheck_list_t rechecks;
    std::vector<std::string> offered;

    std::vector<std::string> offer(int64_t now_ms, bool is_taken)
    {
        offered.clear();
        rechecks.offer_due(now_ms, [&](const std::string &path) {
            offered.push_back(path);
            return is_taken;
        });
        return offered;
    }
};

} // namespace

TEST_F(RecheckList, OffersEachFileAfterItsPause)
{
    EXPECT_EQ(rechecks.next_ms(), 0);
    rechecks.put("a", 1000);
    rechecks.put("b", 1050);
    EXPECT_EQ(rechecks.next_ms(), 1100);
    EXPECT_THAT(offer(1099, true), IsEmpty());
    EXPECT_THAT(offer(1100, true), ElementsAre("a"));
    EXPECT_EQ(rechecks.next_ms(), 1150);
    EXPECT_THAT(offer(5000, true), ElementsAre("b"));
    EXPECT_EQ(rechecks.next_ms(), 0);
}

TEST_F(RecheckList, LengthensThePauseUntilItEndsWithTheRound)
{
    rechecks.put("a", 0);
    int64_t now_ms = 0;
    std::vector<int64_t> pauses;
    for (int i = 0; i < 7; i++) {
        pauses.push_back(rechecks.next_ms() - now_ms);
        now_ms = rechecks.next_ms();
        EXPECT_THAT(offer(now_ms, false), ElementsAre("a"));
    }
    EXPECT_THAT(pauses, ElementsAre(100, 400, 1600, 6400, 30000 - 8500, 30000, 30000));
    EXPECT_TRUE(rechecks.has("a"));
    rechecks.put("a", now_ms); // something has happened
    EXPECT_EQ(rechecks.next_ms(), now_ms + 100);
}

// A device must not be woken for them more often than every ten seconds.
TEST_F(RecheckList, LooksRarelyAtFilesThatStayOpen)
{
    for (const int64_t minutes : {1, 2, 10}) {
        for (int64_t begin_ms = 0; begin_ms < 30000; begin_ms += 1111) {
            rechecks = {};
            for (const char *name : {"a", "b", "c"})
                rechecks.put(name, begin_ms);
            int64_t looks = 0;
            const int64_t end_ms = begin_ms + minutes * 60000;
            for (; rechecks.next_ms() <= end_ms; looks++)
                offer(rechecks.next_ms(), false);
            EXPECT_LE(looks, minutes * 6) << begin_ms;
            EXPECT_GE(looks, minutes * 2) << begin_ms;
        }
    }
}

TEST_F(RecheckList, LooksAtAllFilesThatStayOpenAtTheSameTimes)
{
    for (int i = 0; i < 64; i++) {
        rechecks.put(std::to_string(i), i * 777);
        offer(i * 777, false);
    }
    while (rechecks.next_ms() < 120000)
        offer(rechecks.next_ms(), false);
    EXPECT_EQ(rechecks.next_ms(), 120000);
    EXPECT_EQ(offer(120000, false).size(), 64u);
    EXPECT_EQ(rechecks.next_ms(), 150000);
}

TEST_F(RecheckList, HoldsSixtyFourFilesAtMost)
{
    for (int i = 0; i < 64; i++)
        EXPECT_TRUE(rechecks.put(std::to_string(i), 0));
    EXPECT_FALSE(rechecks.put("one more", 0));
    EXPECT_TRUE(rechecks.put("7", 0));
    EXPECT_EQ(offer(1000, true).size(), 64u);
    EXPECT_TRUE(rechecks.put("one more", 0));
}
