#include "ftpctl/server_pin.h"

#include "refused.h"

#include <string>

using testing::ElementsAre;
using testing::StartsWith;

static const std::string SHA1 = "00112233445566778899AABBCCDDEEFF01020304";
static const std::string SHA1_COLONS = "00:11:22:33:44:55:66:77:88:99:AA:BB:CC:DD:EE:FF:01:02:03:04";
static const std::string MD5_COLONS = "00:11:22:33:44:55:66:77:88:99:aa:bb:cc:dd:ee:ff";

TEST(ServerPin, IsReadAsTheUsualToolsPrintIt)
{
    for (const std::string &text : {"sha1:" + SHA1, "sha1:" + SHA1_COLONS, "SHA1:" + SHA1,
                                    "sha1 Fingerprint=" + SHA1_COLONS, "SHA1 Fingerprint=" + SHA1_COLONS}) {
        const server_pin_t pin = server_pin_parse(text);
        EXPECT_EQ(pin.kind, FTPCLIENT_PIN_SHA1) << text;
        EXPECT_THAT(pin.digest, ElementsAre(0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA,
                                            0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0x01, 0x02, 0x03, 0x04))
            << text;
    }
    const server_pin_t pin = server_pin_parse("MD5:" + MD5_COLONS);
    EXPECT_EQ(pin.kind, FTPCLIENT_PIN_MD5);
    EXPECT_THAT(pin.digest, ElementsAre(0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA,
                                        0xBB, 0xCC, 0xDD, 0xEE, 0xFF));
}

TEST(ServerPin, IsRefusedWithOneClearLine)
{
    const struct {
        std::string text;
        const char *line;
    } cases[] = {
        {"", "2 --pin: must be sha1:HEX or md5:HEX"},
        {SHA1, "2 --pin: must be sha1:HEX or md5:HEX"},
        {"sha256:" + SHA1, "2 --pin: must be sha1:HEX or md5:HEX"},
        {"sha1:", "2 --pin: a SHA-1 fingerprint has 20 bytes"},
        {"sha1:" + SHA1.substr(2), "2 --pin: a SHA-1 fingerprint has 20 bytes"},
        {"sha1:" + SHA1 + "00", "2 --pin: a SHA-1 fingerprint has 20 bytes"},
        {"md5:" + MD5_COLONS.substr(3), "2 --pin: an MD5 fingerprint has 16 bytes"},
        {"md5:" + SHA1, "2 --pin: an MD5 fingerprint has 16 bytes"},
        {"md5:" + MD5_COLONS + ":", "2 --pin: after the kind come pairs"},
        {"md5::" + MD5_COLONS, "2 --pin: after the kind come pairs"},
        {"sha1:" + SHA1.substr(1), "2 --pin: after the kind come pairs"},
        {"sha1:0g" + SHA1.substr(2), "2 --pin: after the kind come pairs"},
        {"sha1:-1" + SHA1.substr(2), "2 --pin: after the kind come pairs"},
        {"sha1:00:11" + SHA1.substr(4), "2 --pin: after the kind come pairs"},
        {"sha1:0011:22" + SHA1.substr(6), "2 --pin: after the kind come pairs"},
        {"sha1: " + SHA1, "2 --pin: after the kind come pairs"},
    };
    for (const auto &c : cases)
        EXPECT_THAT(failure_of([&] { server_pin_parse(c.text); }), StartsWith(c.line)) << c.text;
}
