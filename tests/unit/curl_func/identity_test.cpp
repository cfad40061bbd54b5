#include "curl_func/identity.h"

#include "curl_func/crypto_context.h"

#include "job_fixture.h"

#include <memory>
#include <openssl/crypto.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

class Identity : public JobFixture
{
protected:
    Identity()
    {
        auth.auth_type = SERVER_AUTH_NONE;
        X509_STORE_CTX_set_cert(store.get(), certificate.get());
        EXPECT_EQ(X509_STORE_CTX_get_error(store.get()), X509_V_OK);
    }

    // The verdict, which must not touch the store context's error: libcurl would refuse what is accepted.
    int verify()
    {
        const int verdict = cb_ssl_app_verify(store.get(), &info);
        EXPECT_EQ(X509_STORE_CTX_get_error(store.get()), X509_V_OK);
        return verdict;
    }

    int check_key() { return cb_sshkey(nullptr, nullptr, &key, CURLKHMATCH_MISSING, &info); }

    std::unique_ptr<X509, decltype(&X509_free)> certificate{X509_new(), X509_free};
    std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> store{X509_STORE_CTX_new(),
                                                                          X509_STORE_CTX_free};
    const curl_khkey key{"key bytes", 9, CURLKHTYPE_ED25519};
    server_auth_t auth{};
    curl_e_handle_t handle{};
    cb_auth_info_t info{&handle, &auth};
};

// What a libsecure result other than 0 becomes.
static const struct {
    int result;
    int32_t code;
} SECURE_RESULTS[] = {{1, 4}, {2, 11}, {3, 8}, {4, 8}, {5, 20}, {6, 19}, {7, 17}, {8, 18}, {9, 18}, {-1, 18}};

static lines unknown_data(int result)
{
    if (result >= 1 && result <= 7)
        return {};
    return {"error: curl_func(2190): err_secure_data_convert(): unknown data: " + std::to_string(result) +
            "\n"};
}

TEST_F(Identity, EveryLibsecureResultHasItsCodeAndAnUnknownOneIsLogged)
{
    for (const auto &row : SECURE_RESULTS) {
        EXPECT_EQ(err_secure_data_convert(row.result), row.code) << row.result;
        EXPECT_EQ(logged(), unknown_data(row.result));
    }
    EXPECT_EQ(err_secure_data_convert(0), 18);
}

// --- Which kind of digest each protocol takes

struct verdict_t {
    uint32_t auth_type;
    uint8_t digest_length;
    bool equal;
    bool accepted;
    int32_t error;
    log_line log; // empty text: none
};

TEST_F(Identity, CertificatesArePinnedBySha1Only)
{
    const verdict_t table[] = {
        {0, 0, false, true, 0, {6, "curl_func(1970): No authentication.\n"}},
        {0, 20, false, true, 0, {6, "curl_func(1970): No authentication.\n"}},
        {1, 16, true, false, 4, {3, "error: curl_func(1975): MD5 digest check is not supported.\n"}},
        {1, 20, true, false, 4, {3, "error: curl_func(1975): MD5 digest check is not supported.\n"}},
        {2, 20, true, true, 0, {}},
        {2, 20, false, false, 21, {}},
        {2, 0, true, false, 21, {3, "error: curl_func(1982): SHA-1 hash length is not valid: 0\n"}},
        {2, 16, true, false, 21, {3, "error: curl_func(1982): SHA-1 hash length is not valid: 16\n"}},
        {2, 19, true, false, 21, {3, "error: curl_func(1982): SHA-1 hash length is not valid: 19\n"}},
        {2, 21, true, false, 21, {3, "error: curl_func(1982): SHA-1 hash length is not valid: 21\n"}},
        {2, 255, true, false, 21, {3, "error: curl_func(1982): SHA-1 hash length is not valid: 255\n"}},
        {3, 20, true, false, 4, {3, "error: curl_func(2003): Unexpected authentication type: 3\n"}},
        {0xFFFFFFFF, 20, true, false, 4, {3, "error: curl_func(2003): Unexpected authentication type: -1\n"}},
    };
    for (const auto &row : table) {
        auth.auth_type = row.auth_type;
        auth.digest_length = row.digest_length;
        secure_ = {};
        secure_.equal = row.equal;
        handle.error = 0;
        const std::string label = std::to_string(row.auth_type) + ", " + std::to_string(row.digest_length);
        EXPECT_EQ(verify(), row.accepted ? 1 : 0) << label;
        EXPECT_EQ(handle.error, row.error) << label;
        EXPECT_EQ(logged_with_priority(),
                  row.log.text.empty() ? std::vector<log_line>{} : std::vector<log_line>{row.log});
        const bool compared = row.auth_type == 2 && row.digest_length == 20;
        EXPECT_EQ(secure_.asked, compared ? lines{"x509_cert_digest_sha1_compare"} : lines{}) << label;
    }
}

