// A control socket whose every answer is scripted.
#pragma once

#include "temp_dir.h"
#include "wire/wire.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using bytes_t = std::vector<uint8_t>;

struct message_t {
    uint32_t command;
    bytes_t body;
};

// The bytes of a message: head and body.
bytes_t message_bytes(uint32_t command, const bytes_t &body);

template <typename Record> bytes_t bytes_of(const Record &record)
{
    const auto *first = reinterpret_cast<const uint8_t *>(&record);
    return {first, first + sizeof record};
}

class fake_daemon
{
public:
    // Gives the bytes that answer a message; nothing closes the connection, HANG keeps it open without a
    // word.
    using answer_t = std::function<bytes_t(const message_t &)>;
    static const bytes_t HANG;

    enum manner_t { AT_ONCE, BYTE_BY_BYTE };
    explicit fake_daemon(answer_t answer, manner_t manner = AT_ONCE);
    ~fake_daemon();
    fake_daemon(const fake_daemon &) = delete;
    fake_daemon &operator=(const fake_daemon &) = delete;

    std::string path() const { return dir_ / "ftp.sock"; }

    // What came so far.
    std::vector<message_t> messages();
    std::vector<uint32_t> commands();

    // Waits until `count` messages of `command` have come; false after 10 s.
    bool has_got(uint32_t command, size_t count);

private:
    temp_dir dir_;
    answer_t answer_;
    manner_t manner_;
    int listening_;
    int wake_[2];
    std::vector<int> hanging_;
    std::mutex mutex_;
    std::condition_variable came_;
    std::vector<message_t> messages_;
    std::thread thread_;

    void serve();
    void serve_one(int fd);
};

// The usual answers: starts succeed, each state is the next of `states` (the last one for ever), cancel makes
// `cancelled` the state. A state whose elapsed time is 0 tells the time since the last start.
struct job_script {
    reply_t started = {0, 0};
    std::deque<reply_t> refusals; // answered first
    std::deque<state_reply_t> states;
    cancel_reply_t cancel = {{0, 0}, JOB_UPLOAD};
    state_reply_t cancelled = {};
    remote_file_t remote_file = {};
    std::optional<std::chrono::steady_clock::time_point> start;

    bytes_t operator()(const message_t &message);
};

state_reply_t idle();
state_reply_t running(uint32_t exec, double total, double transferred);
state_reply_t ended(uint32_t exec, uint32_t result, double total, double transferred);
