#include "control_connection.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "strutil/guards.h"
#include "support/logged.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <sys/socket.h>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char *const RECV_NO_MEMORY = "error: ftp_clientd_if(776): errno(12) Cannot allocate memory\n";
const char *const NO_MEMORY = "error: ftp_clientd_if(725): Failed: malloc()\n";
const char *const SEND_LATE = "error: ftp_clientd_if(843): errno(110) Connection timed out\n";

struct Receive : control_connection {
    // Sets `header` and `body`.
    void receives()
    {
        header = {77, 77};
        body.reset(ftp_clientd_if_receive(pair.daemon.fd, &header));
    }
    void expect_no_request(const lines &expected)
    {
        EXPECT_EQ(body, nullptr);
        EXPECT_EQ(header.command, 0u);
        EXPECT_EQ(header.length, 0u);
        EXPECT_EQ(logged(), expected);
    }
    // Makes the client send these bytes piece by piece, and then stop.
    void will_say(const bytes &whole)
    {
        system.on_wait = [this, whole, said = size_t{0}]() mutable {
            const size_t piece = std::min<size_t>(50000, whole.size() - said);
            if (piece == 0)
                return client.stops_saying();
            client.says(part(whole, said, piece));
            said += piece;
        };
    }
    // For malloc, when nothing will be written to the body.
    static intptr_t small_block() { return reinterpret_cast<intptr_t>(strdup("")); }
    bytes body_bytes() const
    {
        const auto *first = static_cast<const uint8_t *>(body.get());
        return {first, first + header.length};
    }

    message_header_t header;
    heap_block body;
};

struct Send : control_connection {
    int sends(const bytes &whole)
    {
        memcpy(&header, whole.data(), sizeof header);
        return ftp_clientd_if_send(pair.daemon.fd, &header, whole.data() + sizeof header);
    }
    message_header_t header;
};

} // namespace

// A request

TEST_F(Receive, ARequestWithoutABodyIsItsHeader)
{
    client.says(words(6, 0));
    receives();
    EXPECT_EQ(body, nullptr);
    EXPECT_EQ(header.command, 6u);
    EXPECT_EQ(header.length, 0u);
    EXPECT_THAT(system.calls_of("malloc"), IsEmpty());
}

TEST_F(Receive, TheBodyIsABlockOfItsOwnAndLaterBytesStayUnread)
{
    const bytes sent = pattern(2080, 3);
    client.says(words(1, 2080) + sent + pattern(100, 1));
    receives();
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(header.command, 1u);
    EXPECT_EQ(header.length, 2080u);
    EXPECT_EQ(body_bytes(), sent);
    EXPECT_THAT(system.calls_of("malloc"), ElementsAre("malloc(2080)"));
    EXPECT_THAT(system.calls_of("recv"), ElementsAre("recv(8, 0)", "recv(2080, 0)"));
    EXPECT_EQ(pair.daemon.hears(), pattern(100, 1));
}

TEST_F(Receive, ARequestMayComeByteByByte)
{
    const bytes whole = words(5, 20) + pattern(20, 9);
    size_t said = 0;
    system.on_wait = [&] {
        client.says({whole.at(said++)});
        system.now_ms += 100;
    };
    receives();
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(header.command, 5u);
    EXPECT_EQ(body_bytes(), part(whole, 8, 20));
}

TEST_F(Receive, AClientThatClosesInsideTheHeaderIsNoRequest)
{
    for (size_t said = 0; said < 8; said++) {
        control_pair another = control_pair::connected();
        another.client.says(bytes(said, 1));
        another.client.closes();
        header = {77, 77};
        body.reset(ftp_clientd_if_receive(another.daemon.fd, &header));
        expect_no_request(
            {"error: ftp_clientd_if(699): recvn(): incomplete(" + std::to_string(said) + " of 8)\n"});
    }
}

