// curl_perform over scripted tries.
#pragma once

#include "curl_func/retry.h"
#include "job_fixture.h"

#include <functional>
#include <string>

class Perform : public JobFixture
{
protected:
    Perform() { job_.record.module_info.exec = JOB_UPLOAD; }
    ~Perform() override { logged(); } // of a test that is not about the log

    // Runs the scripted tries and checks that all of them were made.
    void run()
    {
        const int scripted = static_cast<int>(wrapper_.tries.size());
        curl_perform(&handle, &info);
        EXPECT_EQ(wrapper_.performed, scripted);
    }

    void script(int count, const std::function<void(curl_e_handle_t *)> &play)
    {
        for (int i = 0; i < count; i++)
            wrapper_.tries.push_back(play);
    }

    // A try that the progress callback ends for inactivity.
    std::function<void(curl_e_handle_t *)> stalls()
    {
        return [this](curl_e_handle_t *h) {
            timeout.timed_out = 1;
            ends_with(14, 42)(h);
        };
    }

    struct local_file {
        int resets;  // between two tries
        int emptied; // at the start of a further try
    };

    static int count_reset(void *arg)
    {
        static_cast<local_file *>(arg)->resets++;
        return 0;
    }

    static int count_emptied(void *arg)
    {
        static_cast<local_file *>(arg)->emptied++;
        return 0;
    }

    curl_e_handle_t handle{};
    exec_info_t &shown = job_.record.exec_info;
    timeout_info_t timeout{60, 0, -1, 0, 0, 0, 0};
    local_file file{0, 0};
    perform_info_t info{&timeout, &job_.record.exec_info, &job_, count_reset, count_emptied, &file};
};

inline std::string retry_line(int error, int curl_code, int retry)
{
    return "error: curl_func(1364): curl_perform(" + std::to_string(error) + ", " +
           std::to_string(curl_code) + ") ... retry(" + std::to_string(retry) + ")\n";
}

inline std::string limits_line(int connection, int operation)
{
    return "curl_func(1283): [connection_limit] " + std::to_string(connection) + ", [operation_limit] " +
           std::to_string(operation) + "\n";
}
