// Sets up a job's connection from its request.
#pragma once

#include "curl_func/identity.h"

// Sets URL, port, login, proxy, mode and security on the handle and stops at the first refused option: 0,
// or the handle's error. Does not connect. `auth`, the context of the identity check, must live as long
// as the handle.
//
// A protocol that this libcurl cannot do is FTPCD_ERR_NOT_SUPPORTED.
//
// Requested TLS is never dropped silently. Explicit FTPS through an HTTP proxy, which would be
// unencrypted, is FTPCD_ERR_NOT_SUPPORTED; with a libcurl that does not encrypt active data connections
// FTPS uses passive mode.
int curl_ftp_setting(curl_e_handle_t *handle, const transfer_request_t *request, cb_auth_info_t *auth);
