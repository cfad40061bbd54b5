#include "curl_func/close_delivered.h"

#include "job_fixture.h"

#include <arpa/inet.h>
#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

constexpr size_t MUCH = 256 * 1024;

// A loopback connection whose server end buffers little.
class CloseSocket : public JobFixture
{
protected:
    void SetUp() override
    {
        const int listener = socket(AF_INET, SOCK_STREAM, 0);
        const int small = 4096;
        setsockopt(listener, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), length), 0);
        ASSERT_EQ(listen(listener, 1), 0);
        ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length), 0);
        client_ = socket(AF_INET, SOCK_STREAM, 0);
        ASSERT_EQ(connect(client_, reinterpret_cast<sockaddr *>(&address), length), 0);
        server_ = accept(listener, nullptr, nullptr);
        ASSERT_NE(server_, -1);
        close(listener);
    }

    void TearDown() override { close(server_); }

    size_t send_much() const
    {
        const std::vector<char> data(MUCH);
        return static_cast<size_t>(send(client_, data.data(), data.size(), 0));
    }

    size_t read_all() const
    {
        char piece[4096];
        size_t all = 0;
        for (ssize_t count = 0; (count = recv(server_, piece, sizeof piece, 0)) > 0;)
            all += static_cast<size_t>(count);
        return all;
    }

    bool closed() const { return fcntl(client_, F_GETFD) == -1; }

    // Returns the seconds that closing took.
    double close_client()
    {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(cb_close_socket(&job_, client_), 0);
        EXPECT_TRUE(closed());
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }

    int client_ = -1;
    int server_ = -1;
};

TEST_F(CloseSocket, ThroughATunnelTheServerMayCloseFirst)
{
    struct {
        uint32_t proxy_type, protocol;
        bool first;
    } const table[] = {{PROXY_NONE, PROTOCOL_FTPS_IMPLICIT, false},
                       {PROXY_HTTP, PROTOCOL_FTP, false}, // no tunnel
                       {PROXY_HTTP, PROTOCOL_FTPS_IMPLICIT, true},
                       {PROXY_HTTP, PROTOCOL_FTPS_EXPLICIT, true}};
    for (const auto &row : table) {
        if (&row != table)
            SetUp();
        job_.record.request.proxy_type = row.proxy_type;
        job_.record.request.protocol = row.protocol;
        std::thread closing([this] { close_client(); });
        pollfd ended{server_, POLLIN, 0};
        EXPECT_EQ(poll(&ended, 1, 500), row.first ? 0 : 1) << row.proxy_type << ' ' << row.protocol;
        close(server_);
        closing.join();
        server_ = -1;
    }
}

TEST_F(CloseSocket, GivesUpOnAServerInATunnelThatStaysOpen)
{
    job_.record.request.proxy_type = PROXY_HTTP;
    job_.record.request.protocol = PROTOCOL_FTPS_IMPLICIT;
    EXPECT_LT(close_client(), 4);
}

TEST_F(CloseSocket, DeliversAllDataThoughTheServerStillSends)
{
    const size_t sent = send_much();
    size_t arrived = 0;
    std::thread server([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200)); // libcurl is closing by then
        EXPECT_EQ(send(server_, "late", 4, MSG_NOSIGNAL), 4);
        arrived = read_all();
        close(server_);
        server_ = -1;
    });
    close_client();
    server.join();
    EXPECT_EQ(sent, MUCH);
    EXPECT_EQ(arrived, sent);
}

TEST_F(CloseSocket, AServerThatHasClosedIsNotWaitedFor)
{
    close(server_);
    server_ = -1;
    EXPECT_LT(close_client(), 0.5);
}

TEST_F(CloseSocket, AServerThatKeepsADeliveredConnectionOpenIsWaitedForOneSecond)
{
    const double taken_s = close_client();
    EXPECT_GT(taken_s, 0.9);
    EXPECT_LT(taken_s, 4);
}

TEST_F(CloseSocket, ACancelledJobDoesNotWait)
{
    send_much();
    job_.record.module_info.cancel = 1;
    EXPECT_LT(close_client(), 0.5);
}

TEST_F(CloseSocket, ASocketThatIsNotConnectedIsClosedAtOnce)
{
    close(client_);
    client_ = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_LT(close_client(), 0.5);
}

} // namespace
