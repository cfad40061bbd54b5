// The certificates were made, and their fingerprints printed, by openssl.
#include "ftpctl/server_identity.h"

#include <gtest/gtest.h>

static const std::string ECDSA = "-----BEGIN CERTIFICATE-----\n"
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

static const std::string RSA = "-----BEGIN CERTIFICATE-----\n"
                               "MIIB9DCCAV2gAwIBAgIUAnVOwi+48Kz974yvuy654ZQNzlkwDQYJKoZIhvcNAQEL\n"
                               "BQAwDDEKMAgGA1UEAwwBcjAeFw0yNjExMjExNDMwMjdaFw0zNjExMTgxNDMwMjda\n"
                               "MAwxCjAIBgNVBAMMAXIwgZ8wDQYJKoZIhvcNAQEBBQADgY0AMIGJAoGBAKtNWqVD\n"
                               "aojf7Gu7zuijXNFrkcOg8Jq1MFpif11gWFYBukRiD3MpSqWyBlZhIzDDiCl5PGTg\n"
                               "xyt9jsv2THiW+omMDbnKnnCReVnCrAsGZMTeSK557Ds0ZY7h+WVgjErbBlMpXeiN\n"
                               "bFcqmv/BT7CzsYMInIkp+ghnm2FMyAp/Buo3AgMBAAGjUzBRMB0GA1UdDgQWBBQd\n"
                               "SFAdpRmLnMFzedRMLeV+0pDGFDAfBgNVHSMEGDAWgBQdSFAdpRmLnMFzedRMLeV+\n"
                               "0pDGFDAPBgNVHRMBAf8EBTADAQH/MA0GCSqGSIb3DQEBCwUAA4GBAEymmcWAn4UF\n"
                               "I4mdcRUeBTgfmIWwRQjsMww8E/t6LjpdV4cJnurzqH2OBYlCmgjDrVq0rkoOdckg\n"
                               "PC5HaN3Y9Dx0nJ42Yr3WeajAS2Skjl4zu4NjTOrYTwLe/1xVjc4Rok+jT8nHv/Ah\n"
                               "ImzDppliJaqicniBqPKBL9B797MvgCNM\n"
                               "-----END CERTIFICATE-----\n";

static const std::string ED25519 = "-----BEGIN CERTIFICATE-----\n"
                                   "MIIBLDCB36ADAgECAhQ6ioLQgMUW6JJJlJija8qxuMBKJjAFBgMrZXAwDDEKMAgG\n"
                                   "A1UEAwwBZTAeFw0yNjExMjExNDMwMjdaFw0zNjExMTgxNDMwMjdaMAwxCjAIBgNV\n"
                                   "BAMMAWUwKjAFBgMrZXADIQCflWvSBEijuf7ILfdTSmb6KzCXpeR018Zmsq/RM5LY\n"
                                   "jqNTMFEwHQYDVR0OBBYEFBWRF3BdjOzkEizwhDxh7FBr3L9RMB8GA1UdIwQYMBaA\n"
                                   "FBWRF3BdjOzkEizwhDxh7FBr3L9RMA8GA1UdEwEB/wQFMAMBAf8wBQYDK2VwA0EA\n"
                                   "oimo+sEoU3hEl1uw1yUfNk+6d1zw5UrYkX4xcUAuQVqn9rKop46HxCV8O0YBxkTm\n"
                                   "NRYiMEWlgblo/f2x004eAg==\n"
                                   "-----END CERTIFICATE-----\n";

static std::string base64_of(const std::string &pem)
{
    std::string text;
    for (size_t at = 0; at < pem.size(); at = pem.find('\n', at) + 1) {
        if (pem[at] != '-')
            text += pem.substr(at, pem.find('\n', at) - at);
    }
    return text;
}

TEST(Certificate, TellsWhoItIs)
{
    const auto identity = certificate_read(ECDSA);
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->kind, server_identity_t::CERTIFICATE);
    EXPECT_EQ(identity->subject, "O = A\\C3\\9F\\0A, CN = camera 1") << "a line feed and no ASCII: escaped";
    EXPECT_EQ(identity->issuer, identity->subject);
    EXPECT_EQ(identity->not_before, "2026-11-21 14:30:27 UTC");
    EXPECT_EQ(identity->not_after, "2036-11-18 14:30:27 UTC");
    EXPECT_EQ(identity->sha256,
              "CE:0F:AC:3F:B3:7F:AB:4C:FE:D5:E8:F4:9B:DF:C2:A0:0F:F6:E7:FC:2F:4E:65:3F:6E:11:"
              "FD:06:57:8E:53:C8");
    EXPECT_EQ(identity->digest, "14:97:3F:55:1F:A0:FF:0F:04:02:15:78:94:F3:FF:70:5C:CB:D5:A9");
    EXPECT_EQ(identity->pin, "sha1:14:97:3F:55:1F:A0:FF:0F:04:02:15:78:94:F3:FF:70:5C:CB:D5:A9");
}

TEST(Certificate, TellsTheKindAndSizeOfItsKey)
{
    const struct {
        const std::string &pem;
        const char *type;
        int bits;
        const char *sha1;
    } cases[] = {
        {ECDSA, "ECDSA", 256, "14:97:3F:55:1F:A0:FF:0F:04:02:15:78:94:F3:FF:70:5C:CB:D5:A9"},
        {RSA, "RSA", 1024, "8A:62:D8:8E:B9:F0:1B:37:59:B7:A8:96:CB:B4:5D:72:6E:30:B7:8B"},
        {ED25519, "Ed25519", 256, "2A:BD:22:72:B6:FA:E7:6A:1A:62:78:30:0E:8F:3A:F1:BC:A8:47:8E"},
    };
    for (const auto &c : cases) {
        const auto identity = certificate_read(c.pem);
        ASSERT_TRUE(identity) << c.type;
        EXPECT_EQ(identity->key_type, c.type);
        EXPECT_EQ(identity->key_bits, c.bits) << c.type;
        EXPECT_EQ(identity->digest, c.sha1) << c.type;
    }
}

TEST(Certificate, MayHaveTextAroundIt)
{
    EXPECT_TRUE(certificate_read("subject=CN = x\n" + ECDSA + "more\n"));
}

TEST(Certificate, WhatIsNoneIsNone)
{
    for (const std::string &bytes :
         {std::string(), std::string("\0", 1), std::string("ssh-rsa AAAA\n"),
          ECDSA.substr(0, ECDSA.size() / 2),
          "-----BEGIN CERTIFICATE-----\n" + base64_of(ECDSA).substr(4) + "\n-----END CERTIFICATE-----\n"})
        EXPECT_FALSE(certificate_read(bytes)) << bytes;
}
