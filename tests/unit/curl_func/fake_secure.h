// Stands in for libsecure.
#pragma once

#include "curl_func/crypto_context.h"
#include "platform/secure.h"

#include <string>
#include <vector>

#if OPENSSL_VERSION_NUMBER < 0x30000000L // has one context only
inline OSSL_LIB_CTX *OSSL_LIB_CTX_set0_default(OSSL_LIB_CTX *) { return nullptr; }
#endif

struct fake_secure {
    int save_result = 0;
    int compare_result = 0;
    bool equal = true; // result of each comparison

    // The calls in order, e.g. "x509_cert_save(/tmp/pin.pem)".
    std::vector<std::string> asked;
    const void *subject = nullptr; // certificate or key of the last call
    size_t key_length = 0;
    const uint8_t *expected = nullptr;
    OSSL_LIB_CTX *crypto = nullptr; // the thread's in the last call
};

extern fake_secure secure_;
