// A client of a scripted daemon, and requests that free themselves.
#pragma once

#include "libftpclient/ftpclient.h"

#include "fake_daemon.h"

#include <gmock/gmock.h>

#include <string>

class client_holder
{
public:
    explicit client_holder(const fake_daemon &daemon)
    {
        const int error = ftpclient_connect(daemon.path().c_str(), 10000, &client_);
        EXPECT_EQ(error, FTPCLIENT_OK) << ftpclient_strerror(error);
    }
    ~client_holder() { ftpclient_close(client_); }
    client_holder(const client_holder &) = delete;
    client_holder &operator=(const client_holder &) = delete;
    operator ftpclient_t *() const { return client_; }

private:
    ftpclient_t *client_ = nullptr;
};

// One that asks nobody before it is used.
class open_client
{
public:
    explicit open_client(const std::string &path)
    {
        EXPECT_EQ(ftpclient_open(path.c_str(), &client_), FTPCLIENT_OK);
    }
    ~open_client() { ftpclient_close(client_); }
    open_client(const open_client &) = delete;
    open_client &operator=(const open_client &) = delete;
    operator ftpclient_t *() const { return client_; }

private:
    ftpclient_t *client_ = nullptr;
};

// A job must have these three: each request of a test begins with them.
constexpr struct {
    size_t at;
    const char *text;
} NEEDED[] = {{0, "needed/remote"}, {512, "/needed/local"}, {768, "needed.host"}};

class request_holder
{
public:
    explicit request_holder(int protocol)
    {
        EXPECT_EQ(ftpclient_request_new(protocol, &request_), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_request_set_remote_path(request_, NEEDED[0].text), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_request_set_local_path(request_, NEEDED[1].text), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_request_set_server(request_, NEEDED[2].text, 0), FTPCLIENT_OK);
    }
    ~request_holder() { ftpclient_request_free(request_); }
    request_holder(const request_holder &) = delete;
    request_holder &operator=(const request_holder &) = delete;
    operator ftpclient_request_t *() const { return request_; }

private:
    ftpclient_request_t *request_ = nullptr;
};

inline uint32_t word_at(const bytes_t &bytes, size_t at)
{
    return bytes[at] | uint32_t(bytes[at + 1]) << 8 | uint32_t(bytes[at + 2]) << 16 |
           uint32_t(bytes[at + 3]) << 24;
}

inline std::string text_at(const bytes_t &bytes, size_t at)
{
    return reinterpret_cast<const char *>(bytes.data()) + at;
}

inline void clear_needed(bytes_t &bytes)
{
    for (const auto &needed : NEEDED) {
        for (size_t i = 0; needed.text[i] != '\0'; i++)
            bytes[needed.at + i] = 0;
    }
}

// The 2080 bytes that an upload with the request sends.
inline bytes_t sent(ftpclient_request_t *request)
{
    job_script script;
    script.states = {idle()};
    fake_daemon daemon(script);
    const client_holder client(daemon);
    EXPECT_EQ(ftpclient_start(client, FTPCLIENT_UPLOAD, request, 10000), FTPCLIENT_OK);
    const auto messages = daemon.messages();
    return messages.back().command == COMMAND_UPLOAD ? messages.back().body : bytes_t(2080, 0xEE);
}
