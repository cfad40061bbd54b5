// The fingerprint that a server's certificate or host key must have.
#pragma once

#include "libftpclient/ftpclient.h"

#include <cstdint>
#include <string_view>
#include <vector>

struct server_pin_t {
    int kind = FTPCLIENT_PIN_NONE; // ftpclient_pin
    std::vector<uint8_t> digest;   // 16 or 20 bytes
};

// Reads "sha1:HEX" or "md5:HEX", with colons between all bytes or none, as "ssh-keygen -l -E md5" prints it;
// also "sha1 Fingerprint=HEX" as "openssl x509 -fingerprint" does. Throws failure (STATUS_USAGE), also for a
// wrong number of bytes.
server_pin_t server_pin_parse(std::string_view text);
