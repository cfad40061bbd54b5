// Owners of heap strings for one scope.
#pragma once

#include <cstdlib>
#include <curl/curl.h>
#include <memory>

struct heap_deleter {
    void operator()(void *p) const { free(p); }
};
using heap_string = std::unique_ptr<char, heap_deleter>;

struct curl_deleter {
    void operator()(void *p) const { curl_free(p); }
};
using curl_string = std::unique_ptr<char, curl_deleter>;
