// The fingerprints were printed by ssh-keygen.
#include "ftpctl/server_identity.h"

#include <gtest/gtest.h>

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
