// A control socket with scripted replies.
#pragma once

#include "support/not_copied.h"
#include "temp_dir.h"
#include "wire/wire.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <sys/un.h>
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

transfer_request_t request_of(const message_t &message);

inline uint32_t word_at(const bytes_t &bytes, size_t at)
{
    return bytes[at] | uint32_t(bytes[at + 1]) << 8 | uint32_t(bytes[at + 2]) << 16 |
           uint32_t(bytes[at + 3]) << 24;
}

inline std::string text_at(const bytes_t &bytes, size_t at)
{
    return reinterpret_cast<const char *>(bytes.data()) + at;
}

sockaddr_un address_of(const std::string &path);

// A socket connected to the one at `path`; -1 if nobody listens there.
int connected_to(const std::string &path);

// The base of the fake daemons: a socket in a folder of its own and a thread that serves one request at a
// time.
class daemon_socket : not_copied
{
public:
    std::string path() const { return dir_ / "ftp.sock"; }
    std::string turn_path() const { return path() + ".turn"; }

    // What has arrived so far.
    std::vector<message_t> messages();
    std::vector<uint32_t> commands();
    std::vector<transfer_request_t> requests(); // of the starts
    size_t starts() { return requests().size(); }

    // Waits until `count` messages of `command` have arrived; false after 10 s.
    bool has_got(uint32_t command, size_t count);

    // Ends it; its socket refuses connections from now on.
    void stop();

    // As a reply: keeps the connection open and sends nothing.
    static const bytes_t HANG;

protected:
    daemon_socket();
    ~daemon_socket() = default; // a derived class must call stop() in its destructor

    void run(const std::function<void()> &passes);
    bool rests(int ms) const;        // false: it was stopped
    bool waits_for_somebody() const; // false: it was stopped
    // Serves the first client in the queue, if any. HANG leaves the connection open.
    void serve(const std::function<bytes_t(const message_t &)> &answer);

private:
    temp_dir dir_;
    int listening_;
    int end_[2];
    std::vector<int> hanging_;
    std::mutex mutex_;
    std::condition_variable came_;
    std::vector<message_t> messages_;
    std::thread thread_;
};

class fake_daemon : public daemon_socket
{
public:
    // Returns the reply to a message.
    using answer_t = std::function<bytes_t(const message_t &)>;
    explicit fake_daemon(const answer_t &answer);
    ~fake_daemon() { stop(); }
};

// Another program that holds the turn for one scope; false if it was not free.
class turn_holder : not_copied
{
public:
    explicit turn_holder(const daemon_socket &daemon);
    ~turn_holder();
    explicit operator bool() const { return is_held_; }

private:
    int fd_;
    bool is_held_;
};

// The usual replies: starts succeed, each state is the next of `states` (the last one for ever), cancel makes
// `cancelled` the state. A state whose elapsed time is 0 gets the time since the last start.
struct job_script {
    reply_t started = {0, 0};
    std::deque<reply_t> refusals; // of the first starts
    std::deque<state_reply_t> states;
    cancel_reply_t cancel = {{0, 0}, JOB_UPLOAD};
    state_reply_t cancelled = {};
    remote_file_t remote_file = {};
    std::optional<std::chrono::steady_clock::time_point> start;

    bytes_t operator()(const message_t &message);
};

job_script script_of(std::deque<state_reply_t> states);

// Replies as the script does, but never to a cancel.
fake_daemon::answer_t hanging_at_cancel(job_script script);

state_reply_t idle();
state_reply_t running(uint32_t exec, double total, double transferred);
state_reply_t ended(uint32_t exec, uint32_t result, double total, double transferred);
