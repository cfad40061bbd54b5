// Fakes of both transfer engines: they do what a test arranges and record their calls.
#pragma once

#include "job_slot/job_record.h"
#include "support/not_copied.h"
#include "wire/wire.h"

#include <deque>
#include <functional>

struct fake_engine {
    int init_result = 0;
    uint32_t start_result = 0; // result of download, upload and dl_file_info
    int cancel_result = 0;
    std::function<void()> on_cancel; // called within cancel
    job_record_t record = {};
    std::deque<int> finished_results; // -1 once there are none left
    transfer_request_t request = {};  // of the last start
};

// While one exists, it takes the place of the engines; fake_system records their calls.
struct fake_engines : not_copied {
    fake_engines();
    ~fake_engines();

    fake_engine curl;
    fake_engine zixi;
};
