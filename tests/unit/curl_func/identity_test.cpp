#include "curl_func/identity.h"

#include "curl_func/crypto_context.h"

#include "job_fixture.h"

#include <memory>
#include <openssl/crypto.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

struct verdict_t {
    uint32_t auth_type;
    uint8_t digest_length;
    bool equal;
    bool accepted;
    int32_t error;
    lines log;
};

// A certificate and a host key, each with the only digest accepted for it.
struct kind_t {
    uint32_t auth_type;
    uint8_t digest_length;
    int32_t mismatch;
    int rejection;    // the callback's verdict; 1 accepts
    const char *save; // the call to libsecure that saves to "/pin"
    const char *compare;
};
static const kind_t CERTIFICATE{2, 20, 21, 0, "x509_cert_save(/pin)", "x509_cert_digest_sha1_compare"};
static const kind_t HOST_KEY{1, 16, 22, 2, "ssh_public_key_save(/pin, 0)", "ssh_key_digest_md5_compare"};

struct Identity : JobFixture {
    Identity()
    {
        auth.auth_type = SERVER_AUTH_NONE;
        X509_STORE_CTX_set_cert(store.get(), certificate.get());
        EXPECT_EQ(X509_STORE_CTX_get_error(store.get()), X509_V_OK);
    }

    ~Identity() override { logged(); } // of a test that is not about the log

    // True when the server is accepted as this kind of identity.
    bool accepts(const kind_t &kind)
    {
        const int verdict = kind.auth_type == SERVER_AUTH_SHA1 ? verify() : check_key();
        EXPECT_TRUE(verdict == 1 || verdict == kind.rejection) << verdict;
        return verdict == 1;
    }

    // The verdict. The store context must keep no error, or libcurl would refuse an accepted certificate.
    int verify()
    {
        const int verdict = cb_ssl_app_verify(store.get(), &info);
        EXPECT_EQ(X509_STORE_CTX_get_error(store.get()), X509_V_OK);
        return verdict;
    }

    int check_key() { return cb_sshkey(nullptr, nullptr, &key, CURLKHMATCH_MISSING, &info); }

    // Pins the digest that this kind takes.
    void pin(const kind_t &kind)
    {
        auth.auth_type = kind.auth_type;
        auth.digest_length = kind.digest_length;
    }

    void expect_verdicts(const kind_t &kind, const std::vector<verdict_t> &table)
    {
        for (const verdict_t &row : table) {
            SCOPED_TRACE(std::to_string(row.auth_type) + ", " + std::to_string(row.digest_length));
            auth.auth_type = row.auth_type;
            auth.digest_length = row.digest_length;
            secure_ = {};
            secure_.equal = row.equal;
            handle.error = 0;
            EXPECT_EQ(accepts(kind), row.accepted);
            EXPECT_EQ(handle.error, row.error);
            EXPECT_EQ(logged(), row.log);
            const bool compared = row.auth_type == kind.auth_type && row.digest_length == kind.digest_length;
            EXPECT_EQ(secure_.asked, compared ? lines{kind.compare} : lines{});
        }
    }

    std::unique_ptr<X509, decltype(&X509_free)> certificate{X509_new(), X509_free};
    std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> store{X509_STORE_CTX_new(),
                                                                          X509_STORE_CTX_free};
    const curl_khkey key{"key bytes", 9, CURLKHTYPE_ED25519};
    server_auth_t auth{};
    curl_e_handle_t handle{};
    cb_auth_info_t info{&handle, &auth};
};

// The error for a libsecure result other than 0.
static const std::pair<int, int32_t> SECURE_RESULTS[] = {{1, 4},  {2, 11}, {3, 8},  {4, 8},  {5, 20},
                                                         {6, 19}, {7, 17}, {8, 18}, {9, 18}, {-1, 18}};

static lines unknown_data(int result)
{
    if (result >= 1 && result <= 7)
        return {};
    return {"error: curl_func(2190): err_secure_data_convert(): unknown data: " + std::to_string(result) +
            "\n"};
}

TEST_F(Identity, EveryLibsecureResultHasItsCodeAndAnUnknownOneIsLogged)
{
    for (const auto &[result, code] : SECURE_RESULTS) {
        EXPECT_EQ(err_secure_data_convert(result), code) << result;
        EXPECT_EQ(logged(), unknown_data(result));
    }
    EXPECT_EQ(err_secure_data_convert(0), 18);
}

// --- Which kind of digest each protocol takes

