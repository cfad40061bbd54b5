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

class played_daemon
{
public:
    enum rhythm_t { REAL, AT_ONCE };
    // Called with the command and the request of each start.
    using plan_t = std::function<played_job_t(uint32_t, const transfer_request_t &)>;
    // Called before each pass with what was served so far: another program. True: the pass was its.
    using stranger_t = std::function<bool(played_daemon &, const std::vector<uint32_t> &served)>;

    explicit played_daemon(rhythm_t rhythm, plan_t plan, stranger_t stranger = nullptr);
    ~played_daemon() { stop(); }
    played_daemon(const played_daemon &) = delete;
    played_daemon &operator=(const played_daemon &) = delete;

    std::string path() const { return dir_ / "ftp.sock"; }
    std::string turn_path() const { return path() + ".turn"; }
    std::vector<uint32_t> commands();
    std::vector<transfer_request_t> requests(); // of the starts
    size_t starts() { return requests().size(); }
    bool has_got(uint32_t command, size_t count = 1); // waits; false after 10 s

    // It ends: its socket refuses from now on.
    void stop();
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
    temp_dir dir_;
    rhythm_t rhythm_;
    plan_t plan_;
    stranger_t stranger_;
    int listening_;
    int end_[2];
    std::atomic<bool> silent_ = false;
    std::vector<int> held_;

    module_info_t info_ = {};
    exec_info_t exec_ = {};
    remote_file_t file_ = {};
    played_job_t job_;
    clock_t::time_point began_;
    bool noted_ = true;

    std::mutex mutex_;
    std::condition_variable came_;
    std::vector<uint32_t> served_;
    std::vector<transfer_request_t> requests_;
    std::thread thread_;

    void run();
    bool rests(int ms) const; // false: the end has come
    void serve(int fd);
    bytes_t answer(uint32_t command, const bytes_t &body);
    bytes_t answer_start(uint32_t command, const bytes_t &body);
    void advance();
    void end_job(uint32_t result);
};
