/* libsecure: certificate and host-key digests and files. Implemented by the device's closed library, and by
 * the shared library built here.
 *
 * Each returns 0 when done; 1 not supported; 2 no memory; 3 bad argument; 4 the data cannot be read as a
 * certificate or key; 5 the file cannot be created; 6 it cannot be written; 7 the digest failed. Nothing
 * passed in is kept. */
#ifndef PLATFORM_SECURE_H
#define PLATFORM_SECURE_H

#include <openssl/types.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes the certificate to `path` as PEM, whole or not at all. */
int x509_cert_save(const char *path, X509 *certificate);

/* *differs = 0 when the certificate's SHA-1 digest equals the 20 bytes at `expected`, else 1. */
int x509_cert_digest_sha1_compare(X509 *certificate, const uint8_t *expected, int *differs);

/* Writes the key to `path` as one OpenSSH public-key line, whole or not at all. `reserved` is 0. `key` is the
 * key blob of RFC 4253, 6.6. */
int ssh_public_key_save(const char *path, int reserved, const void *key, size_t key_length);

/* *differs = 0 when the key's MD5 digest equals the 16 bytes at `expected`, else 1. */
int ssh_key_digest_md5_compare(const void *key, size_t key_length, const uint8_t *expected, int *differs);

#ifdef __cplusplus
}
#endif

#endif
