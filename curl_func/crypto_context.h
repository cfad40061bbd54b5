// OpenSSL's memory: what it fetches for the first session (ciphers, digests, decoders; 300 KiB) it keeps in
// its library context for good. A job works in a context of its own, so that all of it is given back with the
// job. OpenSSL before 3.0 knows no contexts: it keeps its memory, and everything here does nothing.
#pragma once

#include <openssl/crypto.h>

#if OPENSSL_VERSION_NUMBER < 0x30000000L
struct OSSL_LIB_CTX;
#endif

// From here on OpenSSL works for this thread in a new context, which belongs to the caller until
// crypto_context_leave(). nullptr: it stays in the process's own, for want of memory or of contexts, or because
// that has other providers than OpenSSL's default: openssl.cnf(5) names them, and a new context would not know them.
OSSL_LIB_CTX *crypto_context_enter();

// The thread goes back to the process's own context; the other one is freed with all that was fetched in it,
// and nothing that was made in it may be used any more. nullptr is left alone.
void crypto_context_leave(OSSL_LIB_CTX *context);

// While one lives, the thread works in the process's context: for what is not ours and may keep things of
// OpenSSL's from job to job.
class process_crypto
{
public:
    process_crypto();
    ~process_crypto();
    process_crypto(const process_crypto &) = delete;
    process_crypto &operator=(const process_crypto &) = delete;

private:
    OSSL_LIB_CTX *context_;
};
