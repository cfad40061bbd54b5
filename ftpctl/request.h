// From the command line to the library's request.
#pragma once

#include "ftpctl/handles.h"
#include "ftpctl/options.h"
#include "ftpctl/url.h"

#include <optional>
#include <string>

// A job to run, with the names used in messages.
struct job_t {
    int kind = FTPCLIENT_NO_JOB; // ftpclient_job
    url_t url;
    std::string shown_url; // as the user gave it
    std::string local;     // absolute; empty for file information
    std::string user;      // set with the logins
    std::optional<server_t> proxy;
    request_t request;
};

// Sets everything except the logins. Throws failure (STATUS_USAGE) for anything that the daemon would refuse
// or ignore to the user's disadvantage; for a refused name with the library's message.
job_t request_build(const options_t &options, int kind, const url_t &url, const std::string &shown_url,
                    const std::string &local);

// The download that only gets a server's identity: the identity is saved to `save_path`, then the server is
// rejected, before the login. `nothing` is the local file that a download must have; it stays empty.
job_t request_for_identity(const options_t &options, const url_t &url, const std::string &save_path,
                           const std::string &nothing);

// The logins for the server and the proxy. The destructor erases the passwords.
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

// Gets the passwords for the logins (see password.h); may prompt and wait for the user. Throws failure as
// password_find() and request_user(), also (STATUS_USAGE) for a password file without a user.
logins_t logins_find(const options_t &options, const url_t &url);

// The same, only for the proxy's login; empty without a proxy or its user.
logins_t logins_find_proxys(const options_t &options);

// Sets the logins in the job's request, and job.user. Throws failure (STATUS_USAGE) for a login that the
// library refuses.
void request_set_logins(job_t &job, const logins_t &logins);

// The user name, e.g. "anna"; "anonymous" for FTP without one. Throws failure (STATUS_USAGE) when option and
// URL name different users, and when SFTP has none.
std::string request_user(const options_t &options, const url_t &url);
