#include "fake_system.h"
#include "ftp_clientd/deadline.h"
#include "peer.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <poll.h>

namespace
{

struct Deadline : testing::Test {
    Deadline() { deadline_end(CONNECTION); }
    ~Deadline() override { deadline_end(CONNECTION); }
    static constexpr int CONNECTION = 700;

    fake_system system;
    control_pair pair = control_pair::connected();
};

} // namespace

TEST_F(Deadline, IsTenSecondsAfterTheAcceptAndDoesNotMove)
{
    deadline_start(CONNECTION);
    EXPECT_EQ(deadline_of(CONNECTION), 15000);
    system.now_ms = 12345;
    EXPECT_EQ(deadline_of(CONNECTION), 15000);
}

TEST_F(Deadline, OfADescriptorThatWasNotAcceptedIsTenSecondsFromNow)
{
    deadline_start(CONNECTION);
    EXPECT_EQ(deadline_of(CONNECTION + 1), 15000);
    system.now_ms = 12345;
    EXPECT_EQ(deadline_of(CONNECTION + 1), 22345);
}

TEST_F(Deadline, BelongsToTheConnectionAcceptedLast)
{
    deadline_start(CONNECTION + 1);
    system.now_ms = 7000;
    deadline_start(CONNECTION);
    system.now_ms = 8000;
    EXPECT_EQ(deadline_of(CONNECTION), 17000);
    EXPECT_EQ(deadline_of(CONNECTION + 1), 18000);
}

TEST_F(Deadline, IsForgottenWhenItsConnectionCloses)
{
    deadline_start(CONNECTION);
    deadline_end(CONNECTION);
    system.now_ms = 12345;
    EXPECT_EQ(deadline_of(CONNECTION), 22345);
}

TEST_F(Deadline, StaysWhenAnotherDescriptorCloses)
{
    deadline_start(CONNECTION);
    deadline_end(CONNECTION + 1);
    system.now_ms = 12345;
    EXPECT_EQ(deadline_of(CONNECTION), 15000);
}

TEST_F(Deadline, AWaitEndsAtOnceWhenDataIsThere)
{
    pair.client.says({1});
    EXPECT_TRUE(deadline_wait(pair.daemon.fd, POLLIN, 15000));
    EXPECT_EQ(system.now_ms, 5000);
}

TEST_F(Deadline, AWaitEndsWhenTheOtherSideHasGone)
{
    pair.client.closes();
    EXPECT_TRUE(deadline_wait(pair.daemon.fd, POLLIN, 15000));
}

TEST_F(Deadline, AWaitForNothingTimesOutAtTheDeadlineAndNotBefore)
{
    EXPECT_FALSE(deadline_wait(pair.daemon.fd, POLLIN, 15000));
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(system.now_ms, 15000);
}

TEST_F(Deadline, PastItEvenDataThatIsThereIsTooLate)
{
    pair.client.says({1});
    for (const int64_t now_ms : {15000, 15001, 999999}) {
        system.now_ms = now_ms;
        errno = 0;
        EXPECT_FALSE(deadline_wait(pair.daemon.fd, POLLIN, 15000)) << now_ms;
        EXPECT_EQ(errno, ETIMEDOUT) << now_ms;
    }
}

TEST_F(Deadline, OneMillisecondBeforeItDataIsInTime)
{
    pair.client.says({1});
    system.now_ms = 14999;
    EXPECT_TRUE(deadline_wait(pair.daemon.fd, POLLIN, 15000));
}

TEST_F(Deadline, ASignalDoesNotEndAWait)
{
    pair.client.says({1});
    system.fails("poll", EINTR);
    system.fails("poll", EINTR);
    EXPECT_TRUE(deadline_wait(pair.daemon.fd, POLLIN, 15000));
    EXPECT_EQ(system.calls_of("poll").size(), 3u);
}

TEST_F(Deadline, AWaitAfterASignalIsOnlyForTheTimeThatIsLeft)
{
    system.fails("poll", EINTR);
    system.now_ms = 9000;
    EXPECT_FALSE(deadline_wait(pair.daemon.fd, POLLIN, 15000));
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(system.now_ms, 15000);
}

TEST_F(Deadline, AFailedPollIsAFailedWaitWithItsErrno)
{
    system.fails("poll", ENOMEM);
    EXPECT_FALSE(deadline_wait(pair.daemon.fd, POLLIN, 15000));
    EXPECT_EQ(errno, ENOMEM);
}
