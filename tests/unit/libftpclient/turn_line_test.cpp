// The order in which waiting programs get the turn.
#include "process.h"

#include "temp_dir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>

extern "C" {
#include "libftpclient/turn.h"
}

class Line : public testing::Test
{
protected:
    temp_dir dir;
    std::string path = dir / "ftp.sock.turn";
    std::vector<std::unique_ptr<turn_taker>> takers; // in order of arrival; the first has the turn

    void arrive(int count)
    {
        for (int i = 0; i < count; i++) {
            takers.push_back(std::make_unique<turn_taker>(path));
            ASSERT_EQ(takers.back()->open(), 0);
            EXPECT_EQ(takers.back()->tries(), takers.size() == 1);
        }
    }
    // All try, the last ones first; only the first may get the turn.
    void expect_first_alone()
    {
        for (size_t i = takers.size(); i-- > 0;)
            EXPECT_EQ(takers[i]->tries(), i == 0) << "number " << i << " of " << takers.size();
    }
    void leave_first()
    {
        takers.front()->gives_back();
        takers.erase(takers.begin());
    }
};

TEST_F(Line, TheTurnIsGivenInTheOrderOfArrival)
{
    arrive(5);
    while (takers.size() > 1) {
        leave_first();
        expect_first_alone();
    }
}

TEST_F(Line, ALaterProgramComesAfterAllThatWait)
{
    arrive(3);
    for (int i = 0; i < 4; i++) {
        leave_first();
        takers.push_back(std::make_unique<turn_taker>(path)); // the turn is free, but two wait for it
        ASSERT_EQ(takers.back()->open(), 0);
        EXPECT_FALSE(takers.back()->tries());
        expect_first_alone();
    }
}

TEST_F(Line, AProgramThatHadItsTurnGoesToTheEnd)
{
    arrive(3);
    turn_taker *first = takers.front().get();
    first->gives_back();
    ASSERT_EQ(first->open(), 0);
    EXPECT_FALSE(first->tries());
    EXPECT_TRUE(takers[1]->tries());
    takers[1]->gives_back();
    EXPECT_FALSE(first->tries());
    EXPECT_TRUE(takers[2]->tries());
    takers[2]->gives_back();
    EXPECT_TRUE(first->tries());
}

TEST_F(Line, AProgramThatIsKilledOrStopsWaitingIsSkipped)
{
    for (const bool is_killed : {true, false}) {
        for (size_t gone = 0; gone < 4; gone++) {
            SCOPED_TRACE(gone);
            takers.clear();
            arrive(4);
            if (is_killed)
                takers[gone]->is_killed();
            else
                takers[gone]->gives_back();
            takers.erase(takers.begin() + long(gone));
            if (gone > 0)
                leave_first();
            expect_first_alone();
            leave_first();
            expect_first_alone();
        }
    }
}

// Many at once: never do two hold the turn, and all of them get it. Turns belong to an open file, so threads
// exclude each other as processes do.
TEST_F(Line, TwoProgramsNeverHoldTheTurnAtOnce)
{
    enum { THREADS = 6, ROUNDS = 40 };
    std::atomic<int> inside = 0;
    std::atomic<int> together = 0;
    std::atomic<int> turns = 0;
    std::vector<std::thread> crowd;
    for (int i = 0; i < THREADS; i++)
        crowd.emplace_back([&] {
            for (int round = 0; round < ROUNDS; round++) {
                ftpc_turn_t turn = {};
                ASSERT_EQ(ftpc_turn_open(&turn, path.c_str()), 0);
                while (!ftpc_turn_try(&turn))
                    usleep(100);
                together += ++inside != 1;
                usleep(50); // gives others a chance to break in
                inside--;
                turns++;
                ftpc_turn_give_back(&turn);
            }
        });
    for (std::thread &one : crowd)
        one.join();
    EXPECT_EQ(together, 0);
    EXPECT_EQ(turns, THREADS * ROUNDS);
}
