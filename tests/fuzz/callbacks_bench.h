// The fuzzer's input, the job that the callbacks work for, and the expected result.
#pragma once

#include "curl_func/data_callbacks.h"
#include "curl_func/identity.h"
#include "curl_func/listing_callback.h"
#include "curl_func/progress.h"
#include "support/logged.h"

#include <cstdint>
#include <span>
#include <string>

// The input as numbers and texts; 0 and "" when it is used up.
class dice_t
{
public:
    explicit dice_t(std::span<const uint8_t> bytes) : left_(bytes) {}
    bool is_empty() const { return left_.empty(); }
    uint8_t byte();
    bool one_in(unsigned times) { return byte() % times == 1; }
    uint32_t word(); // 32 bits
    std::string text(size_t bytes);

private:
    std::span<const uint8_t> left_;
};

// The job that the callbacks work for.
extern curl_job_t job_;

// The part of the job that callbacks may change.
struct shown_t {
    int32_t error = 0;
    double total_size = 0;
    double transferred_size = 0;
    double elapsed_time = 0;
    double last_updated_time = 0;
    uint32_t timed_out = 0;
    remote_file_t remote_file = {};

    bool operator==(const shown_t &other) const;
};

// One job. Each step makes one call and stores in `expected` and `log` what must come of it according to the
// interface; check compares.
struct bench_t {
    explicit bench_t(std::span<const uint8_t> input);

    dice_t dice;
    curl_e_handle_t handle = {};
    timeout_info_t timeout = {};
    shown_t expected;
    double last_amount = 0; // bytes in the last call of this try
    uint32_t callback_aborted_logged = 0;
    uint32_t operation_timed_out = 0;
    lines log;

    void check();
    void expect_error_line(const char *id, const std::string &text);
    // Expects that a call with a missing argument logs this line and returns the right value.
    void refuses(const char *id, const char *text, bool answers_right);
    void expect_errno_line(const char *id, int number);
    void expect_info_line(const char *id, const std::string &text);
};

// libcurl's next elapsed time.
struct told_time_t {
    bool known = true;
    double seconds = 0;
};
extern told_time_t told_time_;

void step_progress(bench_t *bench);
void step_progress_null(bench_t *bench);
void step_ssl_ctx(bench_t *bench);
void step_verify(bench_t *bench);
void step_sshkey(bench_t *bench);
