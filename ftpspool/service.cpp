#include "ftpspool/service.h"

#include "ftpctl/daemon.h"
#include "ftpctl/duration.h"
#include "ftpctl/interrupts.h"
#include "ftpctl/statuses.h"
#include "ftpspool/after_arrival.h"
#include "ftpspool/copies.h"
#include "ftpspool/takeover.h"

#include <algorithm>

constexpr int64_t DAEMON = 0; // key of the only daemon's pauses
constexpr int64_t DAEMON_PAUSE_MS = 1000;
constexpr int64_t LONGEST_DAEMON_PAUSE_MS = 30000;

static client_t client_of(const std::string &socket)
{
    options_t options;
    options.socket = socket;
    return daemon_open(options);
}

service_t::service_t(const service_options_t &options)
    : options_(options), lock_(takeover_lock({options.folder})), store_(takeover_open({options.folder})),
      log_(store_.database()), wakeups_(store_.paths().database()), client_(client_of(options.socket)),
      random_(std::random_device()()),
      pauses_(options.pause_ms, options.longest_pause_ms, [this] { return random(); }),
      daemon_pauses_(DAEMON_PAUSE_MS, LONGEST_DAEMON_PAUSE_MS, [this] { return random(); }),
      events_(options.json, options.exec), metrics_(options.metrics), hot_folders_(store_, events_)
{
    store_.recover();
    copies_sweep(store_);
}

double service_t::random() { return std::uniform_real_distribution<double>(0, 1)(random_); }

void service_t::run()
{
    interrupts_catch();
    events_.tell_start(store_.figures().counts);
    for (;;) {
        hot_folders_.step(steady_ms());
        if (!attempt_)
            start_next();
        // A signal that comes from here on ends the wait: its descriptor stays readable.
        const bool is_ending = interrupts_seen();
        if (is_ending && !attempt_)
            break;
        if (is_ending)
            attempt_->stop();
        metrics_.keep(store_, steady_ms());
        log_.step();
        wait(is_ending);
        if (attempt_)
            advance();
    }
    metrics_.finish(store_);
}

void service_t::wait(bool is_ending)
{
    const int64_t wake_ms = earlier(metrics_.due_ms(), hot_folders_.wake_ms());
    wakeups_.wait(
        {attempt_ ? attempt_->fd() : -1, is_ending ? -1 : interrupts_fd(), events_.fd(), hot_folders_.fd()},
        earlier(attempt_ ? 0 : wake_ms_, wake_ms), attempt_ ? 0 : store_.next_time(wall_s()));
    if (wakeups_.is_database_gone())
        throw failure(STATUS_LOCAL, store_.paths().database() + ": was removed or replaced");
    events_.step();
}

// ---- The next entry ----

void service_t::start_next()
{
    care_for_arrived();
    for (const int64_t id : store_.expire(wall_s())) {
        metrics_.failed("expired");
        if (const std::optional<entry_t> entry = store_.find(id))
            events_.tell("failed", *entry, "expired");
    }
    while (!attempt_ && !interrupts_seen()) {
        wake_ms_ = daemon_pauses_.end_ms(DAEMON); // the last start may have found no daemon
        if (wake_ms_ > steady_ms())
            return;
        const choice_t choice = chooser_.choose(store_.ready(wall_s()), pauses_, steady_ms());
        if (!choice.entry) {
            wake_ms_ = choice.wake_ms;
            return;
        }
        start(*choice.entry);
        care_for_arrived();
    }
}

void service_t::start(const ready_t &ready)
{
    const std::optional<entry_t> entry = store_.find(ready.id);
    if (!entry)
        return; // removed meanwhile
    attempt_server_ = ready.server;
    try {
        attempt_ = std::make_unique<attempt_t>(client_.get(), options_.socket, *entry);
    } catch (const failure &error) {
        settle_start(*entry, error);
        return;
    }
    if (!store_.begin(entry->id, attempt_->identity(), attempt_->place())) {
        attempt_.reset(); // removed or held meanwhile; nothing was sent before the first step
        return;
    }
    events_.tell("sending", *entry, "");
    advance();
}

