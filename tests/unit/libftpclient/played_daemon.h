// A daemon with one job slot and the rhythm of the real one: in each pass it serves one request, takes note
// of a job that has ended, and pauses. What its jobs come to is the test's to say.
#pragma once

#include "fake_daemon.h"

#include <atomic>
#include <chrono>

// What a start begins.
struct played_job_t {
    uint32_t refused = 0; // what the start is refused with, whatever the job slot holds
    int lasts_ms = 0;
    double total = 0;        // bytes
    double transferred = -1; // at the end; -1: all of them
    uint32_t result = 0;
    uint32_t curl_code = 0;
    uint32_t retries = 0;
    uint32_t response_code = 0;      // of FTP
    bool moves = true;               // while it runs
    double transferred_at_once = 0;  // and then nothing moves
    remote_file_t found = {};        // by a file-information job
    std::function<void()> when_done; // on the server
};

class played_daemon : public daemon_socket
{
public:
    enum rhythm_t { REAL, AT_ONCE };
    // Called with the command and the request of each start.
    using plan_t = std::function<played_job_t(uint32_t, const transfer_request_t &)>;
    // Called before each pass with what was served so far: another program. True: the pass was its.
    using stranger_t = std::function<bool(played_daemon &, const std::vector<uint32_t> &served)>;

    explicit played_daemon(rhythm_t rhythm, plan_t plan, stranger_t stranger = nullptr);
    ~played_daemon() { stop(); }

    // From now on it takes requests and answers none.
    void fall_silent() { silent_ = true; }

    // For the stranger: the daemon's own calls.
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
