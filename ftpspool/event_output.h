// The events of the service: for each a line on standard output and a command of --exec.
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
    // Events for which commands wait, with the running one; the next event is dropped with a message.
    static constexpr size_t COMMANDS_MOST = 300;
    // How long after the service's end commands may still run: systemd allows it 90 seconds.
    static constexpr int64_t GRACE_MS = 10000;

    // With an empty `command` nothing is run. Throws failure as event_hook does, which see: only one may
    // exist.
    event_output_t(bool as_json, const std::string &command, int64_t grace_ms = GRACE_MS);

    // Waits until the queued commands have run, `grace_ms` at most. Then ends the running one with SIGTERM,
    // waits for it, and drops the others with a message.
    ~event_output_t();
    event_output_t(const event_output_t &) = delete;
    event_output_t &operator=(const event_output_t &) = delete;

    // "7 sending: /data/a -> ftp://host/a", then `more` in brackets if not empty; with JSON {"event":
    // "sending", "time": ..., "id": 7, "local": ..., "url": ..., "message": more}. A closed standard output
    // is ignored.
    void tell(const char *event, const entry_t &entry, const std::string &more);

    // "started (3 queued, 1 failed)": the service runs; with JSON {"event": "started", "time": ..., "queued":
    // 3, ...} with the number of entries in each state.
    void tell_start(const std::array<int64_t, STATE_COUNT> &counts);

    // "watch 3 lost: /data/in (why)"; with JSON {"event": "lost", "time": ..., "watch": 3, "folder": ...,
    // "message": why}.
    void tell_watch(const char *event, int64_t watch, const std::string &folder, const std::string &why);

    // Readable (poll) when step() is due; -1: never.
    int fd() const { return hook_.fd(); }

    // Starts the next command when one has ended. That no process can be started is reported once, and
    // asked again by the next step() or event. Never waits.
    void step();

private:
    bool json_;
    int64_t grace_ms_;
    event_hook hook_;
    bool is_refused_ = false; // it was reported that no command could be started

    void tell(const event_t &event);
    void drive(const std::function<void()> &call);
};
