// The order in which those who wait get the turn.
#include "process.h"

#include "temp_dir.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <sys/mman.h>
#include <sys/wait.h>
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
    std::vector<std::unique_ptr<turn_taker>> takers; // in the order of their arrival; the first has the turn

    void arrive(int count)
    {
        for (int i = 0; i < count; i++) {
            takers.push_back(std::make_unique<turn_taker>(path));
            ASSERT_EQ(takers.back()->open(), 0);
            EXPECT_EQ(takers.back()->tries(), takers.size() == 1);
        }
    }
    // Everybody tries, those behind first: it must be the turn of nobody but the first.
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

TEST_F(Line, TheTurnGoesRoundInTheOrderOfArrival)
{
    arrive(5);
    while (takers.size() > 1) {
        leave_first();
        expect_first_alone();
    }
}

TEST_F(Line, ALaterProgramIsBehindAllThatWait)
{
    arrive(3);
    for (int i = 0; i < 4; i++) {
        leave_first();
        takers.push_back(std::make_unique<turn_taker>(path)); // while the turn is free, but two wait for it
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

TEST_F(Line, AKilledProgramLeavesAGapThatIsSkipped)
{
    for (size_t victim = 0; victim < 4; victim++) {
        SCOPED_TRACE(victim);
        takers.clear();
        arrive(4);
        takers[victim]->is_killed();
        takers.erase(takers.begin() + long(victim));
        if (victim > 0)
            leave_first();
        expect_first_alone();
        leave_first();
        expect_first_alone();
    }
}

TEST_F(Line, AProgramThatStopsWaitingLeavesAGapThatIsSkipped)
{
    for (size_t tired = 1; tired < 4; tired++) {
        SCOPED_TRACE(tired);
        takers.clear();
        arrive(4);
        takers[tired]->gives_back();
        takers.erase(takers.begin() + long(tired));
        leave_first();
        expect_first_alone();
        leave_first();
        expect_first_alone();
    }
}

// Many processes at once, for real: never two of them hold the turn, and all come to it.
TEST_F(Line, NeverTwoAtOnceInTheCrowd)
{
    enum { PROCESSES = 6, ROUNDS = 40 };
    struct shared_t {
        int inside;
        int together;
        int turns;
    };
    void *memory = mmap(nullptr, sizeof(shared_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto *shared = static_cast<shared_t *>(memory);
    std::vector<pid_t> crowd;
    for (int i = 0; i < PROCESSES; i++) {
        const pid_t pid = fork();
        if (pid == 0) {
            for (int round = 0; round < ROUNDS; round++) {
                ftpc_turn_t turn = {};
                if (ftpc_turn_open(&turn, path.c_str()) != 0)
                    _exit(1);
                while (!ftpc_turn_try(&turn))
                    usleep(100);
                if (__atomic_add_fetch(&shared->inside, 1, __ATOMIC_SEQ_CST) != 1)
                    __atomic_add_fetch(&shared->together, 1, __ATOMIC_SEQ_CST);
                usleep(50); // long enough for another to slip in
                __atomic_sub_fetch(&shared->inside, 1, __ATOMIC_SEQ_CST);
                __atomic_add_fetch(&shared->turns, 1, __ATOMIC_SEQ_CST);
                ftpc_turn_give_back(&turn);
            }
            _exit(0);
        }
        crowd.push_back(pid);
    }
    for (const pid_t pid : crowd) {
        int status = -1;
        EXPECT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(shared->together, 0);
    EXPECT_EQ(shared->turns, PROCESSES * ROUNDS);
    munmap(memory, sizeof(shared_t));
}
