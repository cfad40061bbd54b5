// What keeps the daemon running, and the signals that end it.
#pragma once

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <initializer_list>

// Not 0 while the main loop runs. Atomic, because a signal may be delivered to another thread.
inline std::atomic<int32_t> exec_ = 0;
static_assert(std::atomic<int32_t>::is_always_lock_free, "a signal handler stores it");

// Handlers are installed in this order.
inline constexpr std::initializer_list<int> ENDING_SIGNALS = {SIGINT, SIGTERM, SIGHUP};

// These signals end the main loop after its current pass; any other number does nothing.
inline void sighandler(int number)
{
    if (std::ranges::find(ENDING_SIGNALS, number) != ENDING_SIGNALS.end())
        exec_ = 0;
}
