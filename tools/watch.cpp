#include "tools/watch.h"

#include "tools/deadline.h"
#include "tools/event.h"
#include "tools/event_hook.h"
#include "tools/exchange.h"
#include "tools/failure.h"
#include "tools/interrupts.h"

#include <chrono>
#include <cstring>
#include <ctime>
#include <thread>

static constexpr std::chrono::milliseconds POLL{100};
static constexpr double PROGRESS_S = 1;

static bool has_progressed(const exec_info_t &before, const exec_info_t &now)
{
    return before.total_size != now.total_size || before.transferred_size != now.transferred_size;
}

// zixi_error is left out: only a Zixi job sets it, and the job's result changes with it.
static bool has_changed(const state_reply_t &before, const state_reply_t &now)
{
    const exec_info_t &a = before.exec_info;
    const exec_info_t &b = now.exec_info;
    return memcmp(&before.module_info, &now.module_info, sizeof now.module_info) != 0 ||
           a.curl_code != b.curl_code || a.response_code_type != b.response_code_type ||
           a.response_code != b.response_code || a.retry_count != b.retry_count;
}

bool watch_pace::is_due(double now_s, const state_reply_t &state)
{
    if (shown_ && !has_changed(*shown_, state) &&
        (!has_progressed(shown_->exec_info, state.exec_info) || now_s - shown_s_ < PROGRESS_S))
        return false;
    shown_ = state;
    shown_s_ = now_s;
    return true;
}

static void follow(const options_t &options, event_hook &hook)
{
    const deadline_t deadline(options.timeout());
    watch_pace pace;
    while (!interrupts_seen() && !deadline.passed()) {
        const auto now = std::chrono::steady_clock::now();
        const auto state = exchange<state_reply_t>(options.socket, COMMAND_GET_STATE);
        hook.step();
        if (pace.is_due(std::chrono::duration<double>(now.time_since_epoch()).count(), state)) {
            const event_t event = event_of_state(state, time(nullptr));
            event_print(event, options);
            hook.add(event);
        }
        std::this_thread::sleep_until(now + POLL);
    }
}

int watch(const options_t &options)
{
    interrupts_catch();
    event_hook hook(options.exec);
    try {
        follow(options, hook);
    } catch (const failure &) { // the daemon has gone: what was seen of it still counts
        hook.finish();
        throw;
    }
    return hook.finish();
}