TEST_F(Identity, CertificatesArePinnedBySha1Only)
{
    expect_verdicts(
        CERTIFICATE,
        {
            {0, 0, false, true, 0, {"curl_func(1970): No authentication.\n"}},
            {0, 20, false, true, 0, {"curl_func(1970): No authentication.\n"}},
            {1, 16, true, false, 4, {"error: curl_func(1975): MD5 digest check is not supported.\n"}},
            {1, 20, true, false, 4, {"error: curl_func(1975): MD5 digest check is not supported.\n"}},
            {2, 20, true, true, 0, {}},
            {2, 20, false, false, 21, {}},
            {2, 0, true, false, 21, {"error: curl_func(1982): SHA-1 hash length is not valid: 0\n"}},
            {2, 16, true, false, 21, {"error: curl_func(1982): SHA-1 hash length is not valid: 16\n"}},
            {2, 19, true, false, 21, {"error: curl_func(1982): SHA-1 hash length is not valid: 19\n"}},
            {2, 21, true, false, 21, {"error: curl_func(1982): SHA-1 hash length is not valid: 21\n"}},
            {2, 255, true, false, 21, {"error: curl_func(1982): SHA-1 hash length is not valid: 255\n"}},
            {3, 20, true, false, 4, {"error: curl_func(2003): Unexpected authentication type: 3\n"}},
            {0xFFFFFFFF,
             20,
             true,
             false,
             4,
             {"error: curl_func(2003): Unexpected authentication type: -1\n"}},
        });
}

TEST_F(Identity, HostKeysArePinnedByMd5Only)
{
    expect_verdicts(
        HOST_KEY,
        {
            {0, 0, false, true, 0, {"curl_func(1841): No authentication.\n"}},
            {1, 16, true, true, 0, {}},
            {1, 16, false, false, 22, {}},
            {1, 0, true, false, 22, {"error: curl_func(1847): MD5 hash length is not valid: 0\n"}},
            {1, 15, true, false, 22, {"error: curl_func(1847): MD5 hash length is not valid: 15\n"}},
            {1, 17, true, false, 22, {"error: curl_func(1847): MD5 hash length is not valid: 17\n"}},
            {1, 20, true, false, 22, {"error: curl_func(1847): MD5 hash length is not valid: 20\n"}},
            {2, 20, true, false, 4, {"error: curl_func(1869): SHA-1 digest check is not supported.\n"}},
            {2, 16, true, false, 4, {"error: curl_func(1869): SHA-1 digest check is not supported.\n"}},
            {3, 16, true, false, 4, {"error: curl_func(1875): Unexpected authentication type: 3\n"}},
            {7, 0, true, false, 4, {"error: curl_func(1875): Unexpected authentication type: 7\n"}},
        });
}

// --- libsecure

class EachIdentity : public Identity, public testing::WithParamInterface<kind_t>
{
};
INSTANTIATE_TEST_SUITE_P(OfBothKinds, EachIdentity, testing::Values(CERTIFICATE, HOST_KEY));

TEST_P(EachIdentity, ThatCannotBeComparedIsRejectedWithLibsecuresReason)
{
    pin(GetParam());
    for (const auto &[result, code] : SECURE_RESULTS) {
        secure_.compare_result = result;
        EXPECT_FALSE(accepts(GetParam()));
        EXPECT_EQ(handle.error, code) << result;
        EXPECT_EQ(logged(), unknown_data(result));
    }
}

TEST_P(EachIdentity, IsRejectedWithoutAComparisonWhenItCannotBeSaved)
{
    pin(GetParam());
    SET_TEXT(auth.save_path, "/pin");
    for (const uint32_t type : {static_cast<uint32_t>(SERVER_AUTH_NONE), GetParam().auth_type})
        for (const auto &[result, code] : SECURE_RESULTS) {
            auth.auth_type = type;
            secure_ = {};
            secure_.save_result = result;
            EXPECT_FALSE(accepts(GetParam()));
            EXPECT_EQ(handle.error, code) << result;
            EXPECT_EQ(logged(), unknown_data(result));
            EXPECT_EQ(secure_.asked, lines{GetParam().save});
        }
}

TEST_P(EachIdentity, IsSavedBeforeItIsRejected)
{
    SET_TEXT(auth.save_path, "/pin");
    pin(GetParam());
    secure_.equal = false;
    EXPECT_FALSE(accepts(GetParam()));
    EXPECT_EQ(handle.error, GetParam().mismatch);
    EXPECT_EQ(secure_.asked, (lines{GetParam().save, GetParam().compare}));

    secure_ = {};
    auth.digest_length = 0;
    EXPECT_FALSE(accepts(GetParam()));
    EXPECT_EQ(secure_.asked, lines{GetParam().save});

    secure_ = {};
    auth.auth_type = 3;
    EXPECT_FALSE(accepts(GetParam()));
    EXPECT_EQ(secure_.asked, lines{GetParam().save});
}

