// The system calls that a test can watch or make fail.
#pragma once

#include <atomic>
#include <cstdint>
#include <curl/curl.h>
#include <functional>
#include <openssl/ossl_typ.h>

// An error number: the next call fails with it, once. 0: the calls do their work.
struct fake_system {
    std::atomic<int> fdopen = 0;
    std::atomic<int> fclose = 0; // the file is closed all the same
    std::atomic<int> fflush = 0;
    std::atomic<int> fseeko = 0;
    std::atomic<int> remove = 0;
    std::atomic<int> global_init = 0; // a CURLcode

    // No test sleeps: what would have been slept is counted, and `while_asleep` runs instead.
    std::atomic<int> naps = 0;
    std::atomic<uint64_t> slept_us = 0;
    std::atomic<uint64_t> longest_nap_us = 0;
    std::function<void()> while_asleep;

    unsigned curl_version_num = 0x080500;
    const char *curl_version_text = "8.5.0";

    // SSL_CTX_set_cert_verify_callback
    SSL_CTX *verified = nullptr;
    int (*verify)(X509_STORE_CTX *, void *) = nullptr;
    void *verify_argument = nullptr;
};

extern fake_system *system_;
