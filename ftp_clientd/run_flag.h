// What keeps the daemon running, and the signals that end it.
#pragma once

#include <atomic>
#include <csignal>
#include <cstdint>

// Not 0 while the main loop runs. Atomic, because a signal may be delivered to another thread.
extern std::atomic<int32_t> exec_;
static_assert(std::atomic<int32_t>::is_always_lock_free, "a signal handler stores it");

// SIGHUP, SIGINT and SIGTERM end the main loop after its current pass; any other number does nothing.
void sighandler(int number);

// Handlers are installed in this order.
constexpr int ENDING_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

// Blocks these signals during its lifetime, for this thread and the threads it starts. Otherwise a signal
// could interrupt poll, and accept would then wait for a client that may never come.
class signals_held
{
public:
    signals_held();
    ~signals_held();
    signals_held(const signals_held &) = delete;
    signals_held &operator=(const signals_held &) = delete;

private:
    sigset_t before_;
};
