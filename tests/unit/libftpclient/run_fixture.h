// A whole job against a played daemon.
#pragma once

#include "client_support.h"
#include "played_server.h"

#include <algorithm>
#include <chrono>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

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
    static size_t count(played_daemon &daemon, uint32_t command)
    {
        return size_t(std::ranges::count(daemon.commands(), command));
    }
    // Another program that takes no turns has a job running.
    static played_daemon::stranger_t busy_for(int lasts_ms)
    {
        return [lasts_ms, was_begun = false](played_daemon &daemon, const auto &) mutable {
            played_job_t job;
            job.lasts_ms = lasts_ms;
            if (!was_begun)
                daemon.start(JOB_DOWNLOAD, job);
            was_begun = true;
            return false;
        };
    }
};
