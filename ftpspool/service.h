// `ftpspool run`: sends what is queued.
#pragma once

#include "ftpctl/handles.h"
#include "ftpspool/attempt.h"
#include "ftpspool/choice.h"
#include "ftpspool/event_output.h"
#include "ftpspool/hot_folders.h"
#include "ftpspool/log_keeper.h"
#include "ftpspool/metrics.h"
#include "ftpspool/pauses.h"
#include "ftpspool/store.h"
#include "ftpspool/wakeups.h"

#include <memory>
#include <random>
#include <string>

struct service_options_t {
    std::string folder = SPOOL_FOLDER;
    std::string socket = FTPCLIENT_CONTROL_SOCKET;
    int64_t pause_ms = 5000;           // after a server's first failure
    int64_t longest_pause_ms = 900000; // after many
    bool json = false;                 // events as JSON, not as text
    std::string exec;                  // a command for each event; "": none
    std::string metrics;               // the file with the figures; "": none
};

class service_t
{
public:
    // Takes over the spool: only one service may run on it. Throws failure. A damaged database is renamed,
    // since it may hold entries that can be saved, and the failure gives its new name; the next start begins
    // with an empty one.
    explicit service_t(const service_options_t &options);

    // Returns after SIGTERM, SIGINT or SIGHUP, when the running try has been stopped. Throws failure when an
    // entry's state cannot be stored: what was being sent is sent again by the next service. The destructor
    // gives the commands for events time to end (event_output.h).
    void run();

private:
    service_options_t options_;
    descriptor lock_;
    store_t store_;
    log_keeper_t log_;
    wakeups_t wakeups_;
    client_t client_;
    std::minstd_rand random_;
    pauses_t pauses_;        // by server
    pauses_t daemon_pauses_; // of the one daemon
    chooser_t chooser_;
    event_output_t events_;
    metrics_t metrics_;
    hot_folders_t hot_folders_;
    std::unique_ptr<attempt_t> attempt_;
    int64_t attempt_server_ = 0;
    int64_t wake_ms_ = 0;

    double random();
    void wait(bool is_ending);
    void care_for_arrived();
    void start_next();
    void start(const ready_t &ready);
    void advance();
    void stop_if_unwanted();
    void settle_start(const entry_t &entry, const failure &why);
    void settle();
    void settle_failure(const entry_t &entry, const attempt_end_t &end);
    void pause(pauses_t &pauses, int64_t key, const entry_t &entry, const std::string &why);
    void finish(const entry_t &entry, const std::string &how);
    void give_up(const entry_t &entry, const attempt_end_t &end);
};