TEST_P(EachIdentity, ReachesLibsecureWithTheExpectedDigestInTheProcesssCryptoContext)
{
    OSSL_LIB_CTX *processs = OSSL_LIB_CTX_set0_default(nullptr);
    const job_crypto context;
    OSSL_LIB_CTX *jobs = OSSL_LIB_CTX_set0_default(nullptr);
    ASSERT_EQ(jobs != processs, OPENSSL_VERSION_NUMBER >= 0x30000000L); // older ones have one context only
    const bool is_key = GetParam().auth_type == SERVER_AUTH_MD5;
    const auto expect_asked = [&](const std::string &call) {
        secure_ = {};
        EXPECT_TRUE(accepts(GetParam()));
        EXPECT_EQ(secure_.asked, lines{call});
        EXPECT_EQ(secure_.subject, is_key ? static_cast<const void *>(key.key) : certificate.get());
        EXPECT_EQ(secure_.key_length, is_key ? 9u : 0u);
        EXPECT_EQ(secure_.crypto, processs);
        EXPECT_EQ(OSSL_LIB_CTX_set0_default(nullptr), jobs);
    };
    pin(GetParam());
    expect_asked(GetParam().compare);
    EXPECT_EQ(secure_.expected, auth.digest);
    auth.auth_type = SERVER_AUTH_NONE;
    SET_TEXT(auth.save_path, "/pin");
    expect_asked(GetParam().save);
}

// --- NULL arguments

TEST_F(Identity, TheTlsContextUsesOurVerificationOnly)
{
    auto *const ctx = reinterpret_cast<SSL_CTX *>(&system);
    EXPECT_EQ(cb_ssl_ctx(nullptr, ctx, &info), CURLE_OK);
    EXPECT_EQ(system.verified, ctx);
    EXPECT_EQ(system.verify, cb_ssl_app_verify);
    EXPECT_EQ(system.verify_argument, &info);
}

TEST_F(Identity, WithLibcurlEightARejectionEndsTheHandshake)
{
    system.curl_version_num = 0x081700;
    EXPECT_EQ(cb_ssl_ctx(nullptr, &system, &info), CURLE_OK);
    EXPECT_EQ(system.tls_verify_mode, 1); // SSL_VERIFY_PEER
}

#ifdef SSL_OP_IGNORE_UNEXPECTED_EOF
TEST_F(Identity, LibcurlSevenTakesAnEndWithoutNoticeByItself)
{
    system.curl_version_num = 0x075801;
    EXPECT_EQ(cb_ssl_ctx(nullptr, &system, &info), CURLE_OK);
    EXPECT_EQ(system.tls_options, 0u);
}

TEST_F(Identity, WithLibcurlEightATlsConnectionMayEndWithoutNotice)
{
    system.curl_version_num = 0x080000;
    EXPECT_EQ(cb_ssl_ctx(nullptr, &system, &info), CURLE_OK);
    EXPECT_EQ(system.tls_options, SSL_OP_IGNORE_UNEXPECTED_EOF);
}
#endif

TEST_F(Identity, EachRejectsWithoutATlsContextOrItsOwnContext)
{
    EXPECT_EQ(cb_ssl_ctx(nullptr, nullptr, &info), 42);
    EXPECT_EQ(system.verify, nullptr);
    EXPECT_EQ(cb_ssl_app_verify(store.get(), nullptr), 0);
    EXPECT_EQ(cb_sshkey(nullptr, nullptr, &key, CURLKHMATCH_OK, nullptr), CURLKHSTAT_REJECT);
    EXPECT_EQ(logged(), (lines{"error: curl_func(1924): 'ssl_ctx' is not available.\n",
                               "error: curl_func(1954): 'struct cb_auth_info_t' has not been set.\n",
                               "error: curl_func(1823): 'struct cb_auth_info_t' has not been set.\n"}));
}

TEST_F(Identity, WithoutAHostKeyLibcurlsVerdictDecides)
{
    const std::pair<curl_khmatch, int> table[] = {
        {CURLKHMATCH_OK, 1}, {CURLKHMATCH_MISMATCH, 1}, {CURLKHMATCH_MISSING, 2}, {CURLKHMATCH_LAST, 2}};
    for (const auto &[match, status] : table) {
        EXPECT_EQ(cb_sshkey(nullptr, nullptr, nullptr, match, nullptr), status) << match;
        EXPECT_EQ(logged(), lines{"error: curl_func(1814): 'foundkey' is not available.\n"});
    }
    EXPECT_EQ(secure_.asked, lines{});
}

TEST_F(Identity, AKeyThatLibcurlCallsWrongIsAcceptedWhenNothingIsPinned)
{
    for (const auto match : {CURLKHMATCH_OK, CURLKHMATCH_MISMATCH, CURLKHMATCH_MISSING})
        EXPECT_EQ(cb_sshkey(nullptr, nullptr, &key, match, &info), CURLKHSTAT_FINE);
}