TEST_F(Identity, HostKeysArePinnedByMd5Only)
{
    const verdict_t table[] = {
        {0, 0, false, true, 0, {6, "curl_func(1841): No authentication.\n"}},
        {1, 16, true, true, 0, {}},
        {1, 16, false, false, 22, {}},
        {1, 0, true, false, 22, {3, "error: curl_func(1847): MD5 hash length is not valid: 0\n"}},
        {1, 15, true, false, 22, {3, "error: curl_func(1847): MD5 hash length is not valid: 15\n"}},
        {1, 17, true, false, 22, {3, "error: curl_func(1847): MD5 hash length is not valid: 17\n"}},
        {1, 20, true, false, 22, {3, "error: curl_func(1847): MD5 hash length is not valid: 20\n"}},
        {2, 20, true, false, 4, {3, "error: curl_func(1869): SHA-1 digest check is not supported.\n"}},
        {2, 16, true, false, 4, {3, "error: curl_func(1869): SHA-1 digest check is not supported.\n"}},
        {3, 16, true, false, 4, {3, "error: curl_func(1875): Unexpected authentication type: 3\n"}},
        {7, 0, true, false, 4, {3, "error: curl_func(1875): Unexpected authentication type: 7\n"}},
    };
    for (const auto &row : table) {
        auth.auth_type = row.auth_type;
        auth.digest_length = row.digest_length;
        secure_ = {};
        secure_.equal = row.equal;
        handle.error = 0;
        const std::string label = std::to_string(row.auth_type) + ", " + std::to_string(row.digest_length);
        EXPECT_EQ(check_key(), row.accepted ? 1 : 2) << label;
        EXPECT_EQ(handle.error, row.error) << label;
        EXPECT_EQ(logged_with_priority(),
                  row.log.text.empty() ? std::vector<log_line>{} : std::vector<log_line>{row.log});
        const bool compared = row.auth_type == 1 && row.digest_length == 16;
        EXPECT_EQ(secure_.asked, compared ? lines{"ssh_key_digest_md5_compare"} : lines{}) << label;
    }
}

// --- libsecure

TEST_F(Identity, ACertificateThatCannotBeComparedIsRejectedWithLibsecuresReason)
{
    auth.auth_type = SERVER_AUTH_SHA1;
    auth.digest_length = 20;
    for (const auto &row : SECURE_RESULTS) {
        secure_.compare_result = row.result;
        EXPECT_EQ(verify(), 0);
        EXPECT_EQ(handle.error, row.code) << row.result;
        EXPECT_EQ(logged(), unknown_data(row.result));
    }
}

TEST_F(Identity, AHostKeyThatCannotBeComparedIsRejectedWithLibsecuresReason)
{
    auth.auth_type = SERVER_AUTH_MD5;
    auth.digest_length = 16;
    for (const auto &row : SECURE_RESULTS) {
        secure_.compare_result = row.result;
        EXPECT_EQ(check_key(), CURLKHSTAT_REJECT);
        EXPECT_EQ(handle.error, row.code) << row.result;
        EXPECT_EQ(logged(), unknown_data(row.result));
    }
}

