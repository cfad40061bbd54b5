/* libsecure: certificate and host-key digests and files. Implemented by the device's closed library, and by
 * the shared library built here.
 *
 * Each returns a libsecure_result. Arguments are not kept; the caller keeps certificate and key. A file is
 * written completely or not at all: after a failure an existing file is unchanged. A new file has mode 644; a
 * replaced file keeps its mode and owner. A symbolic link is followed. A character device is written to
 * directly; other kinds of files are not touched. Saving blocks until the file is on the disk. */
#ifndef PLATFORM_SECURE_H
#define PLATFORM_SECURE_H

#include <openssl/ossl_typ.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum libsecure_result {
    LIBSECURE_DONE = 0,
    LIBSECURE_NOT_SUPPORTED = 1,
    LIBSECURE_NO_MEMORY = 2,
    LIBSECURE_BAD_ARGUMENT = 3,
    LIBSECURE_BAD_DATA = 4,      /* the data cannot be read as a certificate or key */
    LIBSECURE_CANNOT_CREATE = 5, /* the file cannot be created */
    LIBSECURE_CANNOT_WRITE = 6,  /* the file cannot be written, or the disk is full */
    LIBSECURE_DIGEST_FAILED = 7,
};

/* Writes the certificate to `path` as PEM. */
int x509_cert_save(const char *path, X509 *certificate);

/* *differs = 0 when the SHA-1 digest of the certificate's DER form equals the 20 bytes at `expected`;
 * otherwise, and after any failure, 1. */
int x509_cert_digest_sha1_compare(X509 *certificate, const uint8_t *expected, int *differs);

/* Writes the key to `path` as one OpenSSH public-key line, `type base64`. `reserved` is 0. `key` is the key
 * blob of RFC 4253, 6.6. */
int ssh_public_key_save(const char *path, int reserved, const void *key, size_t key_length);

/* *differs = 0 when the MD5 digest of the key blob equals the 16 bytes at `expected`; otherwise, and after
 * any failure, 1. */
int ssh_key_digest_md5_compare(const void *key, size_t key_length, const uint8_t *expected, int *differs);

#ifdef __cplusplus
}
#endif

#endif
