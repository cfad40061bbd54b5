// What keeps the daemon running, and the signals that end it.
#pragma once

#include <atomic>
#include <csignal>
#include <cstdint>
#include <initializer_list>

// Not 0 while the main loop runs. Atomic, because a signal may be delivered to another thread.
extern std::atomic<int32_t> exec_;
static_assert(std::atomic<int32_t>::is_always_lock_free, "a signal handler stores it");

// SIGHUP, SIGINT and SIGTERM end the main loop after its current pass; any other number does nothing.
void sighandler(int number);

// Handlers are installed in this order.
constexpr std::initializer_list<int> ENDING_SIGNALS = {SIGINT, SIGTERM, SIGHUP};
