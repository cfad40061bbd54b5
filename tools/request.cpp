#include "tools/request.h"

#include "tools/failure.h"
#include "tools/server_pin.h"

#include <cstring>
#include <filesystem>
#include <span>
#include <string_view>

namespace
{

constexpr const char *ANONYMOUS = "anonymous";
constexpr const char *ANONYMOUS_PASSWORD = "ftpctl@";
constexpr uint32_t PROXY_PORT = 3128;
constexpr std::string_view PROXY_SCHEME = "http://";

// What a name must not hold, and how a message calls it.
struct taboo_t {
    std::string_view text;
    const char *shown;
};
constexpr taboo_t NAME_TABOOS[] = {
    {"#", "'#'"}, {"?", "'?'"}, {"\r", "a carriage return"}, {"\n", "a line feed"}};
constexpr taboo_t LOGIN_TABOOS[] = {{"\r", "a carriage return"}, {"\n", "a line feed"}};
// libcurl takes this off the end of an FTP path, and another file would be meant.
constexpr taboo_t TYPE_TABOO[] = {{";type=", "';type='"}};

[[noreturn]] void refuse(const std::string &line) { throw failure(STATUS_USAGE, line); }

bool is_zixi(uint32_t protocol) { return protocol == PROTOCOL_ZIXI_4 || protocol == PROTOCOL_ZIXI_5; }

bool is_ftp(uint32_t protocol) { return protocol <= PROTOCOL_FTPS_EXPLICIT; }

bool has_tls(uint32_t protocol)
{
    return protocol == PROTOCOL_FTPS_IMPLICIT || protocol == PROTOCOL_FTPS_EXPLICIT;
}

void forbid(const char *name, std::string_view value, std::span<const taboo_t> taboos)
{
    for (const taboo_t &taboo : taboos) {
        if (value.find(taboo.text) != value.npos)
            refuse(std::string(name) + ": must not hold " + taboo.shown);
    }
}

void set_string(std::span<char> field, const char *name, const std::string &value)
{
    if (value.size() >= field.size())
        refuse(std::string(name) + ": " + std::to_string(value.size()) + " bytes are too many, at most " +
               std::to_string(field.size() - 1) + " fit");
    memcpy(field.data(), value.data(), value.size());
}

std::span<char> bytes_at(transfer_request_t &request, size_t offset, size_t size)
{
    return {reinterpret_cast<char *>(&request) + offset, size};
}

void check_zixi(control_command command, const options_t &options)
{
    if (command != COMMAND_UPLOAD)
        refuse("zixi:// can only put");
    if (options.resume)
        refuse("--resume: zixi:// cannot resume");
    if (!options.proxy.empty())
        refuse("--proxy: zixi:// goes through no proxy");
}

void check_libcurl(control_command command, const options_t &options)
{
    if (options.no_overwrite)
        refuse("--no-overwrite: only zixi:// knows it");
    if (options.protocol)
        refuse("--protocol: only zixi:// has a choice");
    if (!options.proxy.empty() && (command == COMMAND_DL_FILE_INFO || options.resume))
        refuse("--proxy: a remote file's size cannot be asked for through a proxy");
}

void set_proxy(transfer_request_t &request, std::string_view proxy)
{
    if (proxy.starts_with(PROXY_SCHEME))
        proxy.remove_prefix(PROXY_SCHEME.size());
    if (proxy.find("://") != proxy.npos)
        refuse("--proxy: only HTTP proxies are supported");
    const host_port_t server = url_parse_host_port(proxy, PROXY_PORT, "--proxy");
    set_string(request.proxy_host, "proxy host", server.host);
    request.proxy_port = server.port;
    request.proxy_type = PROXY_HTTP;
}

void set_server_auth(transfer_request_t &request, const options_t &options, uint32_t protocol)
{
    server_auth_t &auth = request.server_auth;
    if (!options.pin.empty()) {
        const server_pin_t pin = server_pin_parse(options.pin);
        if (pin.auth_type == SERVER_AUTH_SHA1 && !has_tls(protocol))
            refuse("--pin: sha1 pins a certificate, of ftps:// and ftpes:// servers");
        if (pin.auth_type == SERVER_AUTH_MD5 && protocol != PROTOCOL_SFTP)
            refuse("--pin: md5 pins a host key, of sftp:// servers");
        auth.auth_type = pin.auth_type;
        auth.digest_length = static_cast<uint8_t>(pin.digest.size());
        memcpy(auth.digest, pin.digest.data(), pin.digest.size());
    }
    if (options.save_identity.empty())
        return;
    if (!has_tls(protocol) && protocol != PROTOCOL_SFTP)
        refuse("--save-identity: only ftps://, ftpes:// and sftp:// servers have an identity");
    set_string(auth.save_path, "identity file", request_absolute_path(options.save_identity));
}

void set_user(transfer_request_t &request, const std::string &user)
{
    if (is_zixi(request.protocol)) {
        set_string(bytes_at(request, ZIXI_USER_OFFSET, ZIXI_USER_SIZE), "user name", user);
        return;
    }
    forbid("user name", user, LOGIN_TABOOS);
    set_string(request.username, "user name", user);
}

} // namespace

