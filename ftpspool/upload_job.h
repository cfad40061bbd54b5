// From an entry to the library's request.
#pragma once

#include "ftpctl/options.h"
#include "ftpctl/request.h"
#include "ftpspool/entry.h"

#include <string>

// The options with which `ftpctl put` would send the entry, completed by its profile, which this reads. The
// URL may still name a folder. Throws failure as profile_apply() does.
options_t upload_options(const entry_t &entry, const std::string &socket);

// The job without its logins. Throws failure for everything that the daemon would refuse, as `ftpctl put`
// does, and for a path that can never be sent.
job_t upload_job(const options_t &options, const entry_t &entry);

// Adds the logins, with the passwords from their files, which must be regular files that only their owner can
// read, or from credentials. Throws failure.
void upload_log_in(job_t &job, const options_t &options);

// The name that all entries of one server share: scheme, user, host and port.
std::string upload_server(const options_t &options);

// The server and the remote path: equal for two tries that send to the same file.
std::string upload_place(const options_t &options);
