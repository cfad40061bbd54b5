#include "curl_func/crypto_context.h"

#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <openssl/crypto.h>
#if OPENSSL_VERSION_NUMBER < 0x30000000L

// Only on Debian 11; docs/new-device.md says what OpenSSL 1.1.1 keeps.
TEST(CryptoContext, FreesEverythingThatWasFetchedInIt)
{
    GTEST_SKIP() << "OpenSSL before 3.0 has no library contexts: it keeps what it fetched";
}

#else

#include <openssl/evp.h>
#include <openssl/provider.h>
#include <openssl/ssl.h>
#include <string>
#include <thread>

namespace
{

std::atomic<long> blocks_; // allocated by OpenSSL

void *cb_malloc(size_t size, const char *, int)
{
    void *block = malloc(size);
    blocks_ += block != nullptr;
    return block;
}

void *cb_realloc(void *old, size_t size, const char *, int)
{
    void *block = realloc(old, size);
    blocks_ += old == nullptr && block != nullptr;
    return block;
}

void cb_free(void *block, const char *, int)
{
    blocks_ -= block != nullptr;
    free(block);
}

// OpenSSL accepts other allocators only before its first allocation.
const int counts_ = CRYPTO_set_mem_functions(cb_malloc, cb_realloc, cb_free);

OSSL_LIB_CTX *current() { return OSSL_LIB_CTX_set0_default(nullptr); }

// Allocates what a session allocates and does not free by itself.
void use_tls()
{
    SSL_CTX *context = SSL_CTX_new(TLS_client_method());
    ASSERT_NE(context, nullptr);
    EVP_PKEY *key = EVP_EC_gen("P-256");
    EXPECT_NE(key, nullptr);
    EVP_PKEY_free(key);
    SSL_CTX_free(context);
}

long blocks_kept_by_a_job()
{
    const long before = blocks_;
    {
        const job_crypto context;
        use_tls();
    }
    return blocks_ - before;
}

} // namespace

TEST(CryptoContext, IsTheThreadsDefaultForItsScope)
{
    OSSL_LIB_CTX *process_context = current();
    {
        const job_crypto context;
        EXPECT_NE(current(), process_context);
        std::thread([process_context] { EXPECT_EQ(current(), process_context); }).join();
    }
    EXPECT_EQ(current(), process_context);
}

TEST(CryptoContext, FreesEverythingThatWasFetchedInIt)
{
    ASSERT_EQ(counts_, 1);
    blocks_kept_by_a_job(); // OpenSSL's allocations for the whole process
    EXPECT_EQ(blocks_kept_by_a_job(), 0);
    EXPECT_EQ(blocks_kept_by_a_job(), 0);

    const long before = blocks_;
    use_tls();
    EXPECT_GT(blocks_ - before, 1000) << "there was nothing to free";
}

TEST(CryptoContext, IsTheProcesssOwnWhenThatHasConfiguredProviders)
{
    OSSL_LIB_CTX *process_context = current();
    OSSL_PROVIDER *base = OSSL_PROVIDER_try_load(nullptr, "base", 1);
    ASSERT_NE(base, nullptr);
    {
        const job_crypto context;
        EXPECT_EQ(current(), process_context);
    }
    EXPECT_EQ(current(), process_context);
    OSSL_PROVIDER_unload(base);
}

#endif