transfer_request_t request_build(control_command command, const options_t &options, const url_t &url)
{
    (is_zixi(url.protocol) ? check_zixi : check_libcurl)(command, options);
    transfer_request_t request = {};
    request.protocol = options.protocol.value_or(url.protocol);
    if (!is_zixi(request.protocol))
        forbid("remote path", url.path, NAME_TABOOS);
    if (is_ftp(request.protocol))
        forbid("remote path", url.path, TYPE_TABOO);
    set_string(request.remote_path, "remote path", url.path);
    if (command != COMMAND_DL_FILE_INFO)
        set_string(request.local_path, "local path", request_absolute_path(options.file));
    set_string(request.host, "host", url.host);
    request.port = url.port;
    set_user(request, request_user(options, url));
    if (!request_needs_password(options, url) && is_ftp(request.protocol))
        request_set_password(request, ANONYMOUS_PASSWORD);
    request.passive_mode = options.active ? 0 : 1;
    if (!options.proxy.empty())
        set_proxy(request, options.proxy);
    set_server_auth(request, options, request.protocol);
    request.resume = options.no_overwrite ? 1 : 0;
    return request;
}

transfer_request_t request_for_identity(const options_t &options, const url_t &url,
                                        const std::string &save_path, const std::string &nothing)
{
    if (!has_tls(url.protocol) && url.protocol != PROTOCOL_SFTP)
        refuse("identity: only ftps://, ftpes:// and sftp:// servers have one");
    transfer_request_t request = {};
    request.protocol = url.protocol;
    set_string(request.remote_path, "remote path", "nothing");
    set_string(request.local_path, "local path", nothing);
    set_string(request.host, "host", url.host);
    request.port = url.port;
    request.passive_mode = 1;
    if (!options.proxy.empty())
        set_proxy(request, options.proxy);
    // digest_length stays 0, which no certificate and no key has.
    request.server_auth.auth_type = has_tls(url.protocol) ? SERVER_AUTH_SHA1 : SERVER_AUTH_MD5;
    set_string(request.server_auth.save_path, "identity file", save_path);
    return request;
}

void request_set_password(transfer_request_t &request, const std::string &password)
{
    if (is_zixi(request.protocol)) {
        set_string(bytes_at(request, ZIXI_PASSWORD_OFFSET, ZIXI_PASSWORD_SIZE), "password", password);
        return;
    }
    forbid("password", password, LOGIN_TABOOS);
    set_string(request.password, "password", password);
}

std::string request_user(const options_t &options, const url_t &url)
{
    if (options.user && url.user && *options.user != *url.user)
        refuse("--user: the URL names another user");
    if (options.user || url.user)
        return options.user ? *options.user : *url.user;
    if (url.protocol == PROTOCOL_SFTP)
        refuse("sftp:// needs a user: sftp://USER@HOST/... or --user USER");
    return is_ftp(url.protocol) ? ANONYMOUS : "";
}

bool request_needs_password(const options_t &options, const url_t &url)
{
    const std::string user = request_user(options, url);
    return !user.empty() && !(is_ftp(url.protocol) && user == ANONYMOUS);
}

std::string request_absolute_path(const std::string &path)
{
    return std::filesystem::absolute(path).string();
}
