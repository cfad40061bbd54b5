// How long the control channel waits for the other side of a connection. Times are ms of CLOCK_MONOTONIC.
#pragma once

#include <cstdint>

// From accept to the end of the reply, for everything the client has a part in.
constexpr int64_t TALK_LIMIT_MS = 10000;

// The connection was accepted just now: its time runs. Only the one accepted last has a deadline of its own.
void deadline_start(int connection);

// The connection is being closed: its number may come back as another descriptor's.
void deadline_end(int connection);

// When the talk over fd must be over: as started for an accepted connection, else TALK_LIMIT_MS from now.
int64_t deadline_of(int fd);

// Waits until fd is ready for `events` (POLLIN, POLLOUT) or broken, which recv or send then reports. False
// with errno ETIMEDOUT once the deadline has come, ready or not, and with poll's errno when poll fails.
bool deadline_wait(int fd, short events, int64_t deadline_ms);
