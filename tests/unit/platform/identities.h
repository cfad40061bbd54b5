// Fresh keys and certificates, one of each kind that servers use.
#pragma once

#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <ostream>
#include <string>

struct openssl_release {
    void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
    void operator()(X509 *certificate) const { X509_free(certificate); }
};
using key_t_ptr = std::unique_ptr<EVP_PKEY, openssl_release>;
using certificate_ptr = std::unique_ptr<X509, openssl_release>;

struct identity_t {
    const char *kind; // "RSA", "ECDSA", "ED25519", as ssh-keygen names them
    const char *ssh_type;
    int openssl_kind;
    const char *option = nullptr; // for OpenSSL's key generation
    const char *value = nullptr;
};
inline void PrintTo(const identity_t &identity, std::ostream *out) { *out << identity.kind; }
constexpr identity_t IDENTITIES[] = {
    {"RSA", "ssh-rsa", EVP_PKEY_RSA, "rsa_keygen_bits", "1024"},
    {"ECDSA", "ecdsa-sha2-nistp256", EVP_PKEY_EC, "ec_paramgen_curve", "P-256"},
    {"ED25519", "ssh-ed25519", EVP_PKEY_ED25519}};

key_t_ptr make_key(const identity_t &identity);
certificate_ptr make_certificate(const identity_t &identity);

// One string of the SSH protocol: its length in four bytes, then its bytes.
std::string ssh_string(const std::string &bytes);
// The key blob as a server sends it.
std::string ssh_blob(const identity_t &identity);
