// A handle record in front of the fake libcurl, for the length of one test.
#pragma once

#include "curl_wrapper/curl_wrapper.h"
#include "fake_curl.h"

struct record_t : curl_e_handle_t {
    explicit record_t(fake_curl &fake) : curl_e_handle_t{}
    {
        curl = fake.handle();
        logged(); // nothing of an earlier test
    }
};

inline std::string failed(int line, const char *call, const std::string &name, int code)
{
    return "error: curl_wrapper(" + std::to_string(line) + "): " + call + "(" + name + "): Failed(" +
           std::to_string(code) + ")\n";
}
