#include "curl_func/identity.h"

#include "curl_func/crypto_context.h"
#include "platform/secure.h"
#include "strutil/strutil.h"
#include "wire/result_codes.h"

#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

constexpr int MD5_LENGTH = 16;  // bytes
constexpr int SHA1_LENGTH = 20; // bytes

int32_t err_secure_data_convert(int secure_result)
{
    switch (secure_result) {
    case 1:
        return FTPCD_ERR_AUTH_UNSUPPORTED;
    case 2:
        return FTPCD_ERR_NO_MEMORY;
    case 3:
    case 4:
        return FTPCD_ERR_SECURE_DATA;
    case 5:
        return FTPCD_ERR_SECURE_5;
    case 6:
        return FTPCD_ERR_SECURE_6;
    case 7:
        return FTPCD_ERR_SECURE_7;
    default:
        log_error("curl_func(2190)", "err_secure_data_convert(): unknown data: %d", secure_result);
        return FTPCD_ERR_SECURE_UNKNOWN;
    }
}

static bool reject(const cb_auth_info_t *info, int32_t error)
{
    info->handle->error = error;
    return false;
}

static bool secure_done(const cb_auth_info_t *info, int secure_result)
{
    return secure_result == 0 || reject(info, err_secure_data_convert(secure_result));
}

static bool saving_wanted(const cb_auth_info_t *info) { return info->server_auth->save_path[0] != '\0'; }

static bool certificate_matches(const cb_auth_info_t *info, X509 *certificate)
{
    const server_auth_t *expected = info->server_auth;
    if (expected->digest_length != SHA1_LENGTH) {
        log_error("curl_func(1982)", "SHA-1 hash length is not valid: %d", expected->digest_length);
        return reject(info, FTPCD_ERR_CERT_MISMATCH);
    }
    int differs = 1;
    if (!secure_done(info, x509_cert_digest_sha1_compare(certificate, expected->digest, &differs)))
        return false;
    return differs == 0 || reject(info, FTPCD_ERR_CERT_MISMATCH);
}

static bool certificate_accepted(const cb_auth_info_t *info, X509 *certificate)
{
    const server_auth_t *auth = info->server_auth;
    if (saving_wanted(info) && !secure_done(info, x509_cert_save(auth->save_path, certificate)))
        return false;
    switch (auth->auth_type) {
    case SERVER_AUTH_NONE:
        log_info("curl_func(1970)", "No authentication.");
        return true;
    case SERVER_AUTH_MD5:
        log_error("curl_func(1975)", "MD5 digest check is not supported.");
        return reject(info, FTPCD_ERR_AUTH_UNSUPPORTED);
    case SERVER_AUTH_SHA1:
        return certificate_matches(info, certificate);
    default:
        log_error("curl_func(2003)", "Unexpected authentication type: %d", static_cast<int>(auth->auth_type));
        return reject(info, FTPCD_ERR_AUTH_UNSUPPORTED);
    }
}

int cb_ssl_app_verify(X509_STORE_CTX *store, void *context)
{
    const auto *info = static_cast<const cb_auth_info_t *>(context);
    if (info == nullptr) {
        log_error("curl_func(1954)", "'struct cb_auth_info_t' has not been set.");
        return 0;
    }
    const process_crypto for_libsecure;
    // The store context's error stays X509_V_OK: any other value makes libcurl refuse what is accepted here.
    return certificate_accepted(info, X509_STORE_CTX_get0_cert(store)) ? 1 : 0;
}

CURLcode cb_ssl_ctx(CURL *, void *ssl_ctx, void *context)
{
    if (ssl_ctx == nullptr) {
        log_error("curl_func(1924)", "'ssl_ctx' is not available.");
        return CURLE_ABORTED_BY_CALLBACK;
    }
    SSL_CTX_set_cert_verify_callback(static_cast<SSL_CTX *>(ssl_ctx), cb_ssl_app_verify, context);
    return CURLE_OK;
}

static bool key_matches(const cb_auth_info_t *info, const curl_khkey *found)
{
    const server_auth_t *expected = info->server_auth;
    if (expected->digest_length != MD5_LENGTH) {
        log_error("curl_func(1847)", "MD5 hash length is not valid: %d", expected->digest_length);
        return reject(info, FTPCD_ERR_HOSTKEY_MISMATCH);
    }
    int differs = 1;
    if (!secure_done(info, ssh_key_digest_md5_compare(found->key, found->len, expected->digest, &differs)))
        return false;
    return differs == 0 || reject(info, FTPCD_ERR_HOSTKEY_MISMATCH);
}

static bool key_accepted(const cb_auth_info_t *info, const curl_khkey *found)
{
    const server_auth_t *auth = info->server_auth;
    if (saving_wanted(info) &&
        !secure_done(info, ssh_public_key_save(auth->save_path, 0, found->key, found->len)))
        return false;
    switch (auth->auth_type) {
    case SERVER_AUTH_NONE:
        log_info("curl_func(1841)", "No authentication.");
        return true;
    case SERVER_AUTH_MD5:
        return key_matches(info, found);
    case SERVER_AUTH_SHA1:
        log_error("curl_func(1869)", "SHA-1 digest check is not supported.");
        return reject(info, FTPCD_ERR_AUTH_UNSUPPORTED);
    default:
        log_error("curl_func(1875)", "Unexpected authentication type: %d", static_cast<int>(auth->auth_type));
        return reject(info, FTPCD_ERR_AUTH_UNSUPPORTED);
    }
}

int cb_sshkey(CURL *, const curl_khkey *, const curl_khkey *foundkey, curl_khmatch match, void *context)
{
    if (foundkey == nullptr) {
        log_error("curl_func(1814)", "'foundkey' is not available.");
        return match < CURLKHMATCH_MISSING ? CURLKHSTAT_FINE : CURLKHSTAT_REJECT;
    }
    const auto *info = static_cast<const cb_auth_info_t *>(context);
    if (info == nullptr) {
        log_error("curl_func(1823)", "'struct cb_auth_info_t' has not been set.");
        return CURLKHSTAT_REJECT;
    }
    const process_crypto for_libsecure;
    return key_accepted(info, foundkey) ? CURLKHSTAT_FINE : CURLKHSTAT_REJECT;
}
