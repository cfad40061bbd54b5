// `identity`: asks a server who it is, and prints the pin that holds it to that.
#pragma once

#include "tools/options.h"
#include "tools/server_identity.h"

#include <string>

// The daemon connects once, saves the certificate or host key into a private folder, and then refuses the
// server, because the pin that goes with the job has no length and matches nothing. The connection ends
// before the login: no password is sent, no file is touched, no proof is asked of the user.
int identity(const options_t &options);

// The lines for people.
std::string identity_text(const std::string &server, const server_identity_t &identity);
