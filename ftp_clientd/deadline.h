// How long the control channel waits for the peer of a connection. Times are ms of CLOCK_MONOTONIC.
#pragma once

#include <cstdint>

// Starts the deadline of a connection that was just accepted. Only the last accepted one has a deadline.
void deadline_start(int connection);

// To be called when the connection is closed: its number may be reused for another descriptor.
void deadline_end(int connection);

// The deadline of fd, a time: as started for an accepted connection, otherwise CONTROL_TALK_MS from now.
int64_t deadline_of(int fd);

// Waits until fd is ready for `events` (POLLIN, POLLOUT) or the connection breaks, which the next recv or send
// reports. False with errno ETIMEDOUT after the deadline, even if fd is ready, or with poll's errno if poll
// fails.
bool deadline_wait(int fd, short events, int64_t deadline_ms);
