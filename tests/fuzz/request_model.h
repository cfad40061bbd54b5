// A plain model of the interface: what must come of the bytes that one client sends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace model
{

// The conditions of a request.
struct surroundings_t {
    size_t memory_bytes;  // a larger body does not fit
    uint32_t start_code;  // the engine's result for a start
    uint32_t cancel_code; // and for a cancel
    uint32_t last_detail; // of the last command 1, 2 or 5
    bool zixi_active;     // the engine of the last requested job
};

struct outcome_t {
    std::vector<std::string> calls; // of the engines, e.g. "curlf_download()"
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

// The strings of a request.
struct field_t {
    size_t at;
    size_t size;
};
constexpr field_t REMOTE_PATH = {0, 512};
constexpr field_t LOCAL_PATH = {512, 256};
constexpr field_t HOST = {768, 256};
constexpr field_t USERNAME = {1028, 32};
constexpr field_t PASSWORD = {1060, 224};
constexpr field_t PROXY_HOST = {1292, 256};
constexpr field_t SAVE_PATH = {1817, 259};
constexpr field_t ZIXI_USER = {1092, 64};
constexpr field_t ZIXI_PASSWORD = {1156, 128};
constexpr field_t STRINGS[] = {REMOTE_PATH, LOCAL_PATH, HOST,      USERNAME,     PASSWORD,
                               PROXY_HOST,  SAVE_PATH,  ZIXI_USER, ZIXI_PASSWORD};

// `sent` is everything the client sends before it stops.
outcome_t serve(std::string_view sent, const surroundings_t &around);

} // namespace model
