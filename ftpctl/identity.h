// A server's identity in words.
#pragma once

#include "ftpctl/server_identity.h"

#include <string>

// The lines for people.
std::string identity_text(const std::string &server, const server_identity_t &identity);
