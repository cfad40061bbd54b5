#include "identities.h"

#include <openssl/ec.h>
#include <openssl/rsa.h>
#include <string_view>

static std::string_view kind_of(const identity_t &identity) { return identity.kind; }

key_t_ptr make_key(const identity_t &identity)
{
    const bool is_rsa = kind_of(identity) == "RSA";
    const bool is_ec = kind_of(identity) == "ECDSA";
    EVP_PKEY_CTX *maker = EVP_PKEY_CTX_new_id(is_rsa  ? EVP_PKEY_RSA
                                              : is_ec ? EVP_PKEY_EC
                                                      : EVP_PKEY_ED25519,
                                              nullptr);
    EVP_PKEY_keygen_init(maker);
    if (is_rsa)
        EVP_PKEY_CTX_ctrl_str(maker, "rsa_keygen_bits", "1024");
    if (is_ec)
        EVP_PKEY_CTX_ctrl_str(maker, "ec_paramgen_curve", "P-256");
    EVP_PKEY *key = nullptr;
    EVP_PKEY_keygen(maker, &key);
    EVP_PKEY_CTX_free(maker);
    return key_t_ptr(key);
}

certificate_ptr make_certificate(const identity_t &identity)
{
    const key_t_ptr key = make_key(identity);
    certificate_ptr certificate(X509_new());
    X509 *made = certificate.get();
    X509_set_version(made, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(made), 1);
    X509_gmtime_adj(X509_getm_notBefore(made), 0);
    X509_gmtime_adj(X509_getm_notAfter(made), 3600);
    X509_NAME *name = X509_get_subject_name(made);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char *>("server.test"), -1, -1, 0);
    X509_set_issuer_name(made, name);
    X509_set_pubkey(made, key.get());
    const EVP_MD *digest = kind_of(identity) == "ED25519" ? nullptr : EVP_sha256();
    return X509_sign(made, key.get(), digest) > 0 ? std::move(certificate) : nullptr;
}

std::string ssh_string(const std::string &bytes)
{
    std::string string;
    for (int shift = 24; shift >= 0; shift -= 8)
        string += static_cast<char>(bytes.size() >> shift & 0xff);
    return string + bytes;
}

// As X.509 has it: of EC keys the point, not compressed; of RSA keys a sequence of modulus and exponent.
static std::string public_bytes(const key_t_ptr &key)
{
    unsigned char *encoded = nullptr;
    const int length = i2d_PublicKey(key.get(), &encoded);
    std::string bytes(reinterpret_cast<const char *>(encoded), static_cast<size_t>(length));
    OPENSSL_free(encoded);
    return bytes;
}

std::string ssh_blob(const identity_t &identity)
{
    const key_t_ptr key = make_key(identity);
    const std::string type = ssh_string(identity.ssh_type);
    if (kind_of(identity) ==
        "RSA") { // both numbers with the leading zero that SSH wants too: 1024 bits take 129 bytes
        const std::string der = public_bytes(key);
        return type + ssh_string(der.substr(3 + 3 + 129 + 2)) + ssh_string(der.substr(3 + 3, 129));
    }
    if (kind_of(identity) == "ECDSA")
        return type + ssh_string("nistp256") + ssh_string(public_bytes(key));
    std::string raw(32, '\0');
    size_t length = raw.size();
    EVP_PKEY_get_raw_public_key(key.get(), reinterpret_cast<unsigned char *>(raw.data()), &length);
    return type + ssh_string(raw);
}
