#include "ftpctl/proxy.h"

#include "ftpctl/failure.h"
#include "ftpctl/url.h"

static constexpr uint32_t DEFAULT_PORT = 3128;
static constexpr std::string_view SCHEME = "http://";

[[noreturn]] static void refuse(const char *line) { throw failure(STATUS_USAGE, line); }

proxy_t proxy_parse(std::string_view text)
{
    proxy_t proxy;
    if (text.starts_with(SCHEME))
        text.remove_prefix(SCHEME.size());
    if (text.find("://") != text.npos)
        refuse("--proxy: only HTTP proxies are supported");
    if (const size_t at = text.rfind('@'); at != text.npos) {
        const std::string_view user = text.substr(0, at);
        if (user.find(':') != user.npos)
            refuse("--proxy: must not hold a password; use --proxy-password-file or FTPCTL_PROXY_PASSWORD");
        proxy.user = url_decoded(user, "--proxy: user");
        text.remove_prefix(at + 1);
    }
    const host_port_t server = url_parse_host_port(text, DEFAULT_PORT, "--proxy");
    proxy.host = server.host;
    proxy.port = server.port;
    return proxy;
}
