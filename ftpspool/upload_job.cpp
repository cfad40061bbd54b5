#include "ftpspool/upload_job.h"

#include "ftpctl/failure.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

options_t upload_options(const entry_t &entry, const std::string &socket)
{
    options_t options;
    options.command = "put";
    options.socket = socket;
    options.url = entry.target.url;
    if (!entry.target.user.empty())
        options.user = entry.target.user;
    options.password_file = entry.target.password_file;
    options.pin = entry.target.pin;
    options.proxy = entry.target.proxy;
    options.proxy_password_file = entry.target.proxy_password_file;
    options.active = entry.target.active;
    options.wait_turn = std::chrono::hours(24 * 3650); // the queue has time
    options.verify = upload_is_verifiable(entry);
    options.resume = options.verify && entry.resumable;
    return options;
}

job_t upload_job(const options_t &options, const entry_t &entry)
{
    return request_build(options, FTPCLIENT_UPLOAD, url_parse(entry.target.url), entry.target.url,
                         entry.source());
}

static void check_password_file(const std::string &path)
{
    struct stat status = {};
    if (path.empty())
        return;
    if (stat(path.c_str(), &status) != 0)
        throw failure(STATUS_LOCAL, path + ": " + strerror(errno));
    if (!S_ISREG(status.st_mode) || (status.st_mode & 077) != 0)
        throw failure(STATUS_LOCAL,
                      path + ": must be a regular file of mode 0600 or 0400, for it holds a password");
}

void upload_log_in(job_t &job, const options_t &options)
{
    check_password_file(options.password_file);
    check_password_file(options.proxy_password_file);
    request_set_logins(job, logins_find(options, job.url));
}

bool upload_is_verifiable(const entry_t &entry)
{
    return entry.target.proxy.empty() && !url_is_zixi(url_parse(entry.target.url));
}

std::string upload_server(const entry_t &entry)
{
    const url_t url = url_parse(entry.target.url);
    const std::string scheme = entry.target.url.substr(0, entry.target.url.find("://"));
    return scheme + "://" + request_user(upload_options(entry, ""), url) + "@" + url.host + ":" +
           std::to_string(url.port);
}
