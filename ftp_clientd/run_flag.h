// What keeps the daemon running, and the signals that end it.
#pragma once

#include <atomic>
#include <cstdint>

// Not 0 while the main loop is to go on. Atomic, because a signal may reach a transfer's thread.
extern std::atomic<int32_t> exec_;
static_assert(std::atomic<int32_t>::is_always_lock_free, "a signal handler stores it");

// SIGHUP, SIGINT and SIGTERM end the main loop after its current pass; any other number does nothing.
void sighandler(int number);