TEST_F(Identity, ACertificateThatCannotBeSavedIsRejectedUncompared)
{
    SET_TEXT(auth.save_path, "/pin.pem");
    for (const uint32_t type : {SERVER_AUTH_NONE, SERVER_AUTH_SHA1}) {
        auth.auth_type = type;
        auth.digest_length = 20;
        for (const auto &row : SECURE_RESULTS) {
            secure_ = {};
            secure_.save_result = row.result;
            EXPECT_EQ(verify(), 0);
            EXPECT_EQ(handle.error, row.code) << row.result;
            EXPECT_EQ(logged(), unknown_data(row.result));
            EXPECT_EQ(secure_.asked, lines{"x509_cert_save(/pin.pem)"});
        }
    }
}

TEST_F(Identity, AHostKeyThatCannotBeSavedIsRejectedUncompared)
{
    SET_TEXT(auth.save_path, "/key.pub");
    for (const uint32_t type : {SERVER_AUTH_NONE, SERVER_AUTH_MD5}) {
        auth.auth_type = type;
        auth.digest_length = 16;
        for (const auto &row : SECURE_RESULTS) {
            secure_ = {};
            secure_.save_result = row.result;
            EXPECT_EQ(check_key(), CURLKHSTAT_REJECT);
            EXPECT_EQ(handle.error, row.code) << row.result;
            EXPECT_EQ(logged(), unknown_data(row.result));
            EXPECT_EQ(secure_.asked, lines{"ssh_public_key_save(/key.pub, 0)"});
        }
    }
}

TEST_F(Identity, ACertificateIsSavedBeforeItIsRejected)
{
    SET_TEXT(auth.save_path, "/pin.pem");
    auth.auth_type = SERVER_AUTH_SHA1;
    auth.digest_length = 20;
    secure_.equal = false;
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(handle.error, 21);
    EXPECT_EQ(secure_.asked, (lines{"x509_cert_save(/pin.pem)", "x509_cert_digest_sha1_compare"}));

    secure_ = {};
    auth.auth_type = SERVER_AUTH_MD5;
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(secure_.asked, lines{"x509_cert_save(/pin.pem)"});
}

TEST_F(Identity, AHostKeyIsSavedBeforeItIsRejected)
{
    SET_TEXT(auth.save_path, "/key.pub");
    auth.auth_type = SERVER_AUTH_MD5;
    auth.digest_length = 16;
    secure_.equal = false;
    EXPECT_EQ(check_key(), CURLKHSTAT_REJECT);
    EXPECT_EQ(handle.error, 22);
    EXPECT_EQ(secure_.asked, (lines{"ssh_public_key_save(/key.pub, 0)", "ssh_key_digest_md5_compare"}));

    secure_ = {};
    auth.digest_length = 20;
    EXPECT_EQ(check_key(), CURLKHSTAT_REJECT);
    EXPECT_EQ(secure_.asked, lines{"ssh_public_key_save(/key.pub, 0)"});
}

TEST_F(Identity, LibsecureGetsTheLeafCertificateAndTheExpectedDigest)
{
    auth.auth_type = SERVER_AUTH_SHA1;
    auth.digest_length = 20;
    EXPECT_EQ(verify(), 1);
    EXPECT_EQ(secure_.subject, certificate.get());
    EXPECT_EQ(secure_.expected, auth.digest);
}

TEST_F(Identity, LibsecureGetsTheKeyItsLengthAndTheExpectedDigest)
{
    SET_TEXT(auth.save_path, "/key.pub");
    EXPECT_EQ(check_key(), CURLKHSTAT_FINE);
    EXPECT_EQ(secure_.subject, key.key);
    EXPECT_EQ(secure_.key_length, 9u);

    secure_ = {};
    auth = {};
    auth.auth_type = SERVER_AUTH_MD5;
    auth.digest_length = 16;
    EXPECT_EQ(check_key(), CURLKHSTAT_FINE);
    EXPECT_EQ(secure_.subject, key.key);
    EXPECT_EQ(secure_.key_length, 9u);
    EXPECT_EQ(secure_.expected, auth.digest);
}

