// OpenSSL's memory: what it fetches for the first session (ciphers, digests, decoders; 300 KiB) it keeps in
// its library context for good. A job works in a context of its own, so that all of it is given back with the
// job. OpenSSL before 3.0 knows no contexts: it keeps its memory, and both classes do nothing. Else they
// change the context of the thread that they live on; they never fail.
#pragma once

#include <openssl/crypto.h>

#if OPENSSL_VERSION_NUMBER < 0x30000000L
struct OSSL_LIB_CTX;
#endif

// While one lives, OpenSSL works for this thread in a new context, which is freed at the end with all that
// was fetched in it; nothing that was made in it may be used any more then. It stays in the process's context
// when there is no memory for a new one, or when that has other providers than OpenSSL's default:
// openssl.cnf(5) names them, and a new context would not know them.
class job_crypto
{
public:
    job_crypto();
    ~job_crypto();
    job_crypto(const job_crypto &) = delete;
    job_crypto &operator=(const job_crypto &) = delete;

private:
    OSSL_LIB_CTX *context_; // NULL = the process's
};

// While one lives, the thread works in the process's context: for closed libraries, which may keep things of
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
