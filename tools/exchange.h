// One request and its reply, on a connection of its own.
#pragma once

#include "wire/wire.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>

using limit_t = std::optional<std::chrono::milliseconds>; // none: wait for ever

// The daemon answers within its 100 ms rhythm; it gives up on a client after 10 s, and a client on it.
constexpr std::chrono::seconds EXCHANGE_LIMIT{10};

// Sends `command` with `body` to the socket at `path` and fills `reply` with the body of the answer. Throws
// failure: STATUS_NO_DAEMON when nobody listens, the connection breaks off or `limit` passes;
// STATUS_BAD_ANSWER when the answer is for another command or of another length. An interrupt ends no wait.
void exchange_bytes(const std::string &path, control_command command, std::span<const std::byte> body,
                    std::span<std::byte> reply, limit_t limit);

// The same for commands without a body.
template <typename Reply>
Reply exchange(const std::string &path, control_command command, limit_t limit = EXCHANGE_LIMIT)
{
    Reply reply = {};
    exchange_bytes(path, command, {}, std::as_writable_bytes(std::span(&reply, 1)), limit);
    return reply;
}

// The same for commands 1, 2 and 5.
reply_t exchange_request(const std::string &path, control_command command, const transfer_request_t &request);
