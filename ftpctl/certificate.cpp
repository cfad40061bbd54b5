#include "ftpctl/digest.h"
#include "ftpctl/server_identity.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace
{

struct give_back {
    void operator()(BIO *bio) const { BIO_free(bio); }
    void operator()(X509 *certificate) const { X509_free(certificate); }
    void operator()(unsigned char *bytes) const { OPENSSL_free(bytes); }
};
using bio_t = std::unique_ptr<BIO, give_back>;
using certificate_t = std::unique_ptr<X509, give_back>;

struct key_kind_t {
    int id;
    const char *name;
    int bits; // 0: as the library counts them; of an Edwards key it leaves out the fixed ones
};

} // namespace

constexpr key_kind_t KEY_KINDS[] = {
    {EVP_PKEY_RSA, "RSA", 0},         {EVP_PKEY_EC, "ECDSA", 0},          {EVP_PKEY_DSA, "DSA", 0},
    {EVP_PKEY_RSA_PSS, "RSA-PSS", 0}, {EVP_PKEY_ED25519, "Ed25519", 256}, {EVP_PKEY_ED448, "Ed448", 456},
};

static certificate_t read(std::string_view bytes)
{
    const bio_t source(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
    certificate_t certificate(PEM_read_bio_X509(source.get(), nullptr, nullptr, nullptr));
    if (certificate == nullptr && BIO_reset(source.get()) == 1)
        certificate.reset(d2i_X509_bio(source.get(), nullptr));
    return certificate;
}

static octets_t der_of(X509 *certificate)
{
    unsigned char *der = nullptr;
    const int length = i2d_X509(certificate, &der);
    const std::unique_ptr<unsigned char, give_back> owned(der);
    return length > 0 ? octets_t(der, der + length) : octets_t();
}

static std::string name_of(const X509_NAME *name)
{
    const bio_t text(BIO_new(BIO_s_mem()));
    if (text == nullptr || X509_NAME_print_ex(text.get(), name, 0, XN_FLAG_ONELINE) < 0)
        return "";
    char *data = nullptr;
    const long length = BIO_get_mem_data(text.get(), &data);
    return {data, static_cast<size_t>(length)};
}

static std::string time_of(const ASN1_TIME *at)
{
    tm parts = {};
    char text[32] = "";
    if (ASN1_TIME_to_tm(at, &parts) == 1)
        strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts);
    return text;
}

static void set_key(server_identity_t &identity, const EVP_PKEY *key)
{
    identity.key_type = "unknown";
    if (key == nullptr)
        return;
    identity.key_bits = EVP_PKEY_bits(key);
    if (const char *name = OBJ_nid2sn(EVP_PKEY_base_id(key)); name != nullptr)
        identity.key_type = name;
    const auto *kind = std::ranges::find(KEY_KINDS, EVP_PKEY_base_id(key), &key_kind_t::id);
    if (kind == std::end(KEY_KINDS))
        return;
    identity.key_type = kind->name;
    if (kind->bits != 0)
        identity.key_bits = kind->bits;
}

std::optional<server_identity_t> certificate_read(std::string_view bytes)
{
    const certificate_t certificate = read(bytes);
    const octets_t der = certificate == nullptr ? octets_t() : der_of(certificate.get());
    if (der.empty())
        return std::nullopt;
    server_identity_t identity;
    identity.subject = name_of(X509_get_subject_name(certificate.get()));
    identity.issuer = name_of(X509_get_issuer_name(certificate.get()));
    identity.not_before = time_of(X509_get0_notBefore(certificate.get()));
    identity.not_after = time_of(X509_get0_notAfter(certificate.get()));
    set_key(identity, X509_get0_pubkey(certificate.get()));
    identity.sha256 = digest_hex(digest_of(der, EVP_sha256()), letters_t::UPPER);
    identity.digest = digest_hex(digest_of(der, EVP_sha1()), letters_t::UPPER);
    identity.pin = "sha1:" + identity.digest;
    return identity;
}
