// The settings of a job's connection, from its request.
#pragma once

#include "curl_func/identity.h"

// Sets URL, port, login, proxy, mode and security on the handle, stopping at the first option that is
// refused: 0, or the handle's error. Does not connect. `auth`, which judges the server, must live as long as
// the handle.
//
// TLS that was asked for is never dropped silently. FTPCD_ERR_NOT_SUPPORTED for explicit FTPS through an HTTP
// proxy, which would go in clear; a libcurl that puts no TLS on active data connections runs FTPS passive.
int curl_ftp_setting(curl_e_handle_t *handle, const transfer_request_t *request, cb_auth_info_t *auth);
