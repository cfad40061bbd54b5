// A server's certificate or host key, and its pin.
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct server_identity_t {
    enum kind_t { CERTIFICATE, HOST_KEY } kind = CERTIFICATE;

    std::string type;    // host key: e.g. "ssh-ed25519"
    std::string subject; // certificate, these four: names as "openssl x509 -subject" prints them,
    std::string issuer;  // non-printable characters escaped; times as "2026-11-21 08:15:00 UTC"
    std::string not_before;
    std::string not_after;

    std::string key_type; // "RSA", "ECDSA", "Ed25519", ...
    int key_bits = 0;     // 0: unknown
    std::string sha256;   // as "openssl x509 -fingerprint" and "ssh-keygen -l" print it
    std::string digest;   // SHA-1 of a certificate, MD5 of a host key; hex, a colon between bytes
    std::string pin;      // the argument for --pin
};

// The lines for people, without a newline at the end; `server` is HOST:PORT.
std::string identity_text(const std::string &server, const server_identity_t &identity);

// Reads a certificate, PEM or DER. Nothing if it is not one. Throws failure (STATUS_LOCAL) if the library
// does not support a required digest.
std::optional<server_identity_t> certificate_read(std::string_view bytes);

// Reads an OpenSSH public-key line, "type base64 [comment]". Nothing if it is not one. Throws as
// certificate_read().
std::optional<server_identity_t> host_key_read(std::string_view line);
