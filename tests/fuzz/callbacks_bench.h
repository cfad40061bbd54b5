// What the callbacks are driven with: the input, the job they work for, and what must have come of it.
#pragma once

#include "curl_func/data_callbacks.h"
#include "curl_func/identity.h"
#include "curl_func/listing_callback.h"
#include "curl_func/progress.h"
#include "support/logged.h"

#include <cstdint>
#include <span>
#include <string>

// The input, from which numbers and texts are taken until nothing is left: then 0 and "".
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

// One job. Each step makes one call, and writes down in `expected` and `log` what the interface says must
// come of it; check compares.
struct bench_t {
    explicit bench_t(std::span<const uint8_t> input);

    dice_t dice;
    curl_e_handle_t handle = {};
    timeout_info_t timeout = {};
    shown_t expected;
    double last_amount = 0; // bytes, as last told in this try
    uint32_t callback_aborted_logged = 0;
    uint32_t operation_timed_out = 0;
    lines log;

    void check();
    void expect_error_line(const char *id, const std::string &text);
    // A call that lacks something logs this line and answers as it must.
    void refuses(const char *id, const char *text, bool answers_right);
    void expect_errno_line(const char *id, int number);
    void expect_info_line(const char *id, const std::string &text);
};

// libcurl's elapsed time, as it is told next.
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
