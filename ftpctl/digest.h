// Digests, and bytes in hex.
#pragma once

#include <openssl/ossl_typ.h>
#include <span>
#include <string>
#include <vector>

using octets_t = std::vector<unsigned char>;

enum class letters_t { UPPER, LOWER };

// Two digits for each byte, with colons between the bytes, such as "0A:FF"; "" for no bytes.
std::string digest_hex(std::span<const unsigned char> bytes, letters_t letters);

// The digest of the bytes, as long as `kind` makes it, such as EVP_sha256(). Throws failure (STATUS_LOCAL) if
// the library does not support this kind.
octets_t digest_of(std::span<const unsigned char> bytes, const EVP_MD *kind);
