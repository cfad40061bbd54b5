#include "ftpctl/watch.h"

#include "ftpctl/daemon.h"
#include "ftpctl/deadline.h"
#include "ftpctl/event.h"
#include "ftpctl/event_hook.h"
#include "ftpctl/interrupts.h"
#include "ftpctl/report.h"

#include <algorithm>
#include <chrono>
#include <ctime>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds RHYTHM{100}; // one pass of the daemon's main loop
constexpr double PROGRESS_S = 1;

static bool has_progressed(const ftpclient_progress_t &before, const ftpclient_progress_t &now)
{
    return before.total_bytes != now.total_bytes || before.transferred_bytes != now.transferred_bytes;
}

// zixi_error is left out: only a Zixi job sets it, and the job's result changes with it.
static bool has_changed(const ftpclient_state_t &before, const ftpclient_state_t &now)
{
    const ftpclient_progress_t &a = before.progress;
    const ftpclient_progress_t &b = now.progress;
    return before.running != now.running || before.job != now.job || before.result != now.result ||
           before.cancelled != now.cancelled || a.curl_code != b.curl_code ||
           a.response_type != b.response_type || a.response_code != b.response_code || a.retries != b.retries;
}

// Errors of a daemon that is stopping or not yet running.
static bool is_absence(int error)
{
    constexpr int ABSENCES[] = {FTPCLIENT_ERR_NO_DAEMON, FTPCLIENT_ERR_DISCONNECTED, FTPCLIENT_ERR_NO_ANSWER,
                                FTPCLIENT_ERR_TIMEOUT,   FTPCLIENT_ERR_UNREAD,       FTPCLIENT_ERR_DENIED};
    return std::ranges::find(ABSENCES, error) != std::end(ABSENCES);
}

namespace
{

class watcher
{
public:
    explicit watcher(const options_t &options)
        : options_(options), deadline_(options.timeout), client_(daemon_open(options)), hook_(options)
    {
    }

    void run()
    {
        try {
            while (!interrupts_seen() && !deadline_.passed())
                step();
        } catch (const failure &) { // earlier events are still handled
            hook_.finish();
            throw;
        }
        if (!hook_.finish())
            throw failure(STATUS_EXEC, ""); // each failed command was reported when it ended
        if (daemon_ == daemon_t::UNKNOWN && !interrupts_seen())
            throw daemon_failure(options_, FTPCLIENT_ERR_TIMEOUT);
    }

private:
    enum class daemon_t { UNKNOWN, THERE, GONE };

    const options_t &options_;
    deadline_t deadline_;
    client_t client_;
    event_hook hook_;
    call_t call_;                      // the pending request
    deadline_t next_{milliseconds(0)}; // when to ask again
    watch_pace pace_;
    daemon_t daemon_ = daemon_t::UNKNOWN;

    // One request at a time, at most one per pass of the daemon's main loop.
    void ask()
    {
        if (call_ || !next_.passed())
            return;
        next_ = deadline_t(RHYTHM);
        ftpclient_call_t *call = nullptr;
        if (const int error = ftpclient_begin_poll(client_.get(), FTPCLIENT_TIMEOUT_MS, &call);
            error != FTPCLIENT_OK)
            throw daemon_failure(options_, error);
        call_ = call_t(call);
    }

    int wait_ms() const
    {
        const int left_ms = deadline_.poll_ms();
        if (call_)
            return left_ms;
        return left_ms == -1 ? next_.poll_ms() : std::min(left_ms, next_.poll_ms());
    }

    void hear_state()
    {
        ftpclient_state_t state = {};
        ftpclient_call_state(call_.get(), &state, sizeof state);
        if (daemon_ == daemon_t::GONE)
            hook_.tell(event_of_daemon(FTPCLIENT_OK, time(nullptr)), options_);
        daemon_ = daemon_t::THERE;
        const auto now = steady_clock::now().time_since_epoch();
        if (pace_.is_due(std::chrono::duration<double>(now).count(), state))
            hook_.tell(event_of_state(state, time(nullptr)), options_);
    }

    void hear(int code)
    {
        if (code == FTPCLIENT_OK)
            return hear_state();
        if (daemon_ == daemon_t::UNKNOWN || !is_absence(code))
            throw daemon_failure(options_, code);
        if (daemon_ == daemon_t::THERE)
            hook_.tell(event_of_daemon(code, time(nullptr)), options_);
        daemon_ = daemon_t::GONE;
        pace_ = {}; // its first state after coming back counts as a change
    }

    void step()
    {
        ask();
        hook_.wait(ftpclient_call_fd(call_.get()), wait_ms());
        if (!call_)
            return;
        const int code = ftpclient_call_finish(call_.get());
        if (code == FTPCLIENT_PENDING)
            return;
        hear(code);
        call_ = call_t();
    }
};

} // namespace

bool watch_pace::is_due(double now_s, const ftpclient_state_t &state)
{
    if (shown_ && !has_changed(*shown_, state) &&
        (!has_progressed(shown_->progress, state.progress) || now_s - shown_s_ < PROGRESS_S))
        return false;
    shown_ = state;
    shown_s_ = now_s;
    return true;
}

void command_watch(const options_t &options, report_t &report)
{
    report.is_told = true;
    interrupts_catch();
    watcher(options).run();
}
