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

TEST_F(Deadline, IsTenSecondsAfterTheLastAcceptAndForOtherDescriptorsTenSecondsFromNow)
{
    deadline_start(CONNECTION + 1);
    system.now_ms = 7000;
    deadline_start(CONNECTION);
    for (const int64_t now_ms : {7000, 12345}) {
        system.now_ms = now_ms;
        EXPECT_EQ(deadline_of(CONNECTION), 17000);
        EXPECT_EQ(deadline_of(CONNECTION + 1), now_ms + 10000);
    }
    deadline_end(CONNECTION + 1); // another descriptor: no effect
    EXPECT_EQ(deadline_of(CONNECTION), 17000);
    deadline_end(CONNECTION);
    EXPECT_EQ(deadline_of(CONNECTION), 22345);
}

// The deadline of these waits is 15000.
TEST_F(Deadline, AWaitEndsWithDataOrAtTheDeadline)
{
    struct {
        const char *name;
        int64_t now_ms;
        bool data_is_there;
        std::vector<int> poll_errors;
        int error; // 0 = the wait succeeds
        int64_t end_ms;
    } const cases[] = {
        {"data", 5000, true, {}, 0, 5000},
        {"data in the last millisecond", 14999, true, {}, 0, 14999},
        {"data at the deadline is too late", 15000, true, {}, ETIMEDOUT, 15000},
        {"data past the deadline", 999999, true, {}, ETIMEDOUT, 999999},
        {"nothing", 5000, false, {}, ETIMEDOUT, 15000},
        {"signals, then data", 5000, true, {EINTR, EINTR}, 0, 5000},
        {"a signal, then only the time that is left", 9000, false, {EINTR}, ETIMEDOUT, 15000},
        {"a failed poll", 5000, true, {ENOMEM}, ENOMEM, 5000},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        pair = control_pair::connected();
        if (c.data_is_there)
            pair.client.says({1});
        system.now_ms = c.now_ms;
        for (const int error : c.poll_errors)
            system.fails("poll", error);
        EXPECT_EQ(deadline_wait(pair.daemon.fd, POLLIN, 15000) ? 0 : errno, c.error);
        EXPECT_EQ(system.now_ms, c.end_ms);
    }
}

TEST_F(Deadline, AWaitEndsWhenThePeerCloses)
{
    pair.client.closes();
    EXPECT_TRUE(deadline_wait(pair.daemon.fd, POLLIN, 15000));
}
