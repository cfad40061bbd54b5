// What the daemon must make of the bytes that one client sends: a plain second reading of the interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace model
{

// What happens around a request.
struct surroundings_t {
    size_t memory_bytes;  // a larger body does not fit
    uint32_t start_code;  // what the engine answers to a job
    uint32_t cancel_code; // and to a cancel
    uint32_t last_detail; // of the last command 1, 2 or 5
    bool zixi_active;     // the engine of the last job asked for
};

struct outcome_t {
    std::vector<std::string> calls; // of the engines, e.g. "curlf_download"
    std::vector<std::string> log;
    bool answered = true;
    uint32_t command = 0; // of the reply
    size_t body_bytes = 8;
    uint32_t result = 0;
    uint32_t detail = 0;
    uint32_t last_detail = 0;
    bool zixi_active = false;
};

constexpr size_t REQUEST_BYTES = 2080;

// `sent` is everything the client sends before it stops.
outcome_t serve(std::string_view sent, const surroundings_t &around);

} // namespace model
