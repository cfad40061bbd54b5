// A daemon with one job slot and the rhythm of the real one: in each pass it serves one request, joins a job
// that has ended, and pauses. The test decides the outcome of its jobs.
#pragma once

#include "fake_daemon.h"

#include <atomic>
#include <chrono>

// A job and its outcome.
struct played_job_t {
    uint32_t refused = 0; // if not 0, the start is refused with this code, whatever runs
    int lasts_ms = 0;
    double total = 0;        // bytes
    double transferred = -1; // at the end; -1: all
    uint32_t result = 0;
    uint32_t curl_code = 0;
    uint32_t retries = 0;
    uint32_t response_code = 0;      // of FTP
    bool moves = true;               // while it runs
    double transferred_at_once = 0;  // if nothing moves afterwards
    remote_file_t found = {};        // by file information
    std::function<void()> when_done; // on the server
};

class played_daemon : public daemon_socket
{
public:
    enum rhythm_t { REAL, AT_ONCE };
    // Called for each start.
    using plan_t = std::function<played_job_t(uint32_t, const transfer_request_t &)>;
    // Another program: called before each pass with the commands served so far. True: it used the pass.
    using stranger_t = std::function<bool(played_daemon &, const std::vector<uint32_t> &served)>;

    explicit played_daemon(rhythm_t rhythm, plan_t plan, stranger_t stranger = nullptr);
    ~played_daemon() { stop(); }

    // Accepts requests from now on but never replies.
    void fall_silent() { silent_ = true; }

    // For the stranger.
    uint32_t start(uint32_t kind, const played_job_t &job);
    uint32_t cancel();
    void let_job_end(); // now
    bool is_running() const { return info_.running != 0; }
    bool is_noted() const { return noted_; }
    state_reply_t state() const;

private:
    using clock_t = std::chrono::steady_clock;
    rhythm_t rhythm_;
    plan_t plan_;
    stranger_t stranger_;
    std::atomic<bool> silent_ = false;

    module_info_t info_ = {};
    exec_info_t exec_ = {};
    remote_file_t file_ = {};
    played_job_t job_;
    clock_t::time_point began_;
    bool noted_ = true;

    void pass();
    bytes_t answer(const message_t &message);
    bytes_t answer_start(const message_t &message);
    void advance();
    void end_job(uint32_t result);
};
