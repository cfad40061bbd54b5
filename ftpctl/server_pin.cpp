#include "ftpctl/server_pin.h"

#include "ftpctl/failure.h"

#include <algorithm>
#include <charconv>
#include <strings.h>

namespace
{

struct kind_t {
    std::string_view prefix; // any case
    int pin;
    size_t digest_bytes;
    const char *wrong_length;
};

} // namespace

constexpr const char *WRONG_SHA1 = "--pin: a SHA-1 fingerprint has 20 bytes, 40 hex digits";
constexpr const char *WRONG_HEX =
    "--pin: after the kind come pairs of hex digits, all with ':' between or none";
constexpr const char *WRONG_MD5 = "--pin: an MD5 fingerprint has 16 bytes, 32 hex digits";

constexpr kind_t KINDS[] = {
    {"sha1:", FTPCLIENT_PIN_SHA1, FTPCLIENT_SHA1_SIZE, WRONG_SHA1},
    {"sha1 fingerprint=", FTPCLIENT_PIN_SHA1, FTPCLIENT_SHA1_SIZE, WRONG_SHA1},
    {"md5:", FTPCLIENT_PIN_MD5, FTPCLIENT_MD5_SIZE, WRONG_MD5},
};

static bool has_prefix(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && strncasecmp(text.data(), prefix.data(), prefix.size()) == 0;
}

static std::vector<uint8_t> bytes_of(std::string_view hex)
{
    const bool with_colons = hex.size() > 2 && hex[2] == ':';
    const size_t step = with_colons ? 3 : 2;
    if ((hex.size() + (with_colons ? 1 : 0)) % step != 0)
        refuse(WRONG_HEX);
    std::vector<uint8_t> bytes;
    for (size_t at = 0; at < hex.size(); at += step) {
        const char *end = hex.data() + at + 2;
        uint8_t byte = 0;
        if (std::from_chars(end - 2, end, byte, 16).ptr != end ||
            (with_colons && at > 0 && hex[at - 1] != ':'))
            refuse(WRONG_HEX);
        bytes.push_back(byte);
    }
    return bytes;
}

server_pin_t server_pin_parse(std::string_view text)
{
    const auto *kind =
        std::ranges::find_if(KINDS, [&](const kind_t &k) { return has_prefix(text, k.prefix); });
    if (kind == std::end(KINDS))
        refuse("--pin: must be sha1:HEX or md5:HEX");
    text.remove_prefix(kind->prefix.size());
    server_pin_t pin = {kind->pin, bytes_of(text)};
    if (pin.digest.size() != kind->digest_bytes)
        refuse(kind->wrong_length);
    return pin;
}
