// Stands in for the libcurl wrapper: writes down what the engine asks of it and plays what a test scripts.
#pragma once

#include "curl_wrapper/curl_wrapper.h"

#include <deque>
#include <functional>
#include <string>
#include <vector>

using calls = std::vector<std::string>;

struct fake_wrapper {
    // What was asked, in order, e.g. "port(21)"; "copy." in front when it was asked of a copy of the handle.
    calls asked;
    // The call of this name ("port", "copy.http_version") is refused: libcurl 43, error 5.
    std::string refused;
    bool no_handle = false; // curl_e_init fails

    // One for each try that the engine makes, played on the handle with a clear result block.
    std::deque<std::function<void(curl_e_handle_t *)>> tries;
    int performed = 0;
    bool explains = true; // a CURLcode without an error becomes error 16, as after a real transfer

    // What the getters give; negative: they fail.
    double total_time_s = 0;
    double size_download = 0;
    double size_upload = 0;

    // What was installed.
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

// A try that ends so.
std::function<void(curl_e_handle_t *)> ends_with(int32_t error, int32_t curl_code = 0,
                                                 int32_t response_code = 0);
