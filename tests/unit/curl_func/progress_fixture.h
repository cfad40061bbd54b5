// Calls of the progress callback, with the state of a try that they change.
#pragma once

#include "curl_func/progress.h"
#include "job_fixture.h"

class Progress : public JobFixture
{
protected:
    void run(uint32_t kind) { job_.record.module_info.exec = kind; }

    // Calls cb_progress `at_s` seconds into the try with an amount in the running kind's direction.
    int progress_at(double at_s, double total, double now)
    {
        wrapper_.total_time_s = at_s;
        return job_.record.module_info.exec == JOB_DOWNLOAD ? cb_progress(&info, total, now, -7, -7)
                                                            : cb_progress(&info, -7, -7, total, now);
    }

    curl_e_handle_t handle{};
    exec_info_t &shown = job_.record.exec_info;
    timeout_info_t timeout{60, 0, 0, 0, 0, 0, 0};
    progress_info_t info{&handle, &job_, &timeout};
};
