// Stands in for the libcurl wrapper: records the engine's calls and plays the tries that a test scripts.
#pragma once

#include "curl_wrapper/curl_wrapper.h"

#include <deque>
#include <functional>
#include <string>
#include <vector>

using calls = std::vector<std::string>;

struct fake_wrapper {
    // The calls in order, e.g. "port(21)", or "copy.port(21)" when made with a copy of the handle.
    calls asked;
    // The call of this name ("port", "copy.http_version") fails with libcurl's code 43 and error 5.
    std::string refused;
    bool no_handle = false; // curl_e_init fails

    // One for each try that the engine makes; called with the handle, its result block clear.
    std::deque<std::function<void(curl_e_handle_t *)>> tries;
    int performed = 0;
    bool explains = true; // turns a CURLcode without an error into error 16, as a real transfer does

    // Results of the getters; a negative one makes the getter fail.
    double total_time_s = 0;
    double size_download = 0;
    double size_upload = 0;

    // The installed callbacks and their contexts.
    curl_write_callback write = nullptr;
    void *write_data = nullptr;
    curl_read_callback read = nullptr;
    void *read_data = nullptr;
    curl_progress_callback progress = nullptr;
    void *progress_data = nullptr;
    curl_sockopt_callback note_socket = nullptr;
    void *socket_data = nullptr;
    list_callback_fn list = nullptr;
    void *list_context = nullptr;
    curl_sshkeycallback sshkey = nullptr;
    curl_ssl_ctx_callback ssl_ctx = nullptr;
    void *auth = nullptr;

    // The calls of one name, e.g. every "connect_timeout(...)".
    calls asked_of(const std::string &name) const;
};

extern fake_wrapper wrapper_;

// A try with this outcome.
std::function<void(curl_e_handle_t *)> ends_with(int32_t error, int32_t curl_code = 0,
                                                 int32_t response_code = 0);
