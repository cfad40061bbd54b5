#include "ftpctl/digest.h"

#include "ftpctl/failure.h"

#include <openssl/evp.h>

std::string digest_hex(std::span<const unsigned char> bytes, letters_t letters)
{
    const char *digits = letters == letters_t::UPPER ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes) {
        if (!text.empty())
            text += ':';
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

octets_t digest_of(std::span<const unsigned char> bytes, const EVP_MD *kind)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, kind, nullptr) != 1)
        throw failure(STATUS_LOCAL, "the cryptographic library here does not provide this digest");
    return {digest, digest + length};
}
