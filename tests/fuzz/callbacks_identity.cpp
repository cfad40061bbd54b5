// The checks of certificate and host key, against a model. libsecure is a fake.
#include "callbacks_bench.h"
#include "platform/secure.h"
#include "require.h"
#include "wire/result_codes.h"

#include <cstring>
#include <memory>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

namespace
{

// libsecure's results, and its calls.
struct {
    int save_result;
    int compare_result;
    int differs;
    const void *identity; // certificate or key blob that must be passed
    size_t identity_size;
    lines calls;
} secure_;

struct {
    SSL_CTX *context;
    int (*verify)(X509_STORE_CTX *, void *);
    void *argument;
} registered_;

int save(const char *call, const char *path, const void *identity)
{
    require(path == job_.record.request.server_auth.save_path, "it is saved where the request says");
    require(identity == secure_.identity, "what the server showed is saved");
    secure_.calls.push_back(call);
    return secure_.save_result;
}

int compare(const char *call, const void *identity, const uint8_t *expected, int *differs)
{
    require(expected == job_.record.request.server_auth.digest, "the request's digest is compared with");
    require(identity == secure_.identity, "what the server showed is compared");
    secure_.calls.push_back(call);
    *differs = secure_.differs;
    return secure_.compare_result;
}

} // namespace

int x509_cert_save(const char *path, X509 *certificate) { return save("x509_cert_save", path, certificate); }

int x509_cert_digest_sha1_compare(X509 *certificate, const uint8_t *expected, int *differs)
{
    return compare("x509_cert_digest_sha1_compare", certificate, expected, differs);
}

int ssh_public_key_save(const char *path, int reserved, const void *key, size_t key_length)
{
    require(reserved == 0, "the reserved argument is 0");
    require(key_length == secure_.identity_size, "the whole key is saved");
    return save("ssh_public_key_save", path, key);
}

int ssh_key_digest_md5_compare(const void *key, size_t key_length, const uint8_t *expected, int *differs)
{
    require(key_length == secure_.identity_size, "the whole key is compared");
    return compare("ssh_key_digest_md5_compare", key, expected, differs);
}

extern "C" void __wrap_SSL_CTX_set_cert_verify_callback(SSL_CTX *context,
                                                        int (*verify)(X509_STORE_CTX *, void *),
                                                        void *argument)
{
    registered_ = {context, verify, argument};
}

// Their context is none.
extern "C" uint64_t __wrap_SSL_CTX_set_options(SSL_CTX *, uint64_t options) { return options; }
extern "C" void __wrap_SSL_CTX_set_verify(SSL_CTX *, int, SSL_verify_cb) {}

// The log lines and names that differ between certificates and host keys.
struct kind_of_check_t {
    const char *save;
    const char *compare;
    uint32_t digest_type;
    int digest_length;
    int32_t mismatch;
    const char *none_id;
    const char *length_id;
    const char *length_text;
    const char *other_digest_id;
    const char *other_digest_text;
    const char *unknown_id;
};

static constexpr kind_of_check_t CERTIFICATE = {"x509_cert_save",        "x509_cert_digest_sha1_compare",
                                                SERVER_AUTH_SHA1,        20,
                                                FTPCD_ERR_CERT_MISMATCH, "curl_func(1970)",
                                                "curl_func(1982)",       "SHA-1 hash length is not valid: ",
                                                "curl_func(1975)",       "MD5 digest check is not supported.",
                                                "curl_func(2003)"};

static constexpr kind_of_check_t HOST_KEY = {"ssh_public_key_save",
                                             "ssh_key_digest_md5_compare",
                                             SERVER_AUTH_MD5,
                                             16,
                                             FTPCD_ERR_HOSTKEY_MISMATCH,
                                             "curl_func(1841)",
                                             "curl_func(1847)",
                                             "MD5 hash length is not valid: ",
                                             "curl_func(1869)",
                                             "SHA-1 digest check is not supported.",
                                             "curl_func(1875)"};

static int secure_result_from(dice_t *dice)
{
    const uint8_t drawn = dice->byte();
    return drawn < 128 ? 0 : drawn % 16 - 3;
}

static void arrange(bench_t *bench)
{
    server_auth_t &auth = job_.record.request.server_auth;
    const uint8_t type = bench->dice.byte();
    auth.auth_type = type < 250 ? type % 4U : bench->dice.word();
    constexpr uint8_t LENGTHS[] = {16, 20, 0, 19, 15, 255};
    auth.digest_length = LENGTHS[bench->dice.byte() % std::size(LENGTHS)];
    auth.save_path[0] = bench->dice.one_in(2) ? '/' : '\0';
    secure_.save_result = secure_result_from(&bench->dice);
    secure_.compare_result = secure_result_from(&bench->dice);
    secure_.differs = bench->dice.one_in(2) ? 1 : 0;
    secure_.calls.clear();
}

static bool expect_refusal(bench_t *bench, int32_t error)
{
    bench->expected.error = error;
    return false;
}

