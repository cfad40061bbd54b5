#include "fake_system.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "peer.h"
#include "support/logged.h"

#include <cerrno>
#include <filesystem>
#include <gmock/gmock.h>
#include <poll.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

struct Channel : testing::Test {
    ~Channel() override { ftp_clientd_if_destory(); }
    peer connects() { return connect_to(system.path_of("/var/run/ftp.sock")); }

    fake_system system;
};

struct ListeningChannel : Channel {
    ListeningChannel()
    {
        EXPECT_EQ(ftp_clientd_if_init(), 0);
        system.calls.clear();
    }
};

} // namespace

TEST_F(Channel, ListensAtItsPathWithABacklogOfFive)
{
    EXPECT_EQ(ftp_clientd_if_init(), 0);
    EXPECT_THAT(system.calls, ElementsAre("unlink(/var/run/ftp.sock)", "socket(1, 1, 0)",
                                          "bind(/var/run/ftp.sock, 20)", "listen(5)"));
    connects();
}

TEST_F(Channel, ReplacesASocketLeftByAnEarlierRun)
{
    {
        const listener earlier(system.path_of("/var/run/ftp.sock"));
    }
    EXPECT_EQ(ftp_clientd_if_init(), 0);
    connects();
    EXPECT_NE(ftp_clientd_if_open_received_channel(), -1);
}

TEST_F(Channel, AFailedSocketCallIsLoggedAndTheStartSucceeds)
{
    system.fails("socket", EMFILE);
    EXPECT_EQ(ftp_clientd_if_init(), 0);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(108): errno(24) Too many open files\n"});

    EXPECT_EQ(ftp_clientd_if_open_received_channel(), -1);
    EXPECT_THAT(system.calls_of("accept"), IsEmpty());
    ftp_clientd_if_destory();
    EXPECT_THAT(system.calls_of("close"), IsEmpty());
}

TEST_F(Channel, CannotStartWithoutItsPathOrItsBacklog)
{
    const std::tuple<const char *, int, const char *> cases[] = {
        {"bind", EADDRINUSE, "error: ftp_clientd_if(119): errno(98) Address already in use\n"},
        {"listen", EOPNOTSUPP, "error: ftp_clientd_if(125): errno(95) Operation not supported\n"},
    };
    for (const auto &[call, error, line] : cases)
        for (const bool close_fails : {false, true}) {
            SCOPED_TRACE(call);
            system.calls.clear();
            system.fails(call, error);
            if (close_fails)
                system.fails("close", EIO);
            EXPECT_EQ(ftp_clientd_if_init(), -1);
            lines expected = {line};
            if (close_fails)
                expected.push_back("error: ftp_clientd_if(134): errno(5) Input/output error\n");
            EXPECT_EQ(logged(), expected);
            EXPECT_EQ(system.calls_of("listen").size(), call == std::string("listen") ? 1u : 0u);
            ftp_clientd_if_destory(); // must not close it again
            EXPECT_THAT(system.calls_of("close"), ElementsAre("close()"));
            EXPECT_EQ(logged(), lines{});
        }
}

TEST_F(ListeningChannel, IsClosedOnceAndLeavesItsFile)
{
    ftp_clientd_if_destory();
    ftp_clientd_if_destory();
    EXPECT_THAT(system.calls, ElementsAre("close()"));
    EXPECT_TRUE(std::filesystem::is_socket(system.path_of("/var/run/ftp.sock")));
}

TEST_F(ListeningChannel, AFailedCloseIsLoggedAndForgotten)
{
    system.fails("close", EIO);
    ftp_clientd_if_destory();
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(151): errno(5) Input/output error\n"});
    ftp_clientd_if_destory();
    EXPECT_THAT(system.calls, ElementsAre("close()"));
}

TEST_F(ListeningChannel, WithoutAClientThereIsNoConnectionAndNoWait)
{
    EXPECT_EQ(ftp_clientd_if_open_received_channel(), -1);
    EXPECT_THAT(system.calls, ElementsAre("poll(1, 0)"));
    EXPECT_EQ(system.now_ms, 5000);
}

TEST_F(ListeningChannel, AWaitingClientIsAccepted)
{
    const peer client = connects();
    const int connection = ftp_clientd_if_open_received_channel();
    ASSERT_NE(connection, -1);
    client.says(words(3, 0));
    message_header_t header;
    EXPECT_EQ(ftp_clientd_if_receive(connection, &header), nullptr);
    EXPECT_EQ(header.command, 3u);
    ftp_clientd_if_close_received_channel(connection);
}

TEST_F(ListeningChannel, ClientsAreServedInTheOrderOfArrival)
{
    const peer first = connects();
    const peer second = connects();
    const int connection = ftp_clientd_if_open_received_channel();
    ftp_clientd_if_close_received_channel(connection);
    EXPECT_TRUE(first.is_hung_up());
    EXPECT_FALSE(second.is_hung_up());
}

