// Checks the server's identity. The certificate (FTPS) or host key (SFTP) is compared only with the request's
// fingerprint: no CA store, no known-hosts file.
//
// On the worker thread. A rejection ends the connection and sets the handle's error. Blocks while libsecure
// writes a file.
#pragma once

#include "curl_wrapper/curl_wrapper.h"
#include "wire/transfer_request.h"

#include <openssl/ossl_typ.h>

// Lives as long as the handle.
struct cb_auth_info_t {
    curl_e_handle_t *handle;
    const server_auth_t *server_auth;
};

// CURLOPT_SSL_CTX_FUNCTION, context a cb_auth_info_t: replaces OpenSSL's verification by cb_ssl_app_verify.
// With libcurl 8 it also makes a rejection end the handshake, and lets a server close a connection without a TLS
// close_notify. Called for every TLS connection of a job, including data connections. CURLE_OK, or
// CURLE_ABORTED_BY_CALLBACK (logged) without an ssl_ctx.
CURLcode cb_ssl_ctx(CURL *curl, void *ssl_ctx, void *context);

// 1 = accept, 0 = reject. If save_path is set, saves the certificate first, so that a client can learn the
// pin of a server that is then rejected. May be called several times in a job.
int cb_ssl_app_verify(X509_STORE_CTX *store, void *context);

// CURLOPT_SSH_KEYFUNCTION, context a cb_auth_info_t: CURLKHSTAT_FINE or CURLKHSTAT_REJECT. Saves as
// above. Without a foundkey (logged) libcurl's own comparison decides: everything below
// CURLKHMATCH_MISSING is accepted.
int cb_sshkey(CURL *curl, const curl_khkey *knownkey, const curl_khkey *foundkey, curl_khmatch match,
              void *context);

// The FTPCD_ERR_ code for a libsecure result other than 0: FTPCD_ERR_SECURE_UNKNOWN (logged) for one without
// a known meaning.
int32_t err_secure_data_convert(int secure_result);
