#include "curl_func/job_sockets.h"

#include "job_fixture.h"
#include "support/socket_pair.h"

#include <fcntl.h>

class Sockets : public JobFixture
{
protected:
    void TearDown() override { sockets_forget_all(&job_); }
    static void note(int fd) { EXPECT_EQ(cb_note_socket(&job_, fd, CURLSOCKTYPE_IPCXN), CURL_SOCKOPT_OK); }
};

TEST_F(Sockets, AllNotedSocketsAreBrokenExceptForgottenOnes)
{
    const socket_pair control, data, forgotten;
    for (const socket_pair *each : {&control, &forgotten, &data})
        note(each->ends[0]);
    sockets_forget(&job_, forgotten.ends[0]);
    EXPECT_FALSE(control.is_broken());
    sockets_break(&job_);
    EXPECT_TRUE(control.is_broken());
    EXPECT_TRUE(data.is_broken());
    EXPECT_FALSE(forgotten.is_broken());
    sockets_break(&job_); // again does no harm
}

TEST_F(Sockets, ClosingForgetsAndCloses)
{
    const socket_pair control;
    const int twin = dup(control.ends[0]);
    note(twin);
    EXPECT_EQ(cb_close_noted(&job_, twin), 0);
    EXPECT_EQ(fcntl(twin, F_GETFD), -1);
    sockets_break(&job_);
    EXPECT_FALSE(control.is_broken());
}

TEST_F(Sockets, AReusedNumberIsLeftAlone)
{
    const socket_pair other;
    int number;
    {
        const socket_pair closed_silently;
        number = closed_silently.ends[0];
        note(number);
    }
    ASSERT_EQ(dup2(other.ends[0], number), number);
    sockets_break(&job_);
    EXPECT_FALSE(other.is_broken());
    close(number);
}

TEST_F(Sockets, PlacesOfClosedSocketsAreReused)
{
    for (int round = 0; round < 100; round++) {
        const socket_pair closed_silently;
        note(closed_silently.ends[0]);
    }
    const socket_pair control;
    note(control.ends[0]);
    sockets_break(&job_);
    EXPECT_TRUE(control.is_broken());
}

TEST_F(Sockets, SocketsBeyondTheEighthAreNotNoted)
{
    const socket_pair pairs[9];
    for (const socket_pair &each : pairs)
        note(each.ends[0]);
    sockets_break(&job_);
    EXPECT_TRUE(pairs[7].is_broken());
    EXPECT_FALSE(pairs[8].is_broken());
}

TEST_F(Sockets, WithoutAJobNoSocketIsNoted)
{
    const socket_pair control;
    EXPECT_EQ(cb_note_socket(nullptr, control.ends[0], CURLSOCKTYPE_IPCXN), CURL_SOCKOPT_OK);
    sockets_break(&job_);
    EXPECT_FALSE(control.is_broken());
}

TEST_F(Sockets, OnlyTheNewestIsBroken)
{
    const socket_pair first, second;
    sockets_break_newest(&job_); // there is none
    note(first.ends[0]);
    note(second.ends[0]);
    sockets_break_newest(&job_);
    EXPECT_FALSE(first.is_broken());
    EXPECT_TRUE(second.is_broken());
}

TEST_F(Sockets, TheNewestIsLeftAloneWhenItIsForgottenOrItsNumberReused)
{
    const socket_pair control, other;
    note(control.ends[0]);
    sockets_forget(&job_, control.ends[0]);
    sockets_break_newest(&job_);
    note(control.ends[0]);
    sockets_forget_all(&job_);
    sockets_break_newest(&job_);
    EXPECT_FALSE(control.is_broken());

    note(control.ends[0]);
    ASSERT_EQ(dup2(other.ends[0], control.ends[0]), control.ends[0]);
    sockets_break_newest(&job_);
    EXPECT_FALSE(other.is_broken());
}
