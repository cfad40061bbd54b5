#include "curl_func/identity.h"

#include "curl_func/crypto_context.h"
#include "platform/secure.h"
#include "strutil/log.h"
#include "wire/result_codes.h"

#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

namespace
{

// How one kind of identity is checked: a certificate (X509 *) or a host key (curl_khkey *).
struct check_t {
    uint32_t auth_type; // the one server_auth_type that names a digest of this kind
    const char *digest; // its name
    int digest_length;  // bytes
    int32_t mismatch;   // ftpcd_err
    const char *other_digest;
    int (*save)(const char *path, const void *identity);                         // a libsecure_result
    int (*compare)(const void *identity, const uint8_t *expected, int *differs); // a libsecure_result
    const char *none_id;
    const char *length_id;
    const char *other_digest_id;
    const char *unknown_id;
};

} // namespace

static X509 *certificate_of(const void *identity)
{
    return static_cast<X509 *>(const_cast<void *>(identity));
}

static int save_certificate(const char *path, const void *identity)
{
    return x509_cert_save(path, certificate_of(identity));
}

static int compare_certificate(const void *identity, const uint8_t *expected, int *differs)
{
    return x509_cert_digest_sha1_compare(certificate_of(identity), expected, differs);
}

static int save_key(const char *path, const void *identity)
{
    const auto *key = static_cast<const curl_khkey *>(identity);
    return ssh_public_key_save(path, 0, key->key, key->len);
}

static int compare_key(const void *identity, const uint8_t *expected, int *differs)
{
    const auto *key = static_cast<const curl_khkey *>(identity);
    return ssh_key_digest_md5_compare(key->key, key->len, expected, differs);
}

constexpr check_t CERTIFICATE = {
    .auth_type = SERVER_AUTH_SHA1,
    .digest = "SHA-1",
    .digest_length = DIGEST_SHA1_BYTES,
    .mismatch = FTPCD_ERR_CERT_MISMATCH,
    .other_digest = "MD5",
    .save = save_certificate,
    .compare = compare_certificate,
    .none_id = "curl_func(1970)",
    .length_id = "curl_func(1982)",
    .other_digest_id = "curl_func(1975)",
    .unknown_id = "curl_func(2003)",
};

constexpr check_t HOST_KEY = {
    .auth_type = SERVER_AUTH_MD5,
    .digest = "MD5",
    .digest_length = DIGEST_MD5_BYTES,
    .mismatch = FTPCD_ERR_HOSTKEY_MISMATCH,
    .other_digest = "SHA-1",
    .save = save_key,
    .compare = compare_key,
    .none_id = "curl_func(1841)",
    .length_id = "curl_func(1847)",
    .other_digest_id = "curl_func(1869)",
    .unknown_id = "curl_func(1875)",
};

static bool reject(const cb_auth_info_t *info, int32_t error)
{
    info->handle->error = error;
    return false;
}

static bool is_done(const cb_auth_info_t *info, int secure_result)
{
    return secure_result == LIBSECURE_DONE || reject(info, err_secure_data_convert(secure_result));
}

static bool is_pinned(const cb_auth_info_t *info, const check_t &check, const void *identity)
{
    const server_auth_t *pin = info->server_auth;
    if (pin->digest_length != check.digest_length) {
        log_error(check.length_id, "%s hash length is not valid: %d", check.digest, pin->digest_length);
        return reject(info, check.mismatch);
    }
    int differs = 1;
    if (!is_done(info, check.compare(identity, pin->digest, &differs)))
        return false;
    return differs == 0 || reject(info, check.mismatch);
}

static bool is_accepted(const cb_auth_info_t *info, const check_t &check, const void *identity)
{
    const process_crypto for_libsecure;
    const server_auth_t *auth = info->server_auth;
    if (auth->save_path[0] != '\0' && !is_done(info, check.save(auth->save_path, identity)))
        return false;
    if (auth->auth_type == check.auth_type)
        return is_pinned(info, check, identity);
    switch (auth->auth_type) {
    case SERVER_AUTH_NONE:
        log_info(check.none_id, "No authentication.");
        return true;
    case SERVER_AUTH_MD5:
    case SERVER_AUTH_SHA1:
        log_error(check.other_digest_id, "%s digest check is not supported.", check.other_digest);
        return reject(info, FTPCD_ERR_AUTH_UNSUPPORTED);
    default:
        log_error(check.unknown_id, "Unexpected authentication type: %d", static_cast<int>(auth->auth_type));
        return reject(info, FTPCD_ERR_AUTH_UNSUPPORTED);
    }
}

