// --proxy: [http://][USER@]HOST[:PORT].
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct proxy_t {
    std::optional<std::string> user;
    std::string host;
    uint32_t port = 0;
};

// Throws failure (STATUS_USAGE), also for a password, which every process could read.
proxy_t proxy_parse(std::string_view text);
