#include "ftpctl/digest.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

static const octets_t ABC = {'a', 'b', 'c'};

TEST(Digest, IsTheOneOfTheStandard)
{
    EXPECT_EQ(digest_hex(digest_of(ABC, EVP_sha1()), letters_t::UPPER),
              "A9:99:3E:36:47:06:81:6A:BA:3E:25:71:78:50:C2:6C:9C:D0:D8:9D");
    EXPECT_EQ(digest_hex(digest_of(ABC, EVP_md5()), letters_t::LOWER),
              "90:01:50:98:3c:d2:4f:b0:d6:96:3f:7d:28:e1:7f:72");
}

TEST(Digest, InHexHasAColonBetweenBytes)
{
    EXPECT_EQ(digest_hex(octets_t{}, letters_t::UPPER), "");
    EXPECT_EQ(digest_hex(octets_t{0x0A}, letters_t::UPPER), "0A");
    EXPECT_EQ(digest_hex(octets_t{0x0A, 0xFF}, letters_t::LOWER), "0a:ff");
}
