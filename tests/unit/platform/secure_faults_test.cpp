// libsecure's results when OpenSSL fails.
#include "platform/secure.h"

#include "identities.h"
#include "support/scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/pem.h>

namespace
{

bool digests_fail_ = false;
bool bios_fail_ = false;
bool pem_fails_ = false;

} // namespace

extern "C" {
int __real_EVP_Digest(const void *data, size_t count, unsigned char *md, unsigned *size, const EVP_MD *type,
                      ENGINE *engine);
int __wrap_EVP_Digest(const void *data, size_t count, unsigned char *md, unsigned *size, const EVP_MD *type,
                      ENGINE *engine)
{
    return digests_fail_ ? 0 : __real_EVP_Digest(data, count, md, size, type, engine);
}

int __real_X509_digest(const X509 *data, const EVP_MD *type, unsigned char *md, unsigned *length);
int __wrap_X509_digest(const X509 *data, const EVP_MD *type, unsigned char *md, unsigned *length)
{
    return digests_fail_ ? 0 : __real_X509_digest(data, type, md, length);
}

BIO *__real_BIO_new(const BIO_METHOD *type);
BIO *__wrap_BIO_new(const BIO_METHOD *type) { return bios_fail_ ? nullptr : __real_BIO_new(type); }

int __real_PEM_write_bio_X509(BIO *bio, const X509 *certificate);
int __wrap_PEM_write_bio_X509(BIO *bio, const X509 *certificate)
{
    return pem_fails_ ? 0 : __real_PEM_write_bio_X509(bio, certificate);
}
}

TEST(SecureFaults, AFailedDigestIsReportedAndCountsAsDifferent)
{
    const certificate_ptr certificate = make_certificate(IDENTITIES[1]);
    const uint8_t expected[20] = {};
    digests_fail_ = true;
    int differs = 0;
    EXPECT_EQ(x509_cert_digest_sha1_compare(certificate.get(), expected, &differs), LIBSECURE_DIGEST_FAILED);
    EXPECT_EQ(differs, 1);
    differs = 0;
    EXPECT_EQ(ssh_key_digest_md5_compare("key", 3, expected, &differs), LIBSECURE_DIGEST_FAILED);
    EXPECT_EQ(differs, 1);
    digests_fail_ = false;
}

TEST(SecureFaults, ACertificateWithoutMemoryIsReportedAndLeavesNoFile)
{
    const scratch_t scratch;
    const std::string file = scratch / "saved";
    const certificate_ptr certificate = make_certificate(IDENTITIES[1]);
    bios_fail_ = true;
    EXPECT_EQ(x509_cert_save(file.c_str(), certificate.get()), LIBSECURE_NO_MEMORY);
    bios_fail_ = false;
    pem_fails_ = true;
    EXPECT_EQ(x509_cert_save(file.c_str(), certificate.get()), LIBSECURE_NO_MEMORY);
    pem_fails_ = false;
    EXPECT_THAT(names_in(scratch.path), testing::IsEmpty());
    EXPECT_EQ(x509_cert_save(file.c_str(), certificate.get()), LIBSECURE_DONE);
}
