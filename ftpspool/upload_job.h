// From an entry to the library's request.
#pragma once

#include "ftpctl/options.h"
#include "ftpctl/request.h"
#include "ftpspool/entry.h"

#include <string>

// The options by which `ftpctl put` would send the entry.
options_t upload_options(const entry_t &entry, const std::string &socket);

// The job without its logins. Throws failure for everything that the daemon would refuse, as `ftpctl put`
// does.
job_t upload_job(const options_t &options, const entry_t &entry);

// Adds the logins, with the passwords from their files, which must be regular files that only their owner can
// read. Throws failure.
void upload_log_in(job_t &job, const options_t &options);

// False where the remote size cannot be asked for, through a proxy and for Zixi: neither resuming nor
// comparing works.
bool upload_is_verifiable(const entry_t &entry);

// A name by which the entries of one server are known: scheme, user, host and port.
std::string upload_server(const entry_t &entry);
