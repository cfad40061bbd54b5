// The client of the daemon, and the failures when the daemon cannot be reached.
#pragma once

#include "ftpctl/failure.h"
#include "ftpctl/handles.h"
#include "ftpctl/options.h"

// The client for the control socket of the options. Does not connect and does not wait. Throws failure.
client_t daemon_open(const options_t &options);

// The failure for an ftpclient_error: its message, with the remedy, and its status. Call it before
// errno changes.
failure daemon_failure(const options_t &options, int error);
