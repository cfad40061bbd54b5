// Fakes of the feeder library, the clock and the sleeps, linked in their place.
#pragma once

#include "platform/zixiFeeder.h"
#include "wire/wire.h"

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

constexpr size_t BLOCK_BYTES = 72;

// The result of one zixi_get_upload_progress. The default is the end of an upload.
struct progress_step_t {
    int code = 0;
    uint64_t sent = 0;
    uint64_t total = 0;
    int state = 3;
};

// The arguments of one zixi_upload_file.
struct upload_call_t {
    uintptr_t configuration[2];
    std::string local_path;
    std::string host;
    std::string remote_directory;
    std::array<uint8_t, BLOCK_BYTES> block;
};

// The calls return the queued codes, then 0. A test reads what was recorded once the worker has ended.
struct fake_feeder_t {
    std::deque<int> version;
    std::deque<int> logging;
    std::deque<int> credentials;
    std::deque<int> prepare;
    std::deque<int> upload;
    std::deque<progress_step_t> progress;
    std::deque<int> close;
    int64_t second_ms = 1000;                               // how far one second of sleep moves the clock
    std::function<void(const std::string &event)> on_event; // runs within the call, before it returns

    // The calls in order: "zixi_upload_file", "sleep(1)", "nanosleep(1.000000000)", ...
    std::vector<std::string> events;
    std::vector<upload_call_t> uploads;
    std::vector<std::array<int, 2>> prepared; // the two numbers of each zixi_prepare_configuration
    std::vector<void *> streams;              // asked for progress, or closed
    int log_level = 0;
    zixi_log_callback log = nullptr;
    void *log_user_data = nullptr;
    std::string user;
    std::string password;
    int user_length = 0;
    int password_length = 0;
    int64_t now_ms = 1700000000000;

    int count(const std::string &event) const;
};
extern fake_feeder_t *feeder_; // of the running test

// The stream that zixi_upload_file returns.
void *fake_stream();

// An upload to zixi.test; every other byte is filled with values that must not matter.
transfer_request_t zixi_request();
