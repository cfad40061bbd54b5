// How a client is created, and how its calls check their arguments.
#include "client_support.h"

using testing::ElementsAre;

TEST(Connect, PingsTheDaemonOnce)
{
    fake_daemon daemon([](const message_t &) { return message_bytes(0, bytes_of(reply_t{0, 0})); });
    ftpclient_t *client = nullptr;
    ASSERT_EQ(ftpclient_connect(daemon.path().c_str(), 10000, &client), FTPCLIENT_OK);
    ftpclient_close(client);
    ASSERT_THAT(daemon.commands(), ElementsAre(0u));
    EXPECT_EQ(daemon.messages()[0].body.size(), 0u);
}

TEST(Connect, WithoutADaemonThereIsNoClient)
{
    const temp_dir dir;
    for (const std::string &path : {dir / "ftp.sock", std::string("/dev/null/ftp.sock"), std::string("")}) {
        auto *client = reinterpret_cast<ftpclient_t *>(1);
        EXPECT_EQ(ftpclient_connect(path.c_str(), 10000, &client), FTPCLIENT_ERR_NO_DAEMON) << path;
        EXPECT_EQ(client, nullptr);
    }
    EXPECT_EQ(ftpclient_connect("/x", 10000, nullptr), FTPCLIENT_ERR_ARGUMENT);
    ftpclient_close(nullptr);
}

TEST(Open, DoesNotConnect)
{
    EXPECT_NE(open_client("/nonexistent/ftp.sock"), nullptr);
    EXPECT_EQ(ftpclient_open("/x", nullptr), FTPCLIENT_ERR_ARGUMENT);
}

TEST(Open, APathTooLongForASocketAddressIsRefused)
{
    ftpclient_t *client = nullptr;
    EXPECT_EQ(ftpclient_connect(("/" + std::string(106, 'x')).c_str(), 1000, &client),
              FTPCLIENT_ERR_NO_DAEMON);
    client = reinterpret_cast<ftpclient_t *>(1);
    EXPECT_EQ(ftpclient_open(("/" + std::string(107, 'x')).c_str(), &client), FTPCLIENT_ERR_TOO_LONG);
    EXPECT_EQ(client, nullptr);
}

TEST(Client, ArgumentsAreChecked)
{
    auto *call = reinterpret_cast<ftpclient_call_t *>(1);
    const open_client client("/nonexistent/ftp.sock");
    for (auto *begin : {ftpclient_begin_ping, ftpclient_begin_poll, ftpclient_begin_cancel}) {
        call = reinterpret_cast<ftpclient_call_t *>(1);
        EXPECT_EQ(begin(nullptr, 1000, &call), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(call, nullptr);
        EXPECT_EQ(begin(client, 1000, nullptr), FTPCLIENT_ERR_ARGUMENT);
    }
    int32_t last = 0;
    EXPECT_EQ(ftpclient_ping(nullptr, &last, 1000), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_cancel(nullptr, 1000), FTPCLIENT_ERR_ARGUMENT);
}

TEST(Client, AFailureLeavesTheOutputsUnchanged)
{
    const open_client client("/nonexistent/ftp.sock");
    int32_t last = -77;
    EXPECT_EQ(ftpclient_ping(client, &last, 1000), FTPCLIENT_ERR_NO_DAEMON);
    EXPECT_EQ(last, -77);
    ftpclient_state_t state;
    memset(&state, 0x55, sizeof state);
    EXPECT_EQ(ftpclient_poll(client, &state, sizeof state, 1000), FTPCLIENT_ERR_NO_DAEMON);
    EXPECT_EQ(state.job, 0x55555555);
}