static bool expect_secure_failure(bench_t *bench, int secure_result)
{
    constexpr int32_t CODES[] = {0, 4, 11, 8, 8, 20, 19, 17};
    if (secure_result >= 1 && secure_result <= 7)
        return expect_refusal(bench, CODES[secure_result]);
    bench->expect_error_line("curl_func(2190)",
                             "err_secure_data_convert(): unknown data: " + std::to_string(secure_result));
    return expect_refusal(bench, FTPCD_ERR_SECURE_UNKNOWN);
}

// Whether the server must be accepted; `calls` gets the expected calls of libsecure.
static bool expect_identity(bench_t *bench, const kind_of_check_t &kind, lines *calls)
{
    const server_auth_t &auth = job_.record.request.server_auth;
    if (auth.save_path[0] != '\0') {
        calls->push_back(kind.save);
        if (secure_.save_result != 0)
            return expect_secure_failure(bench, secure_.save_result);
    }
    if (auth.auth_type == SERVER_AUTH_NONE) {
        bench->expect_info_line(kind.none_id, "No authentication.");
        return true;
    }
    if (auth.auth_type > 2) {
        bench->expect_error_line(kind.unknown_id, "Unexpected authentication type: " +
                                                      std::to_string(static_cast<int>(auth.auth_type)));
        return expect_refusal(bench, FTPCD_ERR_AUTH_UNSUPPORTED);
    }
    if (auth.auth_type != kind.digest_type) {
        bench->expect_error_line(kind.other_digest_id, kind.other_digest_text);
        return expect_refusal(bench, FTPCD_ERR_AUTH_UNSUPPORTED);
    }
    if (auth.digest_length != kind.digest_length) {
        bench->expect_error_line(kind.length_id, kind.length_text + std::to_string(auth.digest_length));
        return expect_refusal(bench, kind.mismatch);
    }
    calls->push_back(kind.compare);
    if (secure_.compare_result != 0)
        return expect_secure_failure(bench, secure_.compare_result);
    return secure_.differs == 0 || expect_refusal(bench, kind.mismatch);
}

void step_ssl_ctx(bench_t *bench)
{
    cb_auth_info_t info = {&bench->handle, &job_.record.request.server_auth};
    cb_auth_info_t *context = bench->dice.one_in(8) ? nullptr : &info;
    int stand_in = 0; // only passed through
    auto *ssl_ctx = bench->dice.one_in(8) ? nullptr : reinterpret_cast<SSL_CTX *>(&stand_in);
    registered_ = {};
    const CURLcode result = cb_ssl_ctx(nullptr, ssl_ctx, context);
    if (ssl_ctx == nullptr)
        return bench->refuses("curl_func(1924)", "'ssl_ctx' is not available.",
                              result == CURLE_ABORTED_BY_CALLBACK && registered_.verify == nullptr);
    require(result == CURLE_OK && registered_.context == ssl_ctx && registered_.argument == context &&
                registered_.verify == cb_ssl_app_verify,
            "the check is registered with its context");
}

void step_verify(bench_t *bench)
{
    const std::unique_ptr<X509, void (*)(X509 *)> certificate(X509_new(), X509_free);
    const std::unique_ptr<X509_STORE_CTX, void (*)(X509_STORE_CTX *)> store(X509_STORE_CTX_new(),
                                                                            X509_STORE_CTX_free);
    X509_STORE_CTX_set_cert(store.get(), certificate.get());
    cb_auth_info_t info = {&bench->handle, &job_.record.request.server_auth};
    arrange(bench);
    secure_.identity = certificate.get();
    if (bench->dice.one_in(8))
        return bench->refuses("curl_func(1954)", "'struct cb_auth_info_t' has not been set.",
                              cb_ssl_app_verify(store.get(), nullptr) == 0);
    lines calls;
    const bool accepted = expect_identity(bench, CERTIFICATE, &calls);
    require(cb_ssl_app_verify(store.get(), &info) == (accepted ? 1 : 0), "the certificate is judged right");
    require(secure_.calls == calls, "libsecure is asked what it must be, in order");
}

void step_sshkey(bench_t *bench)
{
    cb_auth_info_t info = {&bench->handle, &job_.record.request.server_auth};
    arrange(bench);
    const std::string blob = bench->dice.text(bench->dice.byte() % 32);
    const curl_khkey found = {blob.data(), blob.size(), CURLKHTYPE_ED25519};
    secure_.identity = blob.data();
    secure_.identity_size = blob.size();
    const auto match = static_cast<curl_khmatch>(bench->dice.byte() % 4);
    if (bench->dice.one_in(8))
        return bench->refuses("curl_func(1814)", "'foundkey' is not available.",
                              cb_sshkey(nullptr, nullptr, nullptr, match, &info) == (match < 2 ? 1 : 2));
    if (bench->dice.one_in(8))
        return bench->refuses("curl_func(1823)", "'struct cb_auth_info_t' has not been set.",
                              cb_sshkey(nullptr, nullptr, &found, match, nullptr) == 2);
    lines calls;
    const bool accepted = expect_identity(bench, HOST_KEY, &calls);
    require(cb_sshkey(nullptr, nullptr, &found, match, &info) == (accepted ? 1 : 2),
            "the key is judged right");
    require(secure_.calls == calls, "libsecure is asked what it must be, in order");
}
