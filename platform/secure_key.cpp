#include "platform/secure_key.h"

#include "platform/secure.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <openssl/evp.h>
#include <string_view>

constexpr size_t KEY_MAX_BYTES = 65536; // an RSA key of 16384 bits has 2100
constexpr size_t TYPE_MAX_BYTES = 64;   // RFC 4251, 6
constexpr size_t LENGTH_BYTES = 4;

// Takes one string, a big-endian length and as many bytes, off the front of `rest`.
static bool take_string(std::string_view *rest, std::string_view *string)
{
    if (rest->size() < LENGTH_BYTES)
        return false;
    uint32_t length = 0;
    for (size_t i = 0; i < LENGTH_BYTES; i++)
        length = length << 8 | static_cast<uint8_t>((*rest)[i]);
    rest->remove_prefix(LENGTH_BYTES);
    if (length > rest->size())
        return false;
    *string = rest->substr(0, length);
    rest->remove_prefix(length);
    return true;
}

static bool is_type(std::string_view type)
{
    if (type.empty() || type.size() > TYPE_MAX_BYTES)
        return false;
    for (const char c : type)
        if (c <= ' ' || c > '~') // a blank or a line end would change the line's fields
            return false;
    return true;
}

// Every kind of public key is its type and one or more strings (numbers count as strings), and nothing else.
static bool key_type(std::string_view key, std::string_view *type)
{
    std::string_view part;
    if (key.size() > KEY_MAX_BYTES || !take_string(&key, type) || !is_type(*type) || key.empty())
        return false;
    while (!key.empty())
        if (!take_string(&key, &part))
            return false;
    return true;
}

int secure_key_line(const void *key, size_t key_length, heap_string *line, size_t *line_length)
{
    std::string_view type;
    if (!key_type({static_cast<const char *>(key), key_length}, &type))
        return LIBSECURE_BAD_DATA;
    const size_t base64_length = (key_length + 2) / 3 * 4;
    *line_length = type.size() + 1 + base64_length + 1;
    line->reset(static_cast<char *>(malloc(*line_length + 1)));
    if (!*line)
        return LIBSECURE_NO_MEMORY;
    char *at = line->get();
    memcpy(at, type.data(), type.size());
    at += type.size();
    *at++ = ' ';
    EVP_EncodeBlock(reinterpret_cast<unsigned char *>(at), static_cast<const unsigned char *>(key),
                    static_cast<int>(key_length));
    memcpy(at + base64_length, "\n", 2);
    return LIBSECURE_DONE;
}
