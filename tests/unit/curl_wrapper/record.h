// A handle record with its own fake libcurl.
#pragma once

#include "curl_wrapper/curl_wrapper.h"
#include "fake_curl.h"

struct record_t : curl_e_handle_t {
    fake_curl fake;

    record_t() : curl_e_handle_t{} { curl = fake.handle(); }
};

inline std::string gave_null(int line, const std::string &call)
{
    return "error: curl_wrapper(" + std::to_string(line) + "): " + call + "(): NULL\n";
}

inline std::string failed(int line, const char *call, const std::string &name, int code)
{
    return "error: curl_wrapper(" + std::to_string(line) + "): " + call + "(" + name + "): Failed(" +
           std::to_string(code) + ")\n";
}
