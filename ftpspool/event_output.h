// The events of the service: each is printed to standard output and runs the command of --exec.
#pragma once

#include "ftpctl/event_hook.h"
#include "ftpspool/entry.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>

class event_output_t
{
public:
    // How many events may wait for their command, including the running one; further ones are dropped with a
    // message.
    static constexpr size_t COMMANDS_MOST = 300;
    // How long commands may still run after the service's end, for which systemd allows 90 seconds.
    static constexpr int64_t GRACE_MS = 10000;

    // An empty `command` runs nothing. As with event_hook, only one may exist, and the same failure is
    // thrown.
    event_output_t(bool as_json, const std::string &command, int64_t grace_ms = GRACE_MS);

    // Waits until the queued commands have run, `grace_ms` at most. Then ends the running one with SIGTERM,
    // waits for it, and drops the others with a message.
    ~event_output_t();
    event_output_t(const event_output_t &) = delete;
    event_output_t &operator=(const event_output_t &) = delete;

    // "7 sending: /data/a -> ftp://host/a", then `more` in brackets if not empty; with JSON {"event":
    // "sending", "time": ..., "id": 7, "local": ..., "url": ..., "profile": ..., "message": more}. A closed
    // standard output is ignored.
    void tell(const char *event, const entry_t &entry, const std::string &more);

    // "started (3 queued, 1 failed)": the service runs; with JSON {"event": "started", "time": ..., "queued":
    // 3, ...} with the number of entries in each state.
    void tell_start(const std::array<int64_t, STATE_COUNT> &counts);

    // "watch 3 lost: /data/in (why)"; with JSON {"event": "lost", "time": ..., "watch": 3, "folder": ...,
    // "message": why}.
    void tell_watch(const char *event, int64_t watch, const std::string &folder, const std::string &why);

    // Readable (poll) when step() is due; -1: never.
    int fd() const { return hook_.fd(); }

    // Starts the next command when one has ended. If no process can be started, this is reported once, and
    // the next step() or event tries again. Never waits.
    void step();

private:
    bool json_;
    int64_t grace_ms_;
    event_hook hook_;
    bool is_refused_ = false; // it was reported that no command could be started

    void tell(const event_t &event);
    void drive(const std::function<void()> &call);
};
