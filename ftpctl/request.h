// From the command line to the library's request.
#pragma once

#include "ftpctl/handles.h"
#include "ftpctl/options.h"
#include "ftpctl/url.h"

#include <optional>
#include <string>

// A job to be, and how messages call what it deals with.
struct job_t {
    int kind = FTPCLIENT_NO_JOB; // ftpclient_job
    url_t url;
    std::string shown_url;
    std::string local; // absolute; empty for file information
    std::string user;  // known with the logins
    std::optional<server_t> proxy;
    request_t request;
};

// Everything but the logins is in the request. Throws failure (STATUS_USAGE) for what the daemon would refuse
// or ignore to the user's harm, in the library's words where a name is refused.
job_t request_build(const options_t &options, int kind, const url_t &url, const std::string &shown_url,
                    const std::string &local);

// The download that learns a server's identity and nothing else: the identity is saved to `save_path`, then
// the server is refused, before the login. `nothing` is the local file that a download must have; it stays
// empty.
job_t request_for_identity(const options_t &options, const url_t &url, const std::string &save_path,
                           const std::string &nothing);

// Who logs in, at the server and at the proxy. The passwords are wiped at the end.
struct logins_t {
    std::string user;
    std::string password;
    std::string proxy_user;
    std::string proxy_password;
    logins_t() = default;
    ~logins_t();
    logins_t(logins_t &&) = default;
    logins_t &operator=(logins_t &&) = delete;
};

// Finds the passwords that the logins want: see password.h, may ask and wait for the user. Throws failure.
logins_t logins_find(const options_t &options, const url_t &url);

// The proxy's alone; the same holds.
logins_t logins_find_proxys(const options_t &options);

// Throws failure (STATUS_USAGE) for a login that the library refuses.
void request_set_logins(job_t &job, const logins_t &logins);

// Whom the login names, e.g. "anna"; without one FTP logs in as "anonymous". Throws failure (STATUS_USAGE)
// when option and URL name different users, and when SFTP has none.
std::string request_user(const options_t &options, const url_t &url);
