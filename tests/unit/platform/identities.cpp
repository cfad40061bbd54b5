#include "identities.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/rsa.h>
#include <string_view>

static std::string_view kind_of(const identity_t &identity) { return identity.kind; }

key_t_ptr make_key(const identity_t &identity)
{
    if (kind_of(identity) == "RSA")
        return key_t_ptr(EVP_RSA_gen(1024));
    if (kind_of(identity) == "ECDSA")
        return key_t_ptr(EVP_EC_gen("P-256"));
    return key_t_ptr(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
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

// A number, with a zero byte in front when it would look negative.
static std::string ssh_number(const key_t_ptr &key, const char *parameter)
{
    BIGNUM *number = nullptr;
    EVP_PKEY_get_bn_param(key.get(), parameter, &number);
    std::string bytes(static_cast<size_t>(BN_num_bytes(number)), '\0');
    BN_bn2bin(number, reinterpret_cast<unsigned char *>(bytes.data()));
    BN_free(number);
    return ssh_string((bytes[0] & 0x80) != 0 ? '\0' + bytes : bytes);
}

// The point, not compressed.
static std::string public_bytes(const key_t_ptr &key)
{
    unsigned char *encoded = nullptr;
    const size_t length = EVP_PKEY_get1_encoded_public_key(key.get(), &encoded);
    std::string bytes(reinterpret_cast<const char *>(encoded), length);
    OPENSSL_free(encoded);
    return bytes;
}

std::string ssh_blob(const identity_t &identity)
{
    const key_t_ptr key = make_key(identity);
    const std::string type = ssh_string(identity.ssh_type);
    if (kind_of(identity) == "RSA")
        return type + ssh_number(key, OSSL_PKEY_PARAM_RSA_E) + ssh_number(key, OSSL_PKEY_PARAM_RSA_N);
    if (kind_of(identity) == "ECDSA")
        return type + ssh_string("nistp256") + ssh_string(public_bytes(key));
    std::string raw(32, '\0');
    size_t length = raw.size();
    EVP_PKEY_get_raw_public_key(key.get(), reinterpret_cast<unsigned char *>(raw.data()), &length);
    return type + ssh_string(raw);
}
