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

TEST_F(RecheckList, DoublesThePauseUpToHalfAMinute)
{
    rechecks.put("a", 0);
    int64_t now_ms = 0;
    std::vector<int64_t> pauses;
    for (int i = 0; i < 11; i++) {
        pauses.push_back(rechecks.next_ms() - now_ms);
        now_ms = rechecks.next_ms();
        EXPECT_THAT(offer(now_ms, false), ElementsAre("a"));
    }
    EXPECT_THAT(pauses, ElementsAre(100, 200, 400, 800, 1600, 3200, 6400, 12800, 25600, 30000, 30000));
    rechecks.put("a", now_ms); // something has happened
    EXPECT_EQ(rechecks.next_ms(), now_ms + 100);
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
