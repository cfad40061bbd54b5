#include "control_connection.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "support/logged.h"

#include <cerrno>
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

struct Notify : testing::Test {
    fake_system system;
    listener network_manager{system.path_of("/var/run/marlox_nm.sock")};
};

struct NotifyNobody : testing::Test {
    fake_system system;
    const bytes body = bytes(8, 1);
};

} // namespace

TEST_F(Notify, ANoticeIsTwelveBytesOfHeadAndItsBody)
{
    const bytes body = pattern(56, 4);
    EXPECT_EQ(ftp_clientd_if_notify(2, body.data(), 56), 56);
    const peer heard = network_manager.accepts();
    const bytes notice = heard.hears();
    ASSERT_EQ(notice.size(), 68u);
    EXPECT_THAT(part(notice, 0, 3), ElementsAre(10, 2, 1)); // sender, code, kind
    EXPECT_THAT(part(notice, 4, 2), ElementsAre(56, 0));    // length
    EXPECT_EQ(part(notice, 8, 4), words(0));
    EXPECT_EQ(part(notice, 12, 56), body);
    EXPECT_TRUE(heard.is_hung_up());
}

TEST_F(Notify, TheUnusedBytesLeakNoMemory)
{
    ftp_clientd_if_notify(0, "", 0);
    const bytes notice = network_manager.accepts().hears();
    EXPECT_EQ(notice, (bytes{10, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Notify, ABodyMayHaveFiveHundredBytes)
{
    const bytes body = pattern(500, 8);
    EXPECT_EQ(ftp_clientd_if_notify(0, body.data(), 500), 500);
    const bytes notice = network_manager.accepts().hears();
    ASSERT_EQ(notice.size(), 512u);
    EXPECT_THAT(part(notice, 4, 2), ElementsAre(0xF4, 0x01)); // 500, low byte first
    EXPECT_EQ(part(notice, 12, 500), body);
}

TEST_F(Notify, AnInvalidBodyIsNotSent)
{
    const bytes body(501);
    for (const int length : {501, -1, INT32_MAX, INT32_MIN})
        EXPECT_EQ(ftp_clientd_if_notify(0, body.data(), length), -1) << length;
    EXPECT_THAT(system.calls, IsEmpty());
    EXPECT_TRUE(network_manager.is_nobody_waiting());
}

TEST_F(Notify, ContinuesAfterAPartAndLogsHowMuchWasSentBeforeAFailure)
{
    const bytes body = pattern(8, 1);
    // sent: by the first calls; -1: it fails
    const std::tuple<std::vector<int>, int, lines> cases[] = {
        {{12}, 8, {}},
        {{15, -1}, -1, {SEND_BROKEN, "error: ftp_clientd_if(323): sendn(): incomplete(15 of 20)\n"}},
        {{0}, -1, {SEND_NOTHING, "error: ftp_clientd_if(323): sendn(): incomplete(0 of 20)\n"}},
    };
    for (const auto &[sent, result, expected] : cases) {
        system.sends(sent);
        EXPECT_EQ(ftp_clientd_if_notify(3, body.data(), 8), result);
        EXPECT_EQ(logged(), expected);
        const peer heard = network_manager.accepts();
        EXPECT_EQ(heard.hears(), result == 8 ? body : bytes{});
        EXPECT_TRUE(heard.is_hung_up());
    }
}

TEST_F(Notify, ANetworkManagerHasTenSecondsToReadANotice)
{
    const bytes body(8);
    system.fails("send", EAGAIN); // its buffer is full
    EXPECT_EQ(ftp_clientd_if_notify(3, body.data(), 8), 8);
    EXPECT_THAT(system.calls_of("poll"),
                ElementsAre("poll(4, 10000)")); // deadline_test covers the wait itself
}

TEST_F(NotifyNobody, WithoutASocketNothingIsSent)
{
    system.fails("socket", EMFILE);
    EXPECT_EQ(ftp_clientd_if_notify(3, body.data(), 8), -1);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(587): errno(24) Too many open files\n"});
    EXPECT_THAT(system.calls, ElementsAre("socket(1, 1, 0)"));
}

TEST_F(NotifyNobody, AMissingNetworkManagerIsALoggedFailure)
{
    EXPECT_EQ(ftp_clientd_if_notify(3, body.data(), 8), -1);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(599): errno(2) No such file or directory\n"});
    EXPECT_THAT(system.calls_of("close"), ElementsAre("close()"));
}

TEST_F(NotifyNobody, ANetworkManagerThatHasEndedIsALoggedFailure)
{
    {
        const listener ended(system.path_of("/var/run/marlox_nm.sock"));
    }
    EXPECT_EQ(ftp_clientd_if_notify(3, body.data(), 8), -1);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(599): errno(111) Connection refused\n"});
}

TEST_F(NotifyNobody, AFailedCloseAfterAFailedConnectIsLoggedToo)
{
    system.fails("close", EIO);
    EXPECT_EQ(ftp_clientd_if_notify(3, body.data(), 8), -1);
    EXPECT_EQ(logged(), (lines{"error: ftp_clientd_if(599): errno(2) No such file or directory\n",
                               "error: ftp_clientd_if(608): errno(5) Input/output error\n"}));
}

TEST_F(NotifyNobody, ANetworkManagerWithAFullBacklogDoesNotBlockTheDaemon)
{
    const std::string path = system.path_of("/var/run/marlox_nm.sock");
    const listener hanging(path, 0);
    const peer waiting = connect_to(path);
    system.send_timeout_us = 20000; // instead of 2 s; the kernel's own clock
    EXPECT_EQ(ftp_clientd_if_notify(3, body.data(), 8), -1);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(599): errno(11) Resource temporarily unavailable\n"});
    EXPECT_THAT(system.calls_of("setsockopt"), ElementsAre("setsockopt(SO_SNDTIMEO, 2 s)"));
}
