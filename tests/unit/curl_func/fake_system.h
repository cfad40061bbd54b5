// System calls that a test can record or make fail.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <curl/curl.h>
#include <functional>
#include <openssl/ossl_typ.h>

// If not 0, the next call fails once with this error number.
struct fake_system {
    std::atomic<int> fdopen = 0;
    std::atomic<int> fclose = 0; // closes the file even if it fails
    std::atomic<int> fflush = 0;
    std::atomic<int> fseeko = 0;
    std::atomic<int> remove = 0;
    std::atomic<int> global_init = 0; // a CURLcode

    // Sleeps return at once: they are counted, and each runs `while_asleep`.
    std::atomic<int> naps = 0;
    std::atomic<uint64_t> slept_us = 0;
    std::atomic<uint64_t> longest_nap_us = 0;
    std::function<void()> while_asleep;

    // curl_version_info()
    unsigned curl_version_num = 0x080500;
    const char *curl_version_text = "8.5.0";
    std::array<const char *, 4> curl_protocols = {"ftp", "ftps", "sftp", nullptr};
    const char *curl_tls = "OpenSSL/3.0.15";
    const char *curl_ssh = "libssh2/1.10.0";
    int curl_features = CURL_VERSION_ASYNCHDNS;

    // SSL_CTX_set_options
    uint64_t tls_options = 0;

    // SSL_CTX_set_verify
    int tls_verify_mode = 0;

    // SSL_CTX_set_cert_verify_callback
    SSL_CTX *verified = nullptr;
    int (*verify)(X509_STORE_CTX *, void *) = nullptr;
    void *verify_argument = nullptr;
};

extern fake_system *system_;
