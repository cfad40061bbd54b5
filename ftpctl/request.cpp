#include "ftpctl/request.h"

#include "ftpctl/failure.h"
#include "ftpctl/password.h"
#include "ftpctl/server_pin.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>

constexpr const char *ANONYMOUS = "anonymous";
constexpr const char *ANONYMOUS_PASSWORD = "ftpctl@";

// Calls a setter of the library; refuses what it refuses.
template <typename Setter, typename... Values>
static void set(const request_t &request, Setter setter, Values... values)
{
    const int code = setter(request.get(), values...);
    if (code == FTPCLIENT_OK)
        return;
    const std::string complaint = ftpclient_request_complaint(request.get());
    refuse(complaint.empty() ? ftpclient_strerror(code) : complaint);
}

static int limit_ms(std::chrono::milliseconds limit)
{
    return static_cast<int>(std::min<int64_t>(limit.count(), INT_MAX));
}

static bool asks_for_size(const options_t &options, int kind)
{
    return kind == FTPCLIENT_FILE_INFO || options.resume || options.verify;
}

static void check_protocol(const options_t &options, int kind, const url_t &url)
{
    if (url_is_zixi(url) && kind != FTPCLIENT_UPLOAD)
        refuse("zixi:// supports only put");
    if (!url_is_zixi(url) && options.protocol)
        refuse("--protocol: only for zixi://");
    if (!options.proxy.empty() && asks_for_size(options, kind))
        refuse("--proxy: a remote file's size is not available through a proxy");
    if (options.no_wait && (options.resume || options.verify))
        refuse("--no-wait: --resume and --verify compare sizes after the upload");
}

static void set_server_identity(const options_t &options, const request_t &request)
{
    if (!options.pin.empty()) {
        const server_pin_t pin = server_pin_parse(options.pin);
        set(request, ftpclient_request_set_pin, pin.kind, pin.digest.data(), pin.digest.size());
    }
    if (!options.save_identity.empty()) {
        const std::string path = std::filesystem::absolute(options.save_identity).string();
        set(request, ftpclient_request_set_save_path, path.c_str());
    }
}

static void set_wishes(const options_t &options, const request_t &request)
{
    ftpclient_request_set_passive(request.get(), options.active ? 0 : 1);
    if (options.resume)
        set(request, ftpclient_request_set_resume, 1);
    if (options.verify)
        set(request, ftpclient_request_set_verify, 1);
    if (options.no_overwrite)
        set(request, ftpclient_request_set_overwrite, 0);
}

static void set_limits(const options_t &options, const request_t &request)
{
    ftpclient_request_set_turn_timeout(request.get(), limit_ms(options.wait_turn));
    if (!options.timeout)
        ftpclient_request_set_silence(request.get(), limit_ms(SILENCE_LIMIT));
}

// The common part of all jobs: server, proxy, limits, paths.
static job_t begin(const options_t &options, int kind, const url_t &url, const std::string &shown_url,
                   const std::string &remote, const std::string &local)
{
    ftpclient_request_t *made = nullptr;
    const int protocol = static_cast<int>(options.protocol.value_or(static_cast<uint32_t>(url.protocol)));
    if (const int code = ftpclient_request_new(protocol, &made); code != FTPCLIENT_OK)
        throw failure(STATUS_LOCAL, ftpclient_strerror(code));
    job_t job = {kind, url, shown_url, local, "", std::nullopt, request_t(made)};
    set(job.request, ftpclient_request_set_server, url.host.c_str(), url.port);
    if (!options.proxy.empty()) {
        job.proxy = url_parse_proxy(options.proxy);
        set(job.request, ftpclient_request_set_proxy, job.proxy->host.c_str(), job.proxy->port);
    }
    set_limits(options, job.request);
    set(job.request, ftpclient_request_set_remote_path, remote.c_str());
    if (kind != FTPCLIENT_FILE_INFO)
        set(job.request, ftpclient_request_set_local_path, local.c_str());
    return job;
}

logins_t logins_find_proxys(const options_t &options)
{
    logins_t logins;
    const server_t proxy = options.proxy.empty() ? server_t() : url_parse_proxy(options.proxy);
    if (proxy.user) {
        logins.proxy_user = *proxy.user;
        logins.proxy_password =
            password_find(PROXY_PASSWORD, options.proxy_password, *proxy.user + "@" + proxy.host);
    } else if (!options.proxy_password.is_empty()) {
        refuse("--proxy-password-file: needs --proxy USER@HOST");
    }
    return logins;
}

job_t request_build(const options_t &options, int kind, const url_t &url, const std::string &shown_url,
                    const std::string &local)
{
    check_protocol(options, kind, url);
    job_t job = begin(options, kind, url, shown_url, url.path, local);
    set_server_identity(options, job.request);
    set_wishes(options, job.request);
    return job;
}

job_t request_for_identity(const options_t &options, const url_t &url, const std::string &save_path,
                           const std::string &nothing)
{
    const bool is_sftp = url.protocol == FTPCLIENT_SFTP;
    if (!is_sftp && url.protocol != FTPCLIENT_FTPS_IMPLICIT && url.protocol != FTPCLIENT_FTPS_EXPLICIT)
        refuse("identity: only ftps://, ftpes:// and sftp:// servers have one");
    job_t job = begin(options, FTPCLIENT_DOWNLOAD, url, options.url, "nothing", nothing);
    // A fingerprint of length 0 matches no certificate and no key.
    set(job.request, ftpclient_request_set_pin, is_sftp ? FTPCLIENT_PIN_MD5 : FTPCLIENT_PIN_SHA1, nullptr, 0);
    set(job.request, ftpclient_request_set_save_path, save_path.c_str());
    return job;
}

logins_t::~logins_t()
{
    explicit_bzero(password.data(), password.size());
    explicit_bzero(proxy_password.data(), proxy_password.size());
}

logins_t logins_find(const options_t &options, const url_t &url)
{
    const std::string user = request_user(options, url);
    std::string password = url_is_ftp(url) ? ANONYMOUS_PASSWORD : "";
    if (!user.empty() && !(url_is_ftp(url) && user == ANONYMOUS))
        password = password_find(SERVER_PASSWORD, options.password, user + "@" + url.host);
    else if (!options.password.is_empty())
        refuse("--password-file: needs a user");
    logins_t logins = logins_find_proxys(options);
    logins.user = user;
    logins.password = std::move(password);
    return logins;
}

void request_set_logins(job_t &job, const logins_t &logins)
{
    job.user = logins.user;
    set(job.request, ftpclient_request_set_login, logins.user.c_str(), logins.password.c_str());
    if (job.proxy && job.proxy->user)
        set(job.request, ftpclient_request_set_proxy_login, logins.proxy_user.c_str(),
            logins.proxy_password.c_str());
}

std::string request_user(const options_t &options, const url_t &url)
{
    if (options.user && url.user && *options.user != *url.user)
        refuse("--user: the URL names another user");
    if (options.user || url.user)
        return options.user ? *options.user : *url.user;
    if (url.protocol == FTPCLIENT_SFTP)
        refuse("sftp:// needs a user: sftp://USER@HOST/... or --user USER");
    return url_is_ftp(url) ? ANONYMOUS : "";
}