TEST_F(Receive, ARequestThatBreaksOffIsNone)
{
    const std::string head = "error: ftp_clientd_if(699): recvn(): incomplete(9 of 8)\n";
    const std::string body_2081 = "error: ftp_clientd_if(737): recvn(): incomplete(2081 of 2080)\n";
    const bytes in_body = words(1, 2080) + pattern(100, 1);
    struct {
        const char *name;
        bytes said;
        lines expected;
        bool is_silent = false;     // until the deadline; otherwise it stops
        const char *call = nullptr; // that fails, `after` calls later
        int error = 0, after = 0;
    } const cases[] = {
        {"failure inside the header", words(1, 0), {RECV_RESET, head}, false, "recv", ECONNRESET},
        {"failed poll", words(1, 0), {RECV_NO_MEMORY, head}, false, "poll", ENOMEM},
        {"short body", in_body, {"error: ftp_clientd_if(737): recvn(): incomplete(100 of 2080)\n"}},
        {"failure inside the body", in_body, {RECV_RESET, body_2081}, false, "recv", ECONNRESET, 2},
        {"no memory", words(1, 0xFFFFFFFF), {NO_MEMORY}, false, "malloc", ENOMEM},
        {"silence", {}, {RECV_LATE, head}, true},
        {"silence inside the header", words(1), {RECV_LATE, head}, true},
        {"silence inside the body", in_body, {RECV_LATE, body_2081}, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const int64_t start_ms = system.now_ms;
        pair = control_pair::connected();
        client.says(c.said);
        if (!c.is_silent)
            client.stops_saying();
        if (c.call != nullptr)
            system.fails(c.call, c.error, c.after);
        receives();
        expect_no_request(c.expected);
        EXPECT_EQ(system.now_ms, start_ms + (c.is_silent ? 10000 : 0));
    }
    EXPECT_THAT(system.calls_of("malloc"), Contains("malloc(4294967295)")); // the whole length
}

TEST_F(Receive, CountsAboveTwoGibibytesAreLoggedAsInts)
{
    const std::tuple<uint32_t, const char *, const char *> cases[] = {
        {0x7FFFFFFF, "incomplete(0 of 2147483647)\n", "incomplete(-2147483648 of 2147483647)\n"},
        {0x80000000, "incomplete(0 of -2147483648)\n", "incomplete(-2147483647 of -2147483648)\n"},
        {0xFFFFFFFF, "incomplete(0 of -1)\n", "incomplete(0 of -1)\n"},
    };
    for (const auto &[length, short_line, failed_line] : cases) {
        SCOPED_TRACE(length);
        client.says(words(1, length) + bytes{1});
        system.gives("malloc", small_block());
        system.gives("recv", 0, 1);
        receives();
        expect_no_request({std::string("error: ftp_clientd_if(737): recvn(): ") + short_line});
        EXPECT_EQ(pair.daemon.hears(), bytes{1});

        client.says(words(1, length) + bytes{1});
        system.gives("malloc", small_block());
        system.fails("recv", ECONNRESET, 1);
        receives();
        expect_no_request({RECV_RESET, std::string("error: ftp_clientd_if(737): recvn(): ") + failed_line});
        EXPECT_EQ(pair.daemon.hears(), bytes{1});
    }
}

TEST_F(Receive, BytesBeyondAMebibyteAreReadAndDiscarded)
{
    constexpr size_t MIB = size_t{1} << 20;
    const bytes sent = pattern(3 * MIB + 5, 3);
    will_say(words(1, static_cast<uint32_t>(sent.size())) + sent);
    system.gives("malloc", reinterpret_cast<intptr_t>(calloc(1, sent.size())));
    receives();
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(header.length, sent.size());
    const bytes got = body_bytes();
    EXPECT_TRUE(std::equal(sent.begin(), sent.begin() + MIB, got.begin()));
    EXPECT_EQ(std::count(got.begin() + MIB + 65536, got.end(), 0), 2 * MIB + 5 - 65536);
}

TEST_F(Receive, ALongBodyThatEndsEarlyLogsTheReceivedCountOrAfterAnErrorItsLengthPlusOne)
{
    constexpr uint32_t MIB = 1 << 20;
    will_say(words(1, 2 * MIB) + pattern(MIB + 70000, 3));
    receives();
    expect_no_request({"error: ftp_clientd_if(737): recvn(): incomplete(1118576 of 2097152)\n"});

    pair = control_pair::connected();
    will_say(words(1, 2 * MIB) + pattern(MIB + 70000, 3));
    system.fails("recv", ECONNRESET, static_cast<int>(system.calls_of("recv").size()) - 1);
    receives();
    expect_no_request({RECV_RESET, "error: ftp_clientd_if(737): recvn(): incomplete(2097153 of 2097152)\n"});
}

// Its deadline

TEST_F(Receive, AClientThatSendsByteByByteHasTenSecondsInAll)
{
    client.says(words(1, 2080));
    system.on_wait = [&] {
        client.says({1});
        system.now_ms += 999;
    };
    receives();
    EXPECT_EQ(system.now_ms, 5000 + 11 * 999);
    expect_no_request({RECV_LATE, "error: ftp_clientd_if(737): recvn(): incomplete(2081 of 2080)\n"});
}

TEST_F(Receive, ASignalDoesNotInterruptARequest)
{
    client.says(words(1, 4) + words(9));
    for (const int after : {0, 1, 1, 1})
        system.fails("poll", EINTR, after);
    receives();
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(body_bytes(), words(9));
}

// A reply

TEST_F(Send, AReplyIsItsHeaderAndItsBody)
{
    const bytes reply = words(3, 72) + pattern(72, 5);
    EXPECT_EQ(sends(reply), 72);
    EXPECT_EQ(client.hears(), reply);
    EXPECT_THAT(system.calls_of("send"), ElementsAre("send(8, 0x4040)", "send(72, 0x4040)"));
    EXPECT_EQ(MSG_NOSIGNAL | MSG_DONTWAIT, 0x4040);
}

TEST_F(Send, AReplyWithoutABodyReturnsTheSizeOfItsHeader)
{
    EXPECT_EQ(sends(words(3, 0)), 8);
    EXPECT_EQ(client.hears(), words(3, 0));
}

TEST_F(Send, APeerThatHasGoneRaisesNoSignal)
{
    pair.client.closes();
    EXPECT_EQ(sends(words(0, 8, 0, 0)), -1);
    EXPECT_EQ(logged(), (lines{SEND_BROKEN, "error: ftp_clientd_if(662): sendn(): incomplete(9 of 8)\n"}));
}

TEST_F(Send, AReplyThatBreaksOffIsAFailure)
{
    // sent: by each call; -1: it fails
    const std::pair<std::vector<int>, lines> cases[] = {
        {{8, -1}, {SEND_BROKEN, "error: ftp_clientd_if(670): sendn(): incomplete(73 of 72)\n"}},
        {{3, 0}, {SEND_NOTHING, "error: ftp_clientd_if(662): sendn(): incomplete(3 of 8)\n"}},
        {{8, 40, 0}, {SEND_NOTHING, "error: ftp_clientd_if(670): sendn(): incomplete(40 of 72)\n"}},
    };
    for (const auto &[sent, expected] : cases) {
        system.sends(sent);
        EXPECT_EQ(sends(words(3, 72) + pattern(72, 5)), -1);
        EXPECT_EQ(logged(), expected);
    }
}

TEST_F(Send, AReplyThatDoesNotFitWaitsForTheClientToRead)
{
    pair.daemon.narrows();
    bytes heard;
    system.on_wait = [&] {
        heard = heard + client.hears();
        system.now_ms += 1;
    };
    const bytes reply = words(3, 100000) + pattern(100000, 5);
    EXPECT_EQ(sends(reply), 100000);
    EXPECT_EQ(heard + client.hears(), reply);
}

TEST_F(Send, AClientThatDoesNotReadIsGivenUpAfterTenSeconds)
{
    pair.daemon.narrows();
    EXPECT_EQ(sends(words(3, 100000) + pattern(100000, 5)), -1);
    EXPECT_EQ(system.now_ms, 15000);
    EXPECT_EQ(logged(),
              (lines{SEND_LATE, "error: ftp_clientd_if(670): sendn(): incomplete(100001 of 100000)\n"}));
}
