// A server's certificate or host key: who it is, and the pin that holds it to that.
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct server_identity_t {
    enum kind_t { CERTIFICATE, HOST_KEY } kind = CERTIFICATE;

    std::string type;    // of a host key, e.g. "ssh-ed25519"
    std::string subject; // these four of a certificate: names as "openssl x509 -subject" prints them,
    std::string issuer;  // all but printable ASCII escaped; times as "2026-11-21 08:15:00 UTC"
    std::string not_before;
    std::string not_after;

    std::string key_type; // "RSA", "ECDSA", "Ed25519", ...
    int key_bits = 0;     // 0: unknown
    std::string sha256;   // as "openssl x509 -fingerprint" and "ssh-keygen -l" print it
    std::string digest;   // SHA-1 of a certificate, MD5 of a host key; hex, a colon between bytes
    std::string pin;      // what --pin takes
};

// The lines for people; `server` is HOST:PORT.
std::string identity_text(const std::string &server, const server_identity_t &identity);

// Reads a certificate, PEM or DER. Nothing when it is none. Throws failure (STATUS_LOCAL) where the library
// does not do a digest that is wanted.
std::optional<server_identity_t> certificate_read(std::string_view bytes);

// Reads an OpenSSH public-key line, "type base64 [comment]". Nothing when it is none. Throws as
// certificate_read().
std::optional<server_identity_t> host_key_read(std::string_view line);
