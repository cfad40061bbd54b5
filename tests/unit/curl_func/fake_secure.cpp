#include "fake_secure.h"

fake_secure secure_;

static void note(std::string call, const void *subject)
{
    secure_.asked.push_back(std::move(call));
    secure_.subject = subject;
    secure_.crypto = OSSL_LIB_CTX_set0_default(nullptr);
}

static int compared(const void *subject, const uint8_t *expected, int *differs, const char *name)
{
    note(name, subject);
    secure_.expected = expected;
    if (secure_.compare_result == 0)
        *differs = secure_.equal ? 0 : 1;
    return secure_.compare_result;
}

int x509_cert_save(const char *path, X509 *certificate)
{
    note("x509_cert_save(" + std::string(path) + ')', certificate);
    return secure_.save_result;
}

int x509_cert_digest_sha1_compare(X509 *certificate, const uint8_t *expected, int *differs)
{
    return compared(certificate, expected, differs, "x509_cert_digest_sha1_compare");
}

int ssh_public_key_save(const char *path, int reserved, const void *key, size_t key_length)
{
    note("ssh_public_key_save(" + std::string(path) + ", " + std::to_string(reserved) + ')', key);
    secure_.key_length = key_length;
    return secure_.save_result;
}

int ssh_key_digest_md5_compare(const void *key, size_t key_length, const uint8_t *expected, int *differs)
{
    secure_.key_length = key_length;
    return compared(key, expected, differs, "ssh_key_digest_md5_compare");
}