TEST_F(Identity, LibsecureWorksInTheProcesssCryptoContext)
{
    const job_crypto context;
    OSSL_LIB_CTX *jobs = OSSL_LIB_CTX_set0_default(nullptr);
    ASSERT_NE(jobs, OSSL_LIB_CTX_get0_global_default());
    const auto accepted = [&](int verdict, int good) {
        EXPECT_EQ(verdict, good);
        EXPECT_EQ(secure_.crypto, OSSL_LIB_CTX_get0_global_default());
        EXPECT_EQ(OSSL_LIB_CTX_set0_default(nullptr), jobs);
        secure_.crypto = nullptr;
    };
    auth.save_path[0] = '/';
    accepted(verify(), 1);
    accepted(check_key(), CURLKHSTAT_FINE);

    auth.save_path[0] = '\0';
    auth.auth_type = SERVER_AUTH_SHA1;
    auth.digest_length = 20;
    accepted(verify(), 1);
    auth.auth_type = SERVER_AUTH_MD5;
    auth.digest_length = 16;
    accepted(check_key(), CURLKHSTAT_FINE);
}

// --- What libcurl may leave out

TEST_F(Identity, TheTlsContextIsToldToAskUsAlone)
{
    auto *const ctx = reinterpret_cast<SSL_CTX *>(&system);
    EXPECT_EQ(cb_ssl_ctx(nullptr, ctx, &info), CURLE_OK);
    EXPECT_EQ(system.verified, ctx);
    EXPECT_EQ(system.verify, cb_ssl_app_verify);
    EXPECT_EQ(system.verify_argument, &info);
}

TEST_F(Identity, WithoutATlsContextTheConnectionIsAborted)
{
    EXPECT_EQ(cb_ssl_ctx(nullptr, nullptr, &info), 42);
    EXPECT_EQ(logged(), lines{"error: curl_func(1924): 'ssl_ctx' is not available.\n"});
    EXPECT_EQ(system.verify, nullptr);
}

TEST_F(Identity, ACertificateWithoutAContextIsRejected)
{
    EXPECT_EQ(cb_ssl_app_verify(store.get(), nullptr), 0);
    EXPECT_EQ(logged(), lines{"error: curl_func(1954): 'struct cb_auth_info_t' has not been set.\n"});
}

TEST_F(Identity, AHostKeyWithoutAContextIsRejected)
{
    EXPECT_EQ(cb_sshkey(nullptr, nullptr, &key, CURLKHMATCH_OK, nullptr), CURLKHSTAT_REJECT);
    EXPECT_EQ(logged(), lines{"error: curl_func(1823): 'struct cb_auth_info_t' has not been set.\n"});
}

TEST_F(Identity, WithoutAKeyLibcurlsVerdictDecides)
{
    struct {
        curl_khmatch match;
        int status;
    } const table[] = {
        {CURLKHMATCH_OK, 1}, {CURLKHMATCH_MISMATCH, 1}, {CURLKHMATCH_MISSING, 2}, {CURLKHMATCH_LAST, 2}};
    for (const auto &row : table) {
        EXPECT_EQ(cb_sshkey(nullptr, nullptr, nullptr, row.match, nullptr), row.status) << row.match;
        EXPECT_EQ(logged(), lines{"error: curl_func(1814): 'foundkey' is not available.\n"});
    }
    EXPECT_EQ(secure_.asked, lines{});
}

TEST_F(Identity, AKeyThatLibcurlCallsWrongIsAcceptedWhenNothingIsPinned)
{
    for (const auto match : {CURLKHMATCH_OK, CURLKHMATCH_MISMATCH, CURLKHMATCH_MISSING})
        EXPECT_EQ(cb_sshkey(nullptr, nullptr, &key, match, &info), CURLKHSTAT_FINE);
}
