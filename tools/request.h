// From the command line to the record that travels.
#pragma once

#include "tools/options.h"
#include "tools/url.h"
#include "wire/wire.h"

#include <string>

// The request for `command` (1, 2 or 5), complete but for the password. Throws failure (STATUS_USAGE) for
// what the daemon would refuse or ignore to the user's harm.
transfer_request_t request_build(control_command command, const options_t &options, const url_t &url);

// The download that learns a server's identity and nothing else: the identity is saved to `save_path`, then
// the server is refused, before the login. `nothing` is the local file that a download must have; it stays
// empty.
transfer_request_t request_for_identity(const options_t &options, const url_t &url,
                                        const std::string &save_path, const std::string &nothing);

void request_set_password(transfer_request_t &request, const std::string &password);

// Whom the login names, e.g. "anna"; without one FTP logs in as "anonymous".
std::string request_user(const options_t &options, const url_t &url);

// True when the login wants a password that only the user knows.
bool request_needs_password(const options_t &options, const url_t &url);

// `path` as the daemon, which runs in "/", finds it.
std::string request_absolute_path(const std::string &path);