// The try could not begin, so nothing was sent. Unless the failure is final, begin() changes the state to
// "sending", the only one in which a setback is recorded.
void service_t::settle_start(const entry_t &entry, const failure &why)
{
    const verdict_t verdict = verdict_before(why.status);
    const attempt_end_t end = {why.status, why.what(), verdict, false, entry.resumable};
    if (verdict == verdict_t::FINAL) {
        metrics_.failed(status_find(why.status).name);
        give_up(entry, end);
    } else if (store_.begin(entry.id, entry.identity, entry.place)) {
        settle_failure(entry, end);
    }
}

// ---- The running try ----

void service_t::advance()
{
    const bool had_begun = attempt_->has_begun_file();
    if (attempt_->step()) {
        settle();
        return;
    }
    if (!had_begun && attempt_->has_begun_file())
        store_.moved(attempt_->entry().id);
    stop_if_unwanted();
}

// Stops the try when a command has removed or held its entry.
void service_t::stop_if_unwanted()
{
    const std::optional<entry_t> now = store_.find(attempt_->entry().id);
    if (!now || now->state != state_t::SENDING)
        attempt_->stop();
}

void service_t::settle()
{
    const std::unique_ptr<attempt_t> ended = std::move(attempt_);
    const attempt_end_t &end = ended->end();
    metrics_.sent(end.bytes);
    const std::optional<entry_t> entry = store_.find(ended->entry().id);
    if (!entry)
        return; // removed during the upload: nothing to record
    if (end.verdict != verdict_t::DAEMON)
        daemon_pauses_.succeeded(DAEMON);
    if (end.status == STATUS_DONE) {
        pauses_.succeeded(attempt_server_);
        metrics_.arrived(wall_s());
        if (store_.arrived(entry->id))
            finish(*entry, end.message);
    } else if (end.stopped) {
        store_.setback(entry->id, {"", "interrupted", end.resumable, false, false});
        events_.tell("stopped", *entry, "");
    } else {
        settle_failure(*entry, end);
    }
}

void service_t::settle_failure(const entry_t &entry, const attempt_end_t &end)
{
    metrics_.failed(status_find(end.status).name);
    const bool counts = end.verdict != verdict_t::DAEMON;
    const bool is_last = counts && entry.tries_most > 0 && entry.tries + 1 >= entry.tries_most;
    if (end.verdict == verdict_t::FINAL || is_last) {
        give_up(entry, end);
        return;
    }
    store_.setback(entry.id, {status_find(end.status).name, end.message, end.resumable, counts,
                              end.verdict == verdict_t::ENTRY});
    if (counts)
        pause(pauses_, attempt_server_, entry, end.message);
    else
        pause(daemon_pauses_, DAEMON, entry, end.message);
}

void service_t::pause(pauses_t &pauses, int64_t key, const entry_t &entry, const std::string &why)
{
    const std::chrono::milliseconds length(pauses.failed(key, steady_ms()));
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(length);
    events_.tell("waiting", entry, why + "; next try in " + duration_text(seconds));
}

// ---- The end of an entry ----

void service_t::give_up(const entry_t &entry, const attempt_end_t &end)
{
    store_.fail(entry.id, {status_find(end.status).name, end.message, end.resumable}, wall_s());
    events_.tell("failed", entry, end.message);
}

void service_t::finish(const entry_t &entry, const std::string &how)
{
    const std::string note = after_arrival(entry);
    store_.done(entry.id, note, wall_s());
    events_.tell("done", entry, note.empty() ? how : note);
}

// Entries whose service ended between "arrived" and "done".
void service_t::care_for_arrived()
{
    while (const int64_t id = store_.first_arrived()) {
        if (const std::optional<entry_t> entry = store_.find(id))
            finish(*entry, "");
    }
}
