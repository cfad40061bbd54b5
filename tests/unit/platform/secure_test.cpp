#include "platform/secure.h"

#include "identities.h"
#include "support/not_copied.h"
#include "support/scratch.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <sys/resource.h>

using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

constexpr int DIFFERS_UNSET = -99;

// The program's output; empty if there is no such program.
std::string output_of(const std::string &command)
{
    std::string output;
    FILE *pipe = popen((command + " 2>/dev/null").c_str(), "r");
    char buffer[4096];
    for (size_t got; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        output.append(buffer, got);
    pclose(pipe);
    return output;
}

bool has_program(const char *name) { return !output_of(std::string("command -v ") + name).empty(); }

std::string digest_of(const EVP_MD *kind, const std::string &bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, kind, nullptr);
    return {reinterpret_cast<const char *>(digest), length};
}

std::string der_of(X509 *certificate)
{
    unsigned char *der = nullptr;
    const int length = i2d_X509(certificate, &der);
    std::string bytes(reinterpret_cast<const char *>(der), static_cast<size_t>(length));
    OPENSSL_free(der);
    return bytes;
}

std::string hex_of(const std::string &bytes, int (*convert)(int))
{
    std::string hex;
    for (const char byte : bytes) {
        char pair[4];
        snprintf(pair, sizeof pair, ":%02x", static_cast<unsigned char>(byte));
        for (char *c = pair; *c != '\0'; c++)
            hex += static_cast<char>(convert(*c));
    }
    return hex.substr(1);
}

const uint8_t *bytes_of(const std::string &string)
{
    return reinterpret_cast<const uint8_t *>(string.data());
}

