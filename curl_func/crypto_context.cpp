#include "curl_func/crypto_context.h"

#if OPENSSL_VERSION_NUMBER < 0x30000000L

job_crypto::job_crypto() : context_(nullptr) {}
job_crypto::~job_crypto() = default;
process_crypto::process_crypto() : context_(nullptr) {}
process_crypto::~process_crypto() = default;

#else

#include <cstring>
#include <openssl/provider.h>

// Called for each provider until it returns 0, which OSSL_PROVIDER_do_all() then returns.
static int is_default(OSSL_PROVIDER *provider, void *)
{
    return strcmp(OSSL_PROVIDER_get0_name(provider), "default") == 0 ? 1 : 0;
}

job_crypto::job_crypto()
    : context_(OSSL_PROVIDER_do_all(nullptr, is_default, nullptr) == 0 ? nullptr : OSSL_LIB_CTX_new())
{
    if (context_ != nullptr)
        OSSL_LIB_CTX_set0_default(context_);
}

job_crypto::~job_crypto()
{
    if (context_ == nullptr)
        return;
    OSSL_LIB_CTX_set0_default(OSSL_LIB_CTX_get0_global_default());
    OSSL_LIB_CTX_free(context_);
}

process_crypto::process_crypto() : context_(OSSL_LIB_CTX_set0_default(OSSL_LIB_CTX_get0_global_default())) {}

process_crypto::~process_crypto() { OSSL_LIB_CTX_set0_default(context_); }

#endif
