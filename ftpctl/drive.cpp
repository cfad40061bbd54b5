#include "ftpctl/drive.h"

#include "ftpctl/duration.h"
#include "ftpctl/interrupts.h"
#include "ftpctl/json.h"
#include "ftpctl/progress.h"
#include "ftpctl/report.h"
#include "ftpctl/text.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <optional>
#include <poll.h>

constexpr int LOOK_MS = 200; // how often to check the call's progress
constexpr int STATE_MS = 1000;
constexpr std::chrono::seconds WAITING_TOLD_AFTER{1};
constexpr std::chrono::seconds OBJECT_EVERY{1};

namespace
{

// The messages and progress of one call.
class call_view
{
public:
    call_view(const options_t &options, const ftpclient_t *client)
        : options_(options), client_(client), display_(!options.quiet && !options.json)
    {
    }

    void look(const ftpclient_call_t *call)
    {
        const int phase = ftpclient_call_phase(call);
        if (phase == FTPCLIENT_PHASE_TURN || phase == FTPCLIENT_PHASE_BUSY)
            tell_waiting(phase);
        else if (phase == FTPCLIENT_PHASE_TRANSFER)
            show(call);
        else if (phase == FTPCLIENT_PHASE_STOPPING)
            tell_stopping();
    }

    void say(const std::string &line) { display_.say(line); }

private:
    const options_t &options_;
    const ftpclient_t *client_;
    progress_display display_;
    std::optional<deadline_t> tell_wait_at_; // when the present wait has lasted long enough to be told
    bool is_waiting_told_ = false;
    bool is_stopping_told_ = false;
    deadline_t next_object_{std::chrono::milliseconds(0)};

    void tell_waiting(int phase)
    {
        if (!tell_wait_at_)
            tell_wait_at_.emplace(WAITING_TOLD_AFTER);
        if (options_.quiet || is_waiting_told_ || !tell_wait_at_->passed())
            return;
        is_waiting_told_ = true;
        std::string line = phase == FTPCLIENT_PHASE_BUSY ? "waiting for another program's job"
                                                         : "waiting for another program's turn";
        ftpclient_state_t state = {};
        if (ftpclient_poll(client_, &state, sizeof state, STATE_MS) == FTPCLIENT_OK && state.running != 0)
            line += "; running: " + text_job(state.job) + ", " + progress_amount(state.progress);
        say(line);
    }

    // Without an interrupt, a call is stopping because a time limit has expired.
    void tell_stopping()
    {
        if (is_stopping_told_)
            return;
        is_stopping_told_ = true;
        if (interrupts_seen())
            return;
        say(options_.timeout
                ? "out of time, cancelling the job"
                : "nothing has moved for " + duration_text(SILENCE_LIMIT) + ", cancelling the job");
    }

    void show(const ftpclient_call_t *call)
    {
        ftpclient_state_t state = {};
        if (ftpclient_call_state(call, &state, sizeof state) != FTPCLIENT_OK || state.running == 0)
            return;
        display_.update(state.progress);
        if (!options_.json || !options_.progress || !next_object_.passed())
            return;
        output_line(json_progress(options_.command, state.progress));
        next_object_ = deadline_t(OBJECT_EVERY);
    }
};

} // namespace

driver::driver(const options_t &options)
    : options_(options), deadline_(options.timeout), client_(daemon_open(options))
{
}

void driver::tell_turn_error(const ftpclient_call_t *call)
{
    const int error = ftpclient_call_turn_error(call);
    if (error == 0 || is_turn_told_ || options_.quiet)
        return;
    is_turn_told_ = true;
    fprintf(stderr, "ftpctl: cannot take turns with other programs: %s" FTPCLIENT_TURN_SUFFIX ": %s\n",
            options_.socket.c_str(), strerror(error));
}

// The interrupt descriptor stays readable, so it is polled only until the call was stopped.
int driver::drive(ftpclient_call_t *call)
{
    call_view view(options_, client_.get());
    bool is_stopped = false;
    int code = FTPCLIENT_PENDING;
    while ((code = ftpclient_call_finish(call)) == FTPCLIENT_PENDING) {
        tell_turn_error(call);
        view.look(call);
        if (interrupts_seen() && !is_stopped) {
            const int phase = ftpclient_call_phase(call);
            const bool has_job = phase == FTPCLIENT_PHASE_TRANSFER || phase == FTPCLIENT_PHASE_LOOKING_UP;
            view.say(has_job ? "interrupted, cancelling the job" : "interrupted");
            ftpclient_call_stop(call);
            is_stopped = true;
            continue;
        }
        pollfd waiting[] = {{ftpclient_call_fd(call), POLLIN, 0},
                            {is_stopped ? -1 : interrupts_fd(), POLLIN, 0}};
        poll(waiting, 2, LOOK_MS);
    }
    const errno_kept kept;
    tell_turn_error(call);
    return code;
}
