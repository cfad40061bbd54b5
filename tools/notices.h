// `listen`: plays the network manager.
#pragma once

#include "tools/options.h"

#include <cstddef>
#include <span>
#include <string>

// Binds the notify socket, prints each notice as it comes, and removes the socket at the end: after
// options.count notices, at an interrupt, or when the time is over. A socket that a program which is gone has
// left behind is replaced, one that somebody listens on is not.
int notices_listen(const options_t &options);

// One notice in a line. Throws failure (STATUS_BAD_ANSWER) for bytes that are no whole notice of the daemon.
std::string notices_text(std::span<const std::byte> bytes, bool as_json);
