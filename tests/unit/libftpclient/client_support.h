// A client of a scripted daemon, and requests that free themselves.
#pragma once

#include "libftpclient/ftpclient.h"

#include "fake_daemon.h"
#include "support/not_copied.h"

#include <gmock/gmock.h>

#include <cstring>
#include <poll.h>
#include <string>

// Owns an object of the library.
template <typename T, void (*GIVE_BACK)(T *)> class owner : not_copied
{
public:
    ~owner() { GIVE_BACK(made_); }
    operator T *() const { return made_; }

protected:
    owner() = default;
    T *made_ = nullptr;
};

struct open_client : owner<ftpclient_t, ftpclient_close> {
    explicit open_client(const std::string &path)
    {
        EXPECT_EQ(ftpclient_open(path.c_str(), &made_), FTPCLIENT_OK);
    }
};

// The three values that a job must have; each request of a test begins with them.
constexpr struct {
    size_t at;
    const char *text;
} NEEDED[] = {{0, "needed/remote"}, {512, "/needed/local"}, {768, "needed.host"}};

struct request_holder : owner<ftpclient_request_t, ftpclient_request_free> {
    explicit request_holder(int protocol)
    {
        EXPECT_EQ(ftpclient_request_new(protocol, &made_), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_request_set_remote_path(made_, NEEDED[0].text), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_request_set_local_path(made_, NEEDED[1].text), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_request_set_server(made_, NEEDED[2].text, 0), FTPCLIENT_OK);
    }
};

// A call under way.
struct call_holder : owner<ftpclient_call_t, ftpclient_call_free> {
    call_holder(const std::string &socket_path, int job, ftpclient_request_t *request, int timeout_ms = 30000)
    {
        const open_client client(socket_path); // closed before the call ends, which must not matter
        EXPECT_EQ(ftpclient_begin_run(client, job, request, timeout_ms, &made_), FTPCLIENT_OK);
    }
    call_holder(int (*begin)(const ftpclient_t *, int, ftpclient_call_t **), const ftpclient_t *client,
                int timeout_ms)
    {
        EXPECT_EQ(begin(client, timeout_ms, &made_), FTPCLIENT_OK);
    }

    // Drives the call as an event loop does until `is_enough` or the end; returns the last result of finish.
    int go_on(const std::function<bool()> &is_enough) const
    {
        for (;;) {
            const int result = ftpclient_call_finish(made_);
            if (result != FTPCLIENT_PENDING || is_enough())
                return result;
            pollfd waiting = {ftpclient_call_fd(made_), POLLIN, 0};
            EXPECT_EQ(poll(&waiting, 1, 30000), 1) << "the call does not wake";
        }
    }
    int go_on_to(int phase) const
    {
        return go_on([&] { return ftpclient_call_phase(made_) == phase; });
    }
    int go_on_until_it_runs() const
    {
        return go_on([&] { return state().running != 0; });
    }
    int to_the_end() const
    {
        return go_on([] { return false; });
    }
    ftpclient_outcome_t outcome() const
    {
        ftpclient_outcome_t outcome = {};
        EXPECT_EQ(ftpclient_call_outcome(made_, &outcome, sizeof outcome), FTPCLIENT_OK);
        return outcome;
    }
    ftpclient_state_t state() const
    {
        ftpclient_state_t state = {};
        EXPECT_EQ(ftpclient_call_state(made_, &state, sizeof state), FTPCLIENT_OK);
        return state;
    }
};

// A larger structure, of a later header. `fill` gets it and its size and must not write beyond.
template <typename T> T filled_as_later(const std::function<int(T *, size_t)> &fill)
{
    struct {
        T known;
        char later[16];
        char beyond[8];
    } wide;
    memset(&wide, 0x55, sizeof wide);
    void *start = &wide;
    EXPECT_EQ(fill(static_cast<T *>(start), sizeof wide.known + sizeof wide.later), FTPCLIENT_OK);
    EXPECT_EQ(std::string(wide.later, 16), std::string(16, '\0'));
    EXPECT_EQ(std::string(wide.beyond, 8), std::string(8, 0x55));
    return wide.known;
}

// The 2080 bytes that an upload with this request sends.
inline bytes_t sent(ftpclient_request_t *request)
{
    fake_daemon daemon(script_of({idle()}));
    const open_client client(daemon.path());
    EXPECT_EQ(ftpclient_start(client, FTPCLIENT_UPLOAD, request, 10000), FTPCLIENT_OK);
    const auto messages = daemon.messages();
    return messages.back().command == COMMAND_UPLOAD ? messages.back().body : bytes_t(2080, 0xEE);
}
