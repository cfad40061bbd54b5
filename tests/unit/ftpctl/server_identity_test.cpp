// Certificates and their fingerprints are from openssl, keys and theirs from ssh-keygen.
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
    const struct {
        std::string pem;
        const char *type;
        int bits;
        const char *sha1;
    } cases[] = {
        {ECDSA_PEM, "ECDSA", 256, "14:97:3F:55:1F:A0:FF:0F:04:02:15:78:94:F3:FF:70:5C:CB:D5:A9"},
        {ED25519_PEM, "Ed25519", 256, "2A:BD:22:72:B6:FA:E7:6A:1A:62:78:30:0E:8F:3A:F1:BC:A8:47:8E"},
        // With the object identifier of a kind that has no name here, and with an unknown one.
        {altered(ED25519_PEM, "ZXAD", "ZW4D"), "X25519", 253,
         "73:27:EA:6C:CB:69:EB:D6:F1:8A:0E:D7:A5:0B:DD:49:61:8D:99:23"},
        {altered(ED25519_PEM, "ZXAD", "ZX8D"), "unknown", 0,
         "85:D7:F7:81:63:A7:A4:04:13:5C:FC:7A:C4:A1:CD:C2:A8:4D:41:F6"},
    };
    for (const auto &c : cases) {
        const auto identity = certificate_read(c.pem);
        ASSERT_TRUE(identity) << c.type;
        EXPECT_EQ(identity->key_type, c.type);
        EXPECT_EQ(identity->key_bits, c.bits) << c.type;
        EXPECT_EQ(identity->digest, c.sha1) << c.type;
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

namespace
{

struct case_t {
    const char *line;
    const char *type;
    const char *key_type;
    int bits;
    const char *sha256;
    const char *md5;
};

constexpr case_t KEYS[] = {
    {"ssh-rsa "
     "AAAAB3NzaC1yc2EAAAADAQABAAAAgQDN6z6WNM9vmFKCKBHBwvPFl3h6kASJVCYCCl7zXsCP1R1oxV2Wp8N4KKN4gocLvn2zwz6NjYedQM"
     "08NMY5kmaFG6ucat0u1WUHVCHow4gwinnvBfOYenPFYzMUjCgNpGd7rS/b7Kixtr6ZFypvj8XhmRTldzImfU7rOYQ38xSl9Q==\n",
     "ssh-rsa", "RSA", 1024, "SHA256:EfTE2FyowaxgabnTERs+II5MgfgGieGjb4/57m937Uw",
     "5f:e6:d7:ab:0d:88:b8:ab:d7:9d:ca:2a:6f:cb:ec:0c"},
    {"ecdsa-sha2-nistp256 "
     "AAAAE2VjZHNhLXNoYTItbmlzdHAyNTYAAAAIbmlzdHAyNTYAAABBBJW2Y6Wk66zdWkv5/S+SIhMtOeXWH/"
     "xyjkjpmFXuWAKJsttAxqaNviGUG+G5hkvWVb3l+tAhA7rvAf/3rMWm4z8= \n",
     "ecdsa-sha2-nistp256", "ECDSA", 256, "SHA256:N7k0FVACPv/xNUjO0FueXygYrOcpAJ4rdx1cPuzvEt0",
     "53:2f:fc:0c:6f:9b:59:f3:1a:40:af:80:6f:ba:34:6b"},
    {"ecdsa-sha2-nistp521 "
     "AAAAE2VjZHNhLXNoYTItbmlzdHA1MjEAAAAIbmlzdHA1MjEAAACFBAC8QvqNiuFnkpRSgmi38jbzxxRUTEK8NrRbdSNkuoBLqk1q0TW3UN"
     "RM/j+lnw4UHNZw+EQp/LltcxS+uDbBpo3MZAHMIRBfY66zx9VJViliBt0vI8rucEHh7+ug/"
     "dtEfDKNMHJ99b4axTMrcQXawRrtYm4W+QOGNY7Hb5UU2mv/f/PdAA== root@camera\n",
     "ecdsa-sha2-nistp521", "ECDSA", 521, "SHA256:qY2lnKmnqf3uv53yhb5nBqay3Ns3p9GZ6fqrNcY18e4",
     "11:97:4b:89:e8:23:db:08:f8:58:72:4b:62:75:58:45"},
    {"ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAINPn7G9vM7XfgwrymICcgDutHoagWuu3ZeQaQg42Z6Pi", "ssh-ed25519",
     "Ed25519", 256, "SHA256:D92P41XDIVZwaL3aXWh73M80N7iGxwiWyBLNlMvfFeM",
     "ac:d8:8f:60:47:fe:fc:c9:5d:52:f2:08:6a:59:50:b4"},
};

} // namespace

TEST(HostKey, HasItsTypeSizeAndFingerprints)
{
    for (const case_t &key : KEYS) {
        const auto identity = host_key_read(key.line);
        ASSERT_TRUE(identity) << key.type;
        EXPECT_EQ(identity->kind, server_identity_t::HOST_KEY);
        EXPECT_EQ(identity->type, key.type);
        EXPECT_EQ(identity->key_type, key.key_type);
        EXPECT_EQ(identity->key_bits, key.bits) << key.type;
        EXPECT_EQ(identity->sha256, key.sha256);
        EXPECT_EQ(identity->digest, key.md5);
        EXPECT_EQ(identity->pin, "md5:" + std::string(key.md5));
    }
}

TEST(HostKey, OfAnUnknownKindKeepsItsNameAndAnEmptyNumberHasNoBits)
{
    // Two strings, "x-new" and "abc"; three, "ssh-rsa" and two empty ones.
    for (const auto &[line, type] : {std::pair{"x-new AAAABXgtbmV3AAAAA2FiYw==\n", "x-new"},
                                     {"ssh-rsa AAAAB3NzaC1yc2EAAAAAAAAAAA==\n", "RSA"}}) {
        const auto identity = host_key_read(line);
        ASSERT_TRUE(identity) << line;
        EXPECT_EQ(identity->key_type, type);
        EXPECT_EQ(identity->key_bits, 0) << line;
    }
}

TEST(HostKey, IsNotReadFromOtherText)
{
    const char *cases[] = {
        "",
        "\n",
        "ssh-ed25519",
        "ssh-ed25519 ",
        " AAAABXgtbmV3AAAAA2FiYw==",
        "x-new AAAABXgtbmV3AAAAA2FiYw=",     // base64 cut short
        "x-new AAAABXgtbmV3AAAAA2FiY!==",    // no base64
        "x-new AAAABXgtbmV3AAAABGFiYw==",    // a string longer than the key
        "x-new AAAABXgtbmV3AAAA",            // a length cut short
        "x-new AAAABXgtbmV3",                // a type without a key
        "x-old AAAABXgtbmV3AAAAA2FiYw==",    // another type than in the key
        "x\033new AAAABXgtbmV3AAAAA2FiYw==", // a control character
        "-----BEGIN CERTIFICATE-----\n",
    };
    for (const char *line : cases)
        EXPECT_FALSE(host_key_read(line)) << line;
}
