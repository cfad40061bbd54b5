// The settings of a job's connection, from the request in the job record.
#pragma once

#include "curl_func/identity.h"

// Sets URL, port, login, proxy, mode and security on the handle, stopping at the first option that is
// refused: 0, or the handle's error. `auth` must live as long as the handle: it judges the server.
//
// TLS that was asked for is never dropped silently. FTPCD_ERR_NOT_SUPPORTED for explicit FTPS through an HTTP
// proxy, which would go in clear; a libcurl that puts no TLS on active data connections runs FTPS passive.
int curl_ftp_setting(curl_e_handle_t *handle, cb_auth_info_t *auth);
