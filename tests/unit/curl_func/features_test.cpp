#include "curl_func/features.h"

#include "job_fixture.h"

#include <set>

class Features : public JobFixture
{
protected:
    // That the start logs these consequences, and that only jobs of `refused` are refused.
    void expect_missing(const lines &missing, const std::set<uint32_t> &refused)
    {
        features_log_missing();
        lines expected;
        for (const std::string &each : missing)
            expected.push_back("error: curl_func(271): libcurl 8.5.0 lacks " + each + ".\n");
        EXPECT_EQ(logged(), expected);
        for (const uint32_t protocol : {0u, 1u, 2u, 3u, 6u, 0xFFFFFFFFu}) // unknown ones run as FTP
            EXPECT_EQ(features_allow(protocol), refused.count(protocol) == 0) << protocol;
        EXPECT_EQ(logged(), lines{});
    }
};

static const std::string NO_FTP = "FTP: FTP and FTPS jobs fail with 15";
static const std::string NO_OPENSSL = "OpenSSL: FTPS jobs fail with 15";
static const std::string NO_LIBSSH2 = "libssh2: SFTP jobs fail with 15";

TEST_F(Features, FtpsNeedsALibcurlThatUsesOpenSsl)
{
    expect_missing({}, {});
    system.curl_tls = "(GnuTLS/3.7.9) OpenSSL/3.0.15";
    expect_missing({}, {});
    for (const char *other :
         {static_cast<const char *>(nullptr), "GnuTLS/3.7.9", "BoringSSL", "GnuTLS/3.7.9 (OpenSSL/3.0.15)"}) {
        SCOPED_TRACE(other != nullptr ? other : "none");
        system.curl_tls = other;
        expect_missing({NO_OPENSSL}, {1, 2});
    }
}

TEST_F(Features, SftpNeedsALibcurlThatUsesLibssh2)
{
    for (const char *other : {static_cast<const char *>(nullptr), "libssh/0.10.6/openssl"}) {
        SCOPED_TRACE(other != nullptr ? other : "none");
        system.curl_ssh = other;
        expect_missing({NO_LIBSSH2}, {3});
    }
    system.curl_ssh = "libssh2/1.10.0";
    system.curl_protocols = {"ftp", "ftps", "scp", nullptr};
    expect_missing({NO_LIBSSH2}, {3});
}

TEST_F(Features, EveryJobButOneOverSftpNeedsFtp)
{
    system.curl_protocols = {"ftps", "sftp", nullptr};
    expect_missing({NO_FTP}, {0, 1, 2, 6, 0xFFFFFFFF});
}

TEST_F(Features, AResolverThatBlocksRefusesNoJob)
{
    system.curl_features = 0;
    expect_missing({"an asynchronous resolver: a cancel waits for the name server"}, {});
}

TEST_F(Features, EachMissingFeatureIsLoggedInALineOfItsOwn)
{
    system.curl_protocols = {nullptr};
    system.curl_tls = nullptr;
    system.curl_ssh = nullptr;
    expect_missing({NO_FTP, NO_OPENSSL, NO_LIBSSH2}, {0, 1, 2, 3, 6, 0xFFFFFFFF});
}