int32_t err_secure_data_convert(int secure_result)
{
    switch (secure_result) {
    case LIBSECURE_NOT_SUPPORTED:
        return FTPCD_ERR_AUTH_UNSUPPORTED;
    case LIBSECURE_NO_MEMORY:
        return FTPCD_ERR_NO_MEMORY;
    case LIBSECURE_BAD_ARGUMENT:
    case LIBSECURE_BAD_DATA:
        return FTPCD_ERR_SECURE_DATA;
    case LIBSECURE_CANNOT_CREATE:
        return FTPCD_ERR_SECURE_5;
    case LIBSECURE_CANNOT_WRITE:
        return FTPCD_ERR_SECURE_6;
    case LIBSECURE_DIGEST_FAILED:
        return FTPCD_ERR_SECURE_7;
    default:
        log_error("curl_func(2190)", "err_secure_data_convert(): unknown data: %d", secure_result);
        return FTPCD_ERR_SECURE_UNKNOWN;
    }
}

int cb_ssl_app_verify(X509_STORE_CTX *store, void *context)
{
    const auto *info = static_cast<const cb_auth_info_t *>(context);
    if (log_if_null("curl_func(1954)", "'struct cb_auth_info_t' has not been set.", info))
        return 0;
    // The store context's error stays X509_V_OK: any other value makes libcurl refuse what is accepted here.
    return is_accepted(info, CERTIFICATE, X509_STORE_CTX_get0_cert(store)) ? 1 : 0;
}

// With SSL_VERIFY_PEER OpenSSL ends the handshake of a rejected server. libcurl 8.23 no longer sets it: it
// would finish the handshake, see X509_V_OK, and send the password. Earlier ones set it themselves.
//
// Many servers close a data connection without TLS's close_notify, which makes libcurl 8 fail the job; libcurl 7
// takes it as the end. The reply on the control connection shows whether all was sent. OpenSSL 1.1.1 reports no
// error there.
static void adapt_to_libcurl_8(SSL_CTX *tls)
{
    SSL_CTX_set_verify(tls, SSL_VERIFY_PEER, nullptr);
#ifdef SSL_OP_IGNORE_UNEXPECTED_EOF
    SSL_CTX_set_options(tls, SSL_OP_IGNORE_UNEXPECTED_EOF);
#endif
}

CURLcode cb_ssl_ctx(CURL *, void *ssl_ctx, void *context)
{
    if (log_if_null("curl_func(1924)", "'ssl_ctx' is not available.", ssl_ctx))
        return CURLE_ABORTED_BY_CALLBACK;
    auto *const tls = static_cast<SSL_CTX *>(ssl_ctx);
    SSL_CTX_set_cert_verify_callback(tls, cb_ssl_app_verify, context);
    if (curl_version_info(CURLVERSION_NOW)->version_num >= 0x080000)
        adapt_to_libcurl_8(tls);
    return CURLE_OK;
}

int cb_sshkey(CURL *, const curl_khkey *, const curl_khkey *foundkey, curl_khmatch match, void *context)
{
    if (log_if_null("curl_func(1814)", "'foundkey' is not available.", foundkey))
        return match < CURLKHMATCH_MISSING ? CURLKHSTAT_FINE : CURLKHSTAT_REJECT;
    const auto *info = static_cast<const cb_auth_info_t *>(context);
    if (log_if_null("curl_func(1823)", "'struct cb_auth_info_t' has not been set.", info))
        return CURLKHSTAT_REJECT;
    return is_accepted(info, HOST_KEY, foundkey) ? CURLKHSTAT_FINE : CURLKHSTAT_REJECT;
}
