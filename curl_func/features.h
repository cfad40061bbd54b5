// What this device's libcurl can do: libcurl is built with many different options.
#pragma once

#include <cstdint>

// Logs one line for each feature that jobs may need and this libcurl does not have. To be called at the start.
void features_log_missing();

// True when this libcurl can run jobs of this transfer_protocol. FTPS needs a libcurl built with OpenSSL,
// and SFTP one built with libssh2: only with these can the server's identity be checked.
bool features_allow(uint32_t protocol);
