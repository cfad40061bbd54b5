// What keeps the daemon running, and the signals that end it.
#pragma once

#include <atomic>
#include <csignal>
#include <cstdint>

// Not 0 while the main loop is to go on. Atomic, because a signal may reach another thread.
extern std::atomic<int32_t> exec_;
static_assert(std::atomic<int32_t>::is_always_lock_free, "a signal handler stores it");

// SIGHUP, SIGINT and SIGTERM end the main loop after its current pass; any other number does nothing.
void sighandler(int number);

// In this order they get their handler.
constexpr int ENDING_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

// While it lives these signals wait, for this thread and those it starts. Else one could interrupt
// poll, and accept would then wait for a client that may never come.
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
