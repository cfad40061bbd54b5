// OpenSSL library contexts. OpenSSL keeps what it fetches for the first session (ciphers, digests, decoders;
// 300 KiB) in its library context until that is freed. So each job has its own context, freed with the job.
// Before OpenSSL 3.0 there are no contexts, and both classes do nothing. Otherwise they change the context of
// the current thread; they never fail.
#pragma once

#include <openssl/crypto.h>

#if OPENSSL_VERSION_NUMBER < 0x30000000L
struct OSSL_LIB_CTX;
#endif

// During its lifetime this thread uses a new OpenSSL context. The destructor frees it with everything fetched
// in it; objects created in it must not be used afterwards. The process's context is kept when there is no
// memory for a new one, or when openssl.cnf(5) configures providers other than the default: a new context
// would not have them.
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

// During its lifetime the thread uses the process's context: for closed libraries, which may keep OpenSSL
// objects between jobs.
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