// Limits the size of files in this scope; writing more fails as on a full disk, but with its own errno.
struct small_disk : not_copied {
    rlimit before;
    explicit small_disk(rlim_t bytes)
    {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit small = {bytes, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~small_disk()
    {
        setrlimit(RLIMIT_FSIZE, &before);
        signal(SIGXFSZ, SIG_DFL);
    }
};

struct EachIdentity : testing::TestWithParam<identity_t> {
    scratch_t scratch;
    std::string file = scratch / "saved";
};

struct Secure : testing::Test {
    scratch_t scratch;
    std::string file = scratch / "saved";
    certificate_ptr certificate = make_certificate(IDENTITIES[1]);
    std::string key = ssh_blob(IDENTITIES[2]);
    int save_certificate() { return x509_cert_save(file.c_str(), certificate.get()); }
    int save_key() { return ssh_public_key_save(file.c_str(), 0, key.data(), key.size()); }
};

std::string name_of_kind(const testing::TestParamInfo<identity_t> &info) { return info.param.kind; }

} // namespace

INSTANTIATE_TEST_SUITE_P(Secure, EachIdentity, testing::ValuesIn(IDENTITIES), name_of_kind);

TEST_P(EachIdentity, CertificateIsSavedAsPemThatReadsBackTheSame)
{
    const certificate_ptr certificate = make_certificate(GetParam());
    ASSERT_NE(certificate, nullptr);
    ASSERT_EQ(x509_cert_save(file.c_str(), certificate.get()), LIBSECURE_DONE);
    FILE *saved = fopen(file.c_str(), "r");
    ASSERT_NE(saved, nullptr);
    const certificate_ptr read_back(PEM_read_X509(saved, nullptr, nullptr, nullptr));
    fclose(saved);
    ASSERT_NE(read_back, nullptr);
    EXPECT_EQ(X509_cmp(read_back.get(), certificate.get()), 0);
}

TEST_P(EachIdentity, OpensslReadsTheSavedCertificateAndAgreesOnItsSha1)
{
    if (!has_program("openssl"))
        GTEST_SKIP() << "openssl is not installed";
    const certificate_ptr certificate = make_certificate(GetParam());
    ASSERT_EQ(x509_cert_save(file.c_str(), certificate.get()), LIBSECURE_DONE);
    const std::string sha1 = digest_of(EVP_sha1(), der_of(certificate.get()));
    EXPECT_THAT(output_of("openssl x509 -noout -fingerprint -sha1 -in '" + file + "'"),
                HasSubstr(hex_of(sha1, toupper)));
    int differs = DIFFERS_UNSET;
    EXPECT_EQ(x509_cert_digest_sha1_compare(certificate.get(), bytes_of(sha1), &differs), LIBSECURE_DONE);
    EXPECT_EQ(differs, 0);
}

TEST_P(EachIdentity, CertificateDiffersFromADigestWithAnyByteChanged)
{
    const certificate_ptr certificate = make_certificate(GetParam());
    const std::string sha1 = digest_of(EVP_sha1(), der_of(certificate.get()));
    ASSERT_EQ(sha1.size(), 20u);
    for (size_t at = 0; at < sha1.size(); at++) {
        std::string wrong = sha1;
        wrong[at] = static_cast<char>(wrong[at] ^ 1);
        int differs = DIFFERS_UNSET;
        EXPECT_EQ(x509_cert_digest_sha1_compare(certificate.get(), bytes_of(wrong), &differs),
                  LIBSECURE_DONE);
        EXPECT_EQ(differs, 1) << "byte " << at;
    }
}

TEST_P(EachIdentity, HostKeyIsSavedAsItsTypeAndItsBlobInBase64)
{
    const std::string blob = ssh_blob(GetParam());
    ASSERT_EQ(ssh_public_key_save(file.c_str(), 0, blob.data(), blob.size()), LIBSECURE_DONE);
    const std::string line = content_of(file);
    const std::string type = std::string(GetParam().ssh_type) + " ";
    ASSERT_EQ(line.substr(0, type.size()), type);
    ASSERT_EQ(line.find('\n'), line.size() - 1);
    const std::string base64 = line.substr(type.size(), line.size() - type.size() - 1);
    std::string decoded(base64.size(), '\0');
    ASSERT_GE(EVP_DecodeBlock(reinterpret_cast<unsigned char *>(decoded.data()), bytes_of(base64),
                              static_cast<int>(base64.size())),
              static_cast<int>(blob.size()));
    EXPECT_EQ(decoded.substr(0, blob.size()), blob);
}

TEST_P(EachIdentity, SshKeygenReadsTheSavedHostKeyAndAgreesOnItsMd5)
{
    if (!has_program("ssh-keygen"))
        GTEST_SKIP() << "ssh-keygen is not installed";
    const std::string blob = ssh_blob(GetParam());
    ASSERT_EQ(ssh_public_key_save(file.c_str(), 0, blob.data(), blob.size()), LIBSECURE_DONE);
    const std::string md5 = digest_of(EVP_md5(), blob);
    const std::string shown = output_of("ssh-keygen -l -E md5 -f '" + file + "'");
    EXPECT_THAT(shown, HasSubstr("MD5:" + hex_of(md5, tolower)));
    EXPECT_THAT(shown, HasSubstr(std::string("(") + GetParam().kind + ")"));
    int differs = DIFFERS_UNSET;
    EXPECT_EQ(ssh_key_digest_md5_compare(blob.data(), blob.size(), bytes_of(md5), &differs), LIBSECURE_DONE);
    EXPECT_EQ(differs, 0);
}

TEST_F(Secure, HostKeyDiffersFromADigestWithAnyByteChanged)
{
    const std::string md5 = digest_of(EVP_md5(), key);
    ASSERT_EQ(md5.size(), 16u);
    for (size_t at = 0; at < md5.size(); at++) {
        std::string wrong = md5;
        wrong[at] = static_cast<char>(wrong[at] ^ 0x80);
        int differs = DIFFERS_UNSET;
        EXPECT_EQ(ssh_key_digest_md5_compare(key.data(), key.size(), bytes_of(wrong), &differs),
                  LIBSECURE_DONE);
        EXPECT_EQ(differs, 1) << "byte " << at;
    }
}

TEST_F(Secure, Md5FollowsRfc1321)
{
    const std::array<uint8_t, 16> of_abc = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                                            0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
    int differs = DIFFERS_UNSET;
    EXPECT_EQ(ssh_key_digest_md5_compare("abc", 3, of_abc.data(), &differs), LIBSECURE_DONE);
    EXPECT_EQ(differs, 0);
}

TEST_F(Secure, BadArgumentsAreRefused)
{
    const uint8_t digest[20] = {};
    int differs = DIFFERS_UNSET;
    const int refused[] = {
        x509_cert_save(nullptr, certificate.get()),
        x509_cert_save("", certificate.get()),
        x509_cert_save(file.c_str(), nullptr),
        x509_cert_digest_sha1_compare(nullptr, digest, &differs),
        x509_cert_digest_sha1_compare(certificate.get(), nullptr, &differs),
        x509_cert_digest_sha1_compare(certificate.get(), digest, nullptr),
        ssh_public_key_save(nullptr, 0, key.data(), key.size()),
        ssh_public_key_save("", 0, key.data(), key.size()),
        ssh_public_key_save(file.c_str(), 1, key.data(), key.size()),
        ssh_public_key_save(file.c_str(), 0, nullptr, 10),
        ssh_key_digest_md5_compare(nullptr, 10, digest, &differs),
        ssh_key_digest_md5_compare(key.data(), 0, digest, &differs),
        ssh_key_digest_md5_compare(key.data(), key.size(), nullptr, &differs),
        ssh_key_digest_md5_compare(key.data(), key.size(), digest, nullptr),
    };
    EXPECT_THAT(refused, testing::Each(LIBSECURE_BAD_ARGUMENT));
    EXPECT_EQ(differs, 1) << "a failed comparison must say that they differ";
    EXPECT_THAT(names_in(scratch.path), ElementsAre());
}

TEST_F(Secure, AnInvalidCertificateOrKeyIsBadData)
{
    const certificate_ptr empty(X509_new());
    const uint8_t digest[20] = {};
    int differs = DIFFERS_UNSET;
    EXPECT_EQ(x509_cert_save(file.c_str(), empty.get()), LIBSECURE_BAD_DATA);
    EXPECT_EQ(x509_cert_digest_sha1_compare(empty.get(), digest, &differs), LIBSECURE_BAD_DATA);
    EXPECT_EQ(differs, 1);
    EXPECT_EQ(ssh_public_key_save(file.c_str(), 0, "garbage!", 8), LIBSECURE_BAD_DATA);
    EXPECT_THAT(names_in(scratch.path), ElementsAre());
}

TEST_F(Secure, TheErrorQueueOfTheSurroundingHandshakeIsNotChanged)
{
    ERR_put_error(ERR_LIB_USER, 0, 1, __FILE__, __LINE__); // the only name in all releases
    const certificate_ptr empty(X509_new());
    EXPECT_EQ(x509_cert_save(file.c_str(), empty.get()), LIBSECURE_BAD_DATA);
    EXPECT_EQ(ERR_GET_LIB(ERR_get_error()), ERR_LIB_USER);
    EXPECT_EQ(ERR_get_error(), 0u);
}

TEST_F(Secure, AMissingDirectoryIsCannotCreate)
{
    file = scratch / "none/saved";
    EXPECT_EQ(save_certificate(), LIBSECURE_CANNOT_CREATE);
    EXPECT_EQ(save_key(), LIBSECURE_CANNOT_CREATE);
}

TEST_F(Secure, AFullDiskIsCannotWriteAndLeavesNothingBehind)
{
    const small_disk full(10);
    EXPECT_EQ(save_certificate(), LIBSECURE_CANNOT_WRITE);
    EXPECT_EQ(save_key(), LIBSECURE_CANNOT_WRITE);
    EXPECT_THAT(names_in(scratch.path), ElementsAre());
}
