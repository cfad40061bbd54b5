// What this device's libcurl can do: libcurl is built with many different options.
#pragma once

#include <cstdint>

// Logs what jobs may need and this libcurl lacks, one line for each thing. For the start of the daemon.
void features_log_missing();

// True when this libcurl can run jobs of this transfer_protocol. FTPS needs a libcurl built with OpenSSL,
// and SFTP one built with libssh2: only with these can the server's identity be checked.
bool features_allow(uint32_t protocol);
