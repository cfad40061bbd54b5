// The certificates were made, and their fingerprints printed, by openssl.
#include "ftpctl/server_identity.h"

#include "platform/identities.h"

#include <gtest/gtest.h>

static const std::string ECDSA_PEM = "-----BEGIN CERTIFICATE-----\n"
                                     "MIIBhzCCASygAwIBAgIBBzAKBggqhkjOPQQDAjAiMQ0wCwYDVQQKDARBw58KMREw\n"
                                     "DwYDVQQDDAhjYW1lcmEgMTAeFw0yNjExMjExNDMwMjdaFw0zNjExMTgxNDMwMjda\n"
                                     "MCIxDTALBgNVBAoMBEHDnwoxETAPBgNVBAMMCGNhbWVyYSAxMFkwEwYHKoZIzj0C\n"
                                     "AQYIKoZIzj0DAQcDQgAEk2NJ7gLqNaCA6TasCeP+9gXrATrJMKG3FQEEcssKqLg6\n"
                                     "aOg7IedutE0Lh3K4PRnuIf05aS9uidfY5/ErqxkvuqNTMFEwHQYDVR0OBBYEFAQN\n"
                                     "g+lvDYa3Kgrc1+iv8LuBUdXmMB8GA1UdIwQYMBaAFAQNg+lvDYa3Kgrc1+iv8LuB\n"
                                     "UdXmMA8GA1UdEwEB/wQFMAMBAf8wCgYIKoZIzj0EAwIDSQAwRgIhAJ/moghlZ5oL\n"
                                     "Ne7wvZkrpKKvLZH59cBzWmPvAU3gBr9LAiEAnGRFIsx6tBE8/12cp4FA3zMGolzg\n"
                                     "zJGre54JqlpK6Y0=\n"
                                     "-----END CERTIFICATE-----\n";

static const std::string ED25519_PEM = "-----BEGIN CERTIFICATE-----\n"
                                       "MIIBLDCB36ADAgECAhQ6ioLQgMUW6JJJlJija8qxuMBKJjAFBgMrZXAwDDEKMAgG\n"
                                       "A1UEAwwBZTAeFw0yNjExMjExNDMwMjdaFw0zNjExMTgxNDMwMjdaMAwxCjAIBgNV\n"
                                       "BAMMAWUwKjAFBgMrZXADIQCflWvSBEijuf7ILfdTSmb6KzCXpeR018Zmsq/RM5LY\n"
                                       "jqNTMFEwHQYDVR0OBBYEFBWRF3BdjOzkEizwhDxh7FBr3L9RMB8GA1UdIwQYMBaA\n"
                                       "FBWRF3BdjOzkEizwhDxh7FBr3L9RMA8GA1UdEwEB/wQFMAMBAf8wBQYDK2VwA0EA\n"
                                       "oimo+sEoU3hEl1uw1yUfNk+6d1zw5UrYkX4xcUAuQVqn9rKop46HxCV8O0YBxkTm\n"
                                       "NRYiMEWlgblo/f2x004eAg==\n"
                                       "-----END CERTIFICATE-----\n";

// The certificate with one part of its base64 replaced.
static std::string altered(std::string pem, const std::string &part, const std::string &by)
{
    return pem.replace(pem.find(part), part.size(), by);
}

TEST(Certificate, HasItsNamesDatesFingerprintsAndPin)
{
    const auto identity = certificate_read(ECDSA_PEM);
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->kind, server_identity_t::CERTIFICATE);
    EXPECT_EQ(identity->subject, "O = A\\C3\\9F\\0A, CN = camera 1") << "line feed and non-ASCII: escaped";
    EXPECT_EQ(identity->issuer, identity->subject);
    EXPECT_EQ(identity->not_before, "2026-11-21 14:30:27 UTC");
    EXPECT_EQ(identity->not_after, "2036-11-18 14:30:27 UTC");
    EXPECT_EQ(identity->sha256,
              "CE:0F:AC:3F:B3:7F:AB:4C:FE:D5:E8:F4:9B:DF:C2:A0:0F:F6:E7:FC:2F:4E:65:3F:6E:11:"
              "FD:06:57:8E:53:C8");
    EXPECT_EQ(identity->digest, "14:97:3F:55:1F:A0:FF:0F:04:02:15:78:94:F3:FF:70:5C:CB:D5:A9");
    EXPECT_EQ(identity->pin, "sha1:14:97:3F:55:1F:A0:FF:0F:04:02:15:78:94:F3:FF:70:5C:CB:D5:A9");
}

TEST(Certificate, HasTheKindAndSizeOfItsKey)
{
    const std::tuple<std::string, const char *, int, const char *> cases[] = {
        {ECDSA_PEM, "ECDSA", 256, "14:97:3F:55:1F:A0:FF:0F:04:02:15:78:94:F3:FF:70:5C:CB:D5:A9"},
        {ED25519_PEM, "Ed25519", 256, "2A:BD:22:72:B6:FA:E7:6A:1A:62:78:30:0E:8F:3A:F1:BC:A8:47:8E"},
        // The same certificate with its key's OID changed: to X25519, then to an unknown one.
        {altered(ED25519_PEM, "ZXAD", "ZW4D"), "X25519", 253,
         "73:27:EA:6C:CB:69:EB:D6:F1:8A:0E:D7:A5:0B:DD:49:61:8D:99:23"},
        {altered(ED25519_PEM, "ZXAD", "ZX8D"), "unknown", 0,
         "85:D7:F7:81:63:A7:A4:04:13:5C:FC:7A:C4:A1:CD:C2:A8:4D:41:F6"},
    };
    for (const auto &[pem, type, bits, sha1] : cases) {
        const auto identity = certificate_read(pem);
        ASSERT_TRUE(identity) << type;
        EXPECT_EQ(identity->key_type, type);
        EXPECT_EQ(identity->key_bits, bits) << type;
        EXPECT_EQ(identity->digest, sha1) << type;
    }
}

TEST(Certificate, MayBeBinary)
{
    unsigned char *der = nullptr;
    const int length = i2d_X509(make_certificate(IDENTITIES[0]).get(), &der);
    const auto identity = certificate_read({reinterpret_cast<char *>(der), static_cast<size_t>(length)});
    OPENSSL_free(der);
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->key_type, "RSA");
    EXPECT_EQ(identity->key_bits, 1024);
}

TEST(Certificate, MayHaveTextAroundItButNoOtherTextIsAccepted)
{
    EXPECT_TRUE(certificate_read("subject=CN = x\n" + ECDSA_PEM + "more\n"));
    for (const std::string &bytes :
         {std::string(), std::string("\0", 1), std::string("ssh-rsa AAAA\n"),
          ECDSA_PEM.substr(0, ECDSA_PEM.size() / 2), ECDSA_PEM.substr(0, 28) + ECDSA_PEM.substr(32)})
        EXPECT_FALSE(certificate_read(bytes)) << bytes;
}
