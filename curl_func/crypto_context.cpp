#include "curl_func/crypto_context.h"

#if OPENSSL_VERSION_NUMBER < 0x30000000L

OSSL_LIB_CTX *crypto_context_enter() { return nullptr; }
void crypto_context_leave(OSSL_LIB_CTX *) {}
process_crypto::process_crypto() : context_(nullptr) {}
process_crypto::~process_crypto() = default;

#else

#include <cstring>
#include <openssl/provider.h>

// Asked for each provider until it returns 0, which OSSL_PROVIDER_do_all() then returns.
static int is_default(OSSL_PROVIDER *provider, void *)
{
    return strcmp(OSSL_PROVIDER_get0_name(provider), "default") == 0 ? 1 : 0;
}

OSSL_LIB_CTX *crypto_context_enter()
{
    if (OSSL_PROVIDER_do_all(nullptr, is_default, nullptr) == 0)
        return nullptr;
    OSSL_LIB_CTX *context = OSSL_LIB_CTX_new();
    if (context != nullptr)
        OSSL_LIB_CTX_set0_default(context);
    return context;
}

void crypto_context_leave(OSSL_LIB_CTX *context)
{
    if (context == nullptr)
        return;
    OSSL_LIB_CTX_set0_default(OSSL_LIB_CTX_get0_global_default());
    OSSL_LIB_CTX_free(context);
}

process_crypto::process_crypto() : context_(OSSL_LIB_CTX_set0_default(OSSL_LIB_CTX_get0_global_default())) {}

process_crypto::~process_crypto() { OSSL_LIB_CTX_set0_default(context_); }

#endif
