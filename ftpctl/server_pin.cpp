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

constexpr const char *WRONG_SHA1 = "--pin: a SHA-1 fingerprint has 20 bytes, 40 hex digits";
constexpr const char *WRONG_MD5 = "--pin: an MD5 fingerprint has 16 bytes, 32 hex digits";

constexpr kind_t KINDS[] = {
    {"sha1:", FTPCLIENT_PIN_SHA1, 20, WRONG_SHA1},
    {"sha1 fingerprint=", FTPCLIENT_PIN_SHA1, 20, WRONG_SHA1},
    {"md5:", FTPCLIENT_PIN_MD5, 16, WRONG_MD5},
};

bool has_prefix(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && strncasecmp(text.data(), prefix.data(), prefix.size()) == 0;
}

[[noreturn]] void refuse_hex()
{
    throw failure(STATUS_USAGE,
                  "--pin: after the kind come pairs of hex digits, all with ':' between or none");
}

std::vector<uint8_t> bytes_of(std::string_view hex)
{
    const bool with_colons = hex.size() > 2 && hex[2] == ':';
    std::vector<uint8_t> bytes;
    while (!hex.empty()) {
        const std::string_view pair = hex.substr(0, 2);
        const char *pair_end = pair.data() + pair.size();
        uint8_t byte = 0;
        const auto [end, error] = std::from_chars(pair.data(), pair_end, byte, 16);
        if (pair.size() != 2 || error != std::errc() || end != pair_end)
            refuse_hex();
        bytes.push_back(byte);
        hex.remove_prefix(2);
        if (!with_colons || hex.empty())
            continue;
        if (hex[0] != ':' || hex.size() == 1)
            refuse_hex();
        hex.remove_prefix(1);
    }
    return bytes;
}

} // namespace

server_pin_t server_pin_parse(std::string_view text)
{
    const auto *kind =
        std::ranges::find_if(KINDS, [&](const kind_t &k) { return has_prefix(text, k.prefix); });
    if (kind == std::end(KINDS))
        throw failure(STATUS_USAGE, "--pin: must be sha1:HEX or md5:HEX");
    text.remove_prefix(kind->prefix.size());
    server_pin_t pin = {kind->pin, bytes_of(text)};
    if (pin.digest.size() != kind->digest_bytes)
        throw failure(STATUS_USAGE, kind->wrong_length);
    return pin;
}
