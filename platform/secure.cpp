#include "platform/secure.h"

#include "platform/secure_file.h"
#include "platform/secure_key.h"
#include "strutil/guards.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace
{

struct bio_free {
    void operator()(BIO *bio) const { BIO_free(bio); }
};

// Removes the errors that OpenSSL queues in this scope: the caller may be in a handshake, which would treat
// them as its own.
struct error_queue_kept {
    error_queue_kept() { ERR_set_mark(); }
    ~error_queue_kept() { ERR_pop_to_mark(); }
    error_queue_kept(const error_queue_kept &) = delete;
    error_queue_kept &operator=(const error_queue_kept &) = delete;
};

} // namespace

static bool is_path(const char *path) { return path != nullptr && path[0] != '\0'; }

// A certificate in memory may be incomplete; then it has no DER form. OpenSSL 1.1.1 gives it one, with an
// empty algorithm.
static bool is_whole(X509 *certificate)
{
    const ASN1_OBJECT *algorithm = nullptr;
    X509_ALGOR_get0(&algorithm, nullptr, nullptr, X509_get0_tbs_sigalg(certificate));
    return i2d_X509(certificate, nullptr) > 0 && OBJ_length(algorithm) > 0;
}

static bool differ(const unsigned char *digest, const uint8_t *expected, unsigned length)
{
    return memcmp(digest, expected, length) != 0;
}

int x509_cert_save(const char *path, X509 *certificate)
{
    if (!is_path(path) || certificate == nullptr)
        return LIBSECURE_BAD_ARGUMENT;
    const error_queue_kept kept;
    if (!is_whole(certificate))
        return LIBSECURE_BAD_DATA;
    const std::unique_ptr<BIO, bio_free> pem(BIO_new(BIO_s_mem()));
    if (pem == nullptr || PEM_write_bio_X509(pem.get(), certificate) != 1)
        return LIBSECURE_NO_MEMORY;
    char *text = nullptr;
    const long length = BIO_get_mem_data(pem.get(), &text);
    return secure_file_write(path, text, static_cast<size_t>(length));
}

int x509_cert_digest_sha1_compare(X509 *certificate, const uint8_t *expected, int *differs)
{
    if (differs == nullptr)
        return LIBSECURE_BAD_ARGUMENT;
    *differs = 1;
    if (certificate == nullptr || expected == nullptr)
        return LIBSECURE_BAD_ARGUMENT;
    const error_queue_kept kept;
    if (!is_whole(certificate))
        return LIBSECURE_BAD_DATA;
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (X509_digest(certificate, EVP_sha1(), digest, &length) != 1)
        return LIBSECURE_DIGEST_FAILED;
    *differs = differ(digest, expected, length);
    return LIBSECURE_DONE;
}

int ssh_public_key_save(const char *path, int reserved, const void *key, size_t key_length)
{
    if (!is_path(path) || reserved != 0 || key == nullptr)
        return LIBSECURE_BAD_ARGUMENT;
    heap_string line;
    size_t length = 0;
    const int result = secure_key_line(key, key_length, &line, &length);
    return result != LIBSECURE_DONE ? result : secure_file_write(path, line.get(), length);
}

int ssh_key_digest_md5_compare(const void *key, size_t key_length, const uint8_t *expected, int *differs)
{
    if (differs == nullptr)
        return LIBSECURE_BAD_ARGUMENT;
    *differs = 1;
    if (key == nullptr || key_length == 0 || expected == nullptr)
        return LIBSECURE_BAD_ARGUMENT;
    const error_queue_kept kept;
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (EVP_Digest(key, key_length, digest, &length, EVP_md5(), nullptr) != 1)
        return LIBSECURE_DIGEST_FAILED;
    *differs = differ(digest, expected, length);
    return LIBSECURE_DONE;
}