TEST_F(ListeningChannel, AFailedPollIsLoggedAndTheClientStillAccepted)
{
    const peer client = connects();
    system.fails("poll", EINTR);
    const int connection = ftp_clientd_if_open_received_channel();
    EXPECT_NE(connection, -1);
    EXPECT_THAT(system.calls, ElementsAre("poll(1, 0)", "accept()"));
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(255): errno(4) Interrupted system call\n"});
    ftp_clientd_if_close_received_channel(connection);
}

TEST_F(ListeningChannel, EachErrorFlagIsLoggedAndThenAcceptIsTried)
{
    const std::pair<short, const char *> cases[] = {
        {POLLERR, "error: ftp_clientd_if(266): POLLERR(1), POLLHUP(0), POLLNVAL(0)\n"},
        {POLLHUP, "error: ftp_clientd_if(266): POLLERR(0), POLLHUP(1), POLLNVAL(0)\n"},
        {POLLNVAL, "error: ftp_clientd_if(266): POLLERR(0), POLLHUP(0), POLLNVAL(1)\n"},
        {POLLIN | POLLERR | POLLHUP, "error: ftp_clientd_if(266): POLLERR(1), POLLHUP(1), POLLNVAL(0)\n"},
    };
    for (const auto &[revents, line] : cases) {
        const peer client = connects();
        system.gives("poll", 1);
        system.revents = revents;
        const int connection = ftp_clientd_if_open_received_channel();
        EXPECT_NE(connection, -1) << line;
        EXPECT_EQ(logged(), lines{line});
        ftp_clientd_if_close_received_channel(connection);
    }
}

TEST_F(ListeningChannel, AnEventWithoutInputIsNoClient)
{
    system.gives("poll", 1);
    system.revents = POLLPRI;
    EXPECT_EQ(ftp_clientd_if_open_received_channel(), -1);
    EXPECT_THAT(system.calls, ElementsAre("poll(1, 0)"));
}

TEST_F(ListeningChannel, AnErrorEventAndAFailedAcceptAreBothLogged)
{
    system.gives("poll", 1);
    system.revents = POLLNVAL;
    system.fails("accept", EBADF);
    EXPECT_EQ(ftp_clientd_if_open_received_channel(), -1);
    EXPECT_EQ(logged(), (lines{"error: ftp_clientd_if(266): POLLERR(0), POLLHUP(0), POLLNVAL(1)\n",
                               "error: ftp_clientd_if(176): errno(9) Bad file descriptor\n"}));
}

TEST_F(ListeningChannel, ClosingAConnectionDoesNothingElse)
{
    const peer client = connects();
    const int connection = ftp_clientd_if_open_received_channel();
    system.calls.clear();
    system.fails("close", EIO);
    ftp_clientd_if_close_received_channel(connection);
    EXPECT_THAT(system.calls, ElementsAre("close()"));
    EXPECT_TRUE(client.is_hung_up());
}

TEST_F(ListeningChannel, TheDeadlineOfARequestCountsFromItsAccept)
{
    const peer client = connects();
    const int connection = ftp_clientd_if_open_received_channel();
    system.now_ms += 9000;
    message_header_t header;
    EXPECT_EQ(ftp_clientd_if_receive(connection, &header), nullptr);
    EXPECT_EQ(system.now_ms, 15000);
    EXPECT_EQ(logged(), (lines{"error: ftp_clientd_if(776): errno(110) Connection timed out\n",
                               "error: ftp_clientd_if(699): recvn(): incomplete(9 of 8)\n"}));
    ftp_clientd_if_close_received_channel(connection);
}

TEST_F(ListeningChannel, ADescriptorThatReusesAConnectionsNumberHasItsOwnDeadline)
{
    const peer client = connects();
    const int connection = ftp_clientd_if_open_received_channel();
    ftp_clientd_if_close_received_channel(connection);
    system.now_ms += 9000;
    const control_pair pair = control_pair::connected();
    ASSERT_TRUE(pair.client.fd == connection || pair.daemon.fd == connection);

    uint8_t byte;
    EXPECT_EQ(recvn(connection, &byte, 1, 0), 2);
    EXPECT_EQ(system.now_ms, 24000);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(776): errno(110) Connection timed out\n"});
}

TEST_F(ListeningChannel, AConnectionThatReusesAnEarlierNumberHasItsOwnDeadline)
{
    const peer first = connects();
    const peer second = connects();
    const int connection = ftp_clientd_if_open_received_channel();
    ftp_clientd_if_close_received_channel(connection);
    system.now_ms += 9000;

    ASSERT_EQ(ftp_clientd_if_open_received_channel(), connection);
    system.now_ms += 9000;
    second.says(words(4, 0));
    message_header_t header;
    ftp_clientd_if_receive(connection, &header);
    EXPECT_EQ(header.command, 4u);
    ftp_clientd_if_close_received_channel(connection);
}
