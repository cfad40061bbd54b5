#include "ftpctl/digest.h"
#include "ftpctl/server_identity.h"

#include <algorithm>
#include <bit>
#include <openssl/evp.h>

constexpr size_t LENGTH_BYTES = 4;
constexpr size_t LINE_MAX_BYTES = 1 << 20;

namespace
{

// `number` is the index of the key's string that determines its size, 0 if the type does.
struct key_kind_t {
    std::string_view type;
    const char *name;
    int bits;
    int number;
};

} // namespace

constexpr key_kind_t KINDS[] = {
    {"ssh-rsa", "RSA", 0, 2}, // type, exponent, modulus
    {"ssh-dss", "DSA", 0, 1}, // type, p, ...
    {"ecdsa-sha2-nistp256", "ECDSA", 256, 0},
    {"ecdsa-sha2-nistp384", "ECDSA", 384, 0},
    {"ecdsa-sha2-nistp521", "ECDSA", 521, 0},
    {"ssh-ed25519", "Ed25519", 256, 0},
};

using bytes_view_t = std::span<const unsigned char>;

// The strings of a key, each a big-endian length and that many bytes; none if it is malformed.
static std::vector<bytes_view_t> strings_of(bytes_view_t key)
{
    std::vector<bytes_view_t> strings;
    while (!key.empty()) {
        uint64_t length = 0;
        for (const unsigned char byte : key.first(std::min(LENGTH_BYTES, key.size())))
            length = length << 8 | byte;
        if (LENGTH_BYTES + length > key.size())
            return {};
        strings.push_back(key.subspan(LENGTH_BYTES, static_cast<size_t>(length)));
        key = key.subspan(LENGTH_BYTES + static_cast<size_t>(length));
    }
    return strings;
}

static int bits_of(bytes_view_t number)
{
    while (!number.empty() && number[0] == 0)
        number = number.subspan(1);
    if (number.empty())
        return 0;
    return static_cast<int>(number.size() * 8) - std::countl_zero(number[0]);
}

// Nothing if it is not complete base64 with padding.
static std::optional<octets_t> base64_decoded(std::string_view text)
{
    const size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    octets_t bytes(text.size() / 4 * 3);
    if (text.empty() || text.size() % 4 != 0 ||
        EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char *>(text.data()),
                        static_cast<int>(text.size())) != static_cast<int>(bytes.size()))
        return std::nullopt;
    bytes.resize(bytes.size() - padding);
    return bytes;
}

// As ssh-keygen prints digests: without padding.
static std::string base64_of(const octets_t &bytes)
{
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()), bytes.data(),
                                       static_cast<int>(bytes.size()));
    text.resize(static_cast<size_t>(length));
    while (text.ends_with('='))
        text.pop_back();
    return text;
}

static bool is_word(std::string_view text)
{
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; });
}

static void set_key(server_identity_t &identity, const std::vector<bytes_view_t> &strings)
{
    identity.key_type = identity.type;
    const auto *kind = std::ranges::find(KINDS, identity.type, &key_kind_t::type);
    if (kind == std::end(KINDS))
        return;
    identity.key_type = kind->name;
    identity.key_bits = kind->bits;
    if (const auto number = static_cast<size_t>(kind->number); number != 0 && number < strings.size())
        identity.key_bits = bits_of(strings[number]);
}

std::optional<server_identity_t> host_key_read(std::string_view line)
{
    line = line.substr(0, line.find_first_of("\r\n"));
    const size_t blank = std::min(line.find(' '), line.size());
    const std::string_view type = line.substr(0, blank);
    const std::string_view rest = line.substr(std::min(blank + 1, line.size()));
    if (!is_word(type) || line.size() > LINE_MAX_BYTES)
        return std::nullopt;
    const auto key = base64_decoded(rest.substr(0, rest.find(' ')));
    const auto strings = key ? strings_of(*key) : std::vector<bytes_view_t>();
    if (strings.size() < 2 || !std::ranges::equal(strings[0], type))
        return std::nullopt;

    server_identity_t identity;
    identity.kind = server_identity_t::HOST_KEY;
    identity.type = type;
    set_key(identity, strings);
    identity.sha256 = "SHA256:" + base64_of(digest_of(*key, EVP_sha256()));
    identity.digest = digest_hex(digest_of(*key, EVP_md5()), letters_t::LOWER);
    identity.pin = "md5:" + identity.digest;
    return identity;
}
