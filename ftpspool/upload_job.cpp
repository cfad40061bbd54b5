#include "ftpspool/upload_job.h"

#include "ftpctl/failure.h"
#include "ftpctl/profile.h"

#include <algorithm>
#include <filesystem>

// False if the remote size is not available, so that nothing can be resumed or compared.
static bool is_verifiable(const options_t &options)
{
    return options.proxy.empty() && !url_is_zixi(url_parse(options.url, url_names::A_SERVER));
}

options_t upload_options(const entry_t &entry, const std::string &socket)
{
    const target_t &target = entry.target;
    options_t options;
    options.command = "put";
    options.socket = socket;
    options.url = target.url;
    options.profile = target.profile;
    options.profiles = target.profiles;
    if (!target.user.empty())
        options.user = target.user;
    options.password = {target.password_file, "", true};
    options.pin = target.pin;
    options.proxy = target.proxy;
    options.proxy_password = {target.proxy_password_file, "", true};
    options.active = target.active;
    options.wait_turn = std::chrono::hours(24 * 3650); // the queue has time
    profile_apply(options);
    options.verify = is_verifiable(options);
    options.resume = options.verify && entry.resumable;
    return options;
}

// libcurl refuses such a path over FTP. An HTTP proxy receives it encoded.
static void check_path(const options_t &options, const url_t &url)
{
    const auto is_control = [](char c) { return static_cast<unsigned char>(c) < ' '; };
    if (url_is_ftp(url) && options.proxy.empty() && std::ranges::any_of(url.path, is_control))
        refuse("URL: path: a control character cannot be sent over FTP");
}

static void check_name(const entry_t &entry, const url_t &url)
{
    const auto name_of = [](const std::string &path) { return std::filesystem::path(path).filename(); };
    if (url_is_zixi(url) && name_of(url.path) != name_of(entry.source()))
        refuse("zixi:// keeps the local file's name, so neither another name nor --copy is possible");
}

job_t upload_job(const options_t &options, const entry_t &entry)
{
    const url_t url = url_parse(options.url);
    check_path(options, url);
    check_name(entry, url);
    return request_build(options, FTPCLIENT_UPLOAD, url, options.url, entry.source());
}

void upload_log_in(job_t &job, const options_t &options)
{
    request_set_logins(job, logins_find(options, job.url));
}

std::string upload_server(const options_t &options)
{
    const url_t url = url_parse(options.url);
    const std::string scheme = options.url.substr(0, options.url.find("://"));
    return scheme + "://" + request_user(options, url) + "@" + url.name();
}

std::string upload_place(const options_t &options)
{
    return upload_server(options) + "/" + url_parse(options.url).path;
}
