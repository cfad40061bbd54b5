#include "identities.h"

#include <openssl/ec.h>
#include <openssl/rsa.h>

key_t_ptr make_key(const identity_t &identity)
{
    EVP_PKEY_CTX *maker = EVP_PKEY_CTX_new_id(identity.openssl_kind, nullptr);
    EVP_PKEY_keygen_init(maker);
    if (identity.option != nullptr)
        EVP_PKEY_CTX_ctrl_str(maker, identity.option, identity.value);
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
    const EVP_MD *digest = identity.openssl_kind == EVP_PKEY_ED25519 ? nullptr : EVP_sha256();
    return X509_sign(made, key.get(), digest) > 0 ? std::move(certificate) : nullptr;
}

std::string ssh_string(const std::string &bytes)
{
    std::string string;
    for (int shift = 24; shift >= 0; shift -= 8)
        string += static_cast<char>(bytes.size() >> shift & 0xff);
    return string + bytes;
}

// As in X.509: the uncompressed point of an EC key, the sequence of modulus and exponent of an RSA key.
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
    // Both numbers already have the leading zero that SSH needs; the modulus has 129 bytes, the exponent is
    // last.
    if (identity.openssl_kind == EVP_PKEY_RSA) {
        const std::string der = public_bytes(key);
        return type + ssh_string(der.substr(3 + 3 + 129 + 2)) + ssh_string(der.substr(3 + 3, 129));
    }
    if (identity.openssl_kind == EVP_PKEY_EC)
        return type + ssh_string("nistp256") + ssh_string(public_bytes(key));
    std::string raw(32, '\0');
    size_t length = raw.size();
    EVP_PKEY_get_raw_public_key(key.get(), reinterpret_cast<unsigned char *>(raw.data()), &length);
    return type + ssh_string(raw);
}
