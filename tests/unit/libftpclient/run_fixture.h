// A whole job against a played daemon.
#pragma once

#include "client_support.h"
#include "played_server.h"

#include <poll.h>

class run_fixture : public testing::Test
{
protected:
    static constexpr int64_t LOCAL_BYTES = 1000;

    temp_dir files;
    std::string local = files.file("local", std::string(LOCAL_BYTES, 'x'));
    played_server server;
    request_holder request{FTPCLIENT_FTP};
    ftpclient_outcome_t outcome = {};

    void SetUp() override
    {
        ASSERT_EQ(ftpclient_request_set_local_path(request, local.c_str()), FTPCLIENT_OK);
    }

    int run(const played_daemon &daemon, int job, int timeout_ms = 30000)
    {
        const open_client client(daemon.path());
        memset(&outcome, 0x55, sizeof outcome);
        return ftpclient_run(client, job, request, &outcome, sizeof outcome, timeout_ms);
    }
};

// A call under way, freed at the end.
class call_holder
{
public:
    call_holder(const std::string &socket_path, int job, ftpclient_request_t *request, int timeout_ms = 30000)
    {
        const open_client client(socket_path); // closed before the call is over: that must not matter
        EXPECT_EQ(ftpclient_begin_run(client, job, request, timeout_ms, &call_), FTPCLIENT_OK);
    }
    ~call_holder() { ftpclient_call_free(call_); }
    call_holder(const call_holder &) = delete;
    call_holder &operator=(const call_holder &) = delete;
    operator ftpclient_call_t *() const { return call_; }

    // Goes on as an event loop does, until `is_enough` or the end: what finish said last.
    int go_on(const std::function<bool()> &is_enough) const
    {
        for (;;) {
            const int result = ftpclient_call_finish(call_);
            if (result != FTPCLIENT_PENDING || is_enough())
                return result;
            pollfd waiting = {ftpclient_call_fd(call_), POLLIN, 0};
            poll(&waiting, 1, 20000);
        }
    }
    int go_on_to(int phase) const
    {
        return go_on([&] { return ftpclient_call_phase(call_) == phase; });
    }
    int to_the_end() const
    {
        return go_on([] { return false; });
    }
    ftpclient_outcome_t outcome() const
    {
        ftpclient_outcome_t outcome = {};
        EXPECT_EQ(ftpclient_call_outcome(call_, &outcome, sizeof outcome), FTPCLIENT_OK);
        return outcome;
    }
    ftpclient_state_t state() const
    {
        ftpclient_state_t state = {};
        EXPECT_EQ(ftpclient_call_state(call_, &state, sizeof state), FTPCLIENT_OK);
        return state;
    }

private:
    ftpclient_call_t *call_ = nullptr;
};
