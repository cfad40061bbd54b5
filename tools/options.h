// What the command line asks for.
#pragma once

#include "wire/wire.h"

#include <chrono>
#include <optional>
#include <string>

struct options_t {
    int (*run)(const options_t &) = nullptr; // the command; returns the exit status

    // Every command
    std::string socket = CONTROL_SOCKET_PATH;
    std::optional<double> timeout_s;
    static constexpr double LONGEST_S = 1e9;
    bool json = false;
    bool quiet = false;

    // get, put and info
    std::string url;
    std::string file;
    std::optional<std::string> user;
    std::string password_file;
    std::string proxy;
    std::string pin;
    std::string save_identity;
    std::optional<uint32_t> protocol; // 4 or 5
    bool active = false;
    bool resume = false;
    bool no_overwrite = false;
    bool no_wait = false;

    // watch and listen
    std::string exec;

    // listen
    std::string notify_socket = NETWORK_MANAGER_SOCKET_PATH;
    unsigned long count = 0; // 0: for ever

    std::optional<std::chrono::milliseconds> timeout() const
    {
        if (!timeout_s)
            return std::nullopt;
        const double limit_s = *timeout_s < LONGEST_S ? *timeout_s : LONGEST_S; // also for what is no number
        return std::chrono::milliseconds(static_cast<int64_t>(limit_s * 1000));
    }
};
