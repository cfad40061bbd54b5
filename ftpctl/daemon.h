// The daemon, and why it cannot be asked.
#pragma once

#include "ftpctl/failure.h"
#include "ftpctl/handles.h"
#include "ftpctl/options.h"

// Asks nobody yet. Throws failure.
client_t daemon_open(const options_t &options);

// What an ftpclient_error means for a command, in words and as a status. To be made before errno changes.
failure daemon_failure(const options_t &options, int error);
