#include "control_connection.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "support/logged.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <sys/socket.h>

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using Recvn = control_connection;
using Sendn = control_connection;

} // namespace

// recvn

TEST_F(Recvn, OfNoBytesReceivesNone)
{
    client.says({1});
    for (const int len : {0, -1, INT32_MIN})
        EXPECT_EQ(recvn(pair.daemon.fd, nullptr, len, 0), 0) << len;
    EXPECT_THAT(system.calls, IsEmpty());
}

TEST_F(Recvn, ReturnsTheCountReceived)
{
    bytes buffer(6, 0xEE);
    client.says({1, 2, 3, 4, 5, 6, 7});
    EXPECT_EQ(recvn(pair.daemon.fd, buffer.data(), 5, 0), 5);
    EXPECT_THAT(buffer, ElementsAre(1, 2, 3, 4, 5, 0xEE));
}

TEST_F(Recvn, IsShortWhenThePeerCloses)
{
    bytes buffer(6, 0xEE);
    client.says({1, 2});
    client.stops_saying();
    EXPECT_EQ(recvn(pair.daemon.fd, buffer.data(), 6, 0), 2);
}

TEST_F(Recvn, ReturnsOneMoreThanRequestedAfterAFailure)
{
    for (const int flags : {0, static_cast<int>(MSG_PEEK)}) {
        bytes buffer(6);
        client.says({1});
        system.fails("recv", ECONNRESET);
        EXPECT_EQ(recvn(pair.daemon.fd, buffer.data(), 6, flags), 7);
        EXPECT_EQ(logged(), lines{RECV_RESET});
    }
}

TEST_F(Recvn, APeekReadsAllAndConsumesNothing)
{
    bytes buffer(4);
    client.says({1, 2, 3, 4});
    EXPECT_EQ(recvn(pair.daemon.fd, buffer.data(), 4, MSG_PEEK), 4);
    EXPECT_THAT(buffer, ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(recvn(pair.daemon.fd, buffer.data(), 4, 0), 4);
    EXPECT_THAT(buffer, ElementsAre(1, 2, 3, 4));
}

TEST_F(Recvn, APeekAtAClosedPeerSeesNothing)
{
    bytes buffer(4);
    client.stops_saying();
    EXPECT_EQ(recvn(pair.daemon.fd, buffer.data(), 4, MSG_PEEK), 0);
}

TEST_F(Recvn, APeekGivesUpAfterTenLooksWithoutGain)
{
    bytes buffer(4);
    client.says({1, 2, 3});
    EXPECT_EQ(recvn(pair.daemon.fd, buffer.data(), 4, MSG_PEEK), 3);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(799): recv(MSG_PEEK): incomplete(3 of 4)\n"});
    EXPECT_EQ(system.calls_of("recv").size(), 10u);
    EXPECT_THAT(system.calls_of("recv"), Each("recv(4, 2)"));
    EXPECT_EQ(system.calls_of("usleep").size(), 9u);
    EXPECT_THAT(system.calls_of("usleep"), Each("usleep(100000)"));
}

TEST_F(Recvn, APeekRestartsItsCountWithEveryGain)
{
    bytes buffer(4);
    client.says({1});
    int looks = 0;
    system.on_wait = [&] {
        looks++;
        if (looks == 9 || looks == 18)
            client.says({static_cast<uint8_t>(looks)});
    };
    EXPECT_EQ(recvn(pair.daemon.fd, buffer.data(), 4, MSG_PEEK), 3);
    EXPECT_EQ(system.calls_of("recv").size(), 28u);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(799): recv(MSG_PEEK): incomplete(3 of 4)\n"});
}

TEST_F(Recvn, ASilentPeerIsAFailureAfterTenSeconds)
{
    for (const int flags : {0, static_cast<int>(MSG_PEEK)}) {
        const int64_t start_ms = system.now_ms;
        bytes buffer(4);
        EXPECT_EQ(recvn(pair.daemon.fd, buffer.data(), 4, flags), 5);
        EXPECT_EQ(system.now_ms, start_ms + 10000);
        EXPECT_EQ(logged(), lines{RECV_LATE});
    }
}

// sendn

TEST_F(Sendn, OfNoBytesSendsNone)
{
    for (const int len : {0, -1, INT32_MIN})
        EXPECT_EQ(sendn(pair.daemon.fd, nullptr, len, 0), 0) << len;
    EXPECT_THAT(system.calls, IsEmpty());
}

TEST_F(Sendn, ReturnsTheCountSentOrOneMoreThanRequestedAfterAFailure)
{
    struct {
        std::vector<int> sent; // by the first calls; -1: it fails
        int count;
        lines expected;
        const char *heard;
    } const cases[] = {
        {{}, 5, {}, "abcde"},
        {{2}, 5, {}, "cde"}, // continues after a part
        {{2, -1}, 6, {SEND_BROKEN}, ""},
        {{2, 0}, 2, {SEND_NOTHING}, ""},
    };
    for (const auto &c : cases) {
        system.sends(c.sent);
        EXPECT_EQ(sendn(pair.daemon.fd, "abcde", 5, 0), c.count);
        EXPECT_EQ(logged(), c.expected);
        EXPECT_EQ(client.hears(), text_bytes(c.heard));
    }
}

TEST_F(Sendn, KeepsTheCallersFlags)
{
    EXPECT_EQ(sendn(pair.daemon.fd, "abc", 3, MSG_MORE), 3);
    EXPECT_THAT(system.calls_of("send"), ElementsAre("send(3, 0xc040)"));
    EXPECT_EQ(MSG_NOSIGNAL | MSG_DONTWAIT | MSG_MORE, 0xc040);
}
