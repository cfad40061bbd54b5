// The options of the command line: what the user asked for, after the checks that need no URL and no file.
#pragma once

#include "ftpctl/password.h"
#include "libftpclient/ftpclient.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

struct report_t;

constexpr const char *PROFILES_FOLDER = "/etc/ftp_clientd/profiles";

struct options_t {
    // The command: fills in the report, and throws failure on failure.
    void (*run)(const options_t &, report_t &) = nullptr;
    std::string command; // its name; empty if the command line has none

    // Every command
    std::string socket = FTPCLIENT_CONTROL_SOCKET;
    std::optional<std::chrono::milliseconds> timeout; // absent: SILENCE_LIMIT ends a job instead
    bool json = false;
    bool quiet = false;

    // get, put, info and identity; the string of an option that was not given is empty
    std::string url; // relative to the profile's, until the profile is applied
    std::string profile;
    std::string profiles = PROFILES_FOLDER;
    std::vector<std::string> files; // get: at most one
    std::optional<std::string> user;
    password_source_t password;
    std::string proxy;
    password_source_t proxy_password;
    std::string pin;
    std::string save_identity;
    std::optional<uint32_t> protocol;                               // 4 or 5
    std::chrono::milliseconds wait_turn = std::chrono::minutes(10); // 0: do not wait
    bool active = false;
    bool resume = false;
    bool verify = false;
    bool no_overwrite = false;
    bool no_wait = false;
    bool progress = false;

    // watch and listen
    std::string exec; // a command for the shell

    // listen
    std::string notify_socket = FTPCLIENT_NOTICE_SOCKET;
    unsigned long count = 0; // 0: no limit
};

// Fills in `options` from main()'s arguments. Returns an exit status if there is nothing to run: help was
// requested and printed, or the command line is wrong, which is reported on standard error.
std::optional<int> cli_parse(int argc, const char *const *argv, options_t &options);

// A job in which nothing moves for this time is cancelled, unless --timeout is given.
constexpr std::chrono::milliseconds SILENCE_LIMIT = std::chrono::minutes(10);
