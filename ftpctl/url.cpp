#include "ftpctl/url.h"

#include "ftpctl/failure.h"
#include "ftpctl/password.h"
#include "libftpclient/ftpclient.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <charconv>
#include <strings.h>

constexpr uint32_t PROXY_PORT = 3128;
constexpr std::string_view PROXY_SCHEME = "http://";

namespace
{

struct scheme_t {
    std::string_view name;
    int protocol;
    uint32_t port;
};

} // namespace

constexpr scheme_t SCHEMES[] = {
    {"ftp://", FTPCLIENT_FTP, 21},
    {"ftps://", FTPCLIENT_FTPS_IMPLICIT, 990},
    {"ftpes://", FTPCLIENT_FTPS_EXPLICIT, 21},
    {"sftp://", FTPCLIENT_SFTP, 22},
    {"zixi://", FTPCLIENT_ZIXI_4, 2088},
};

static bool is_one_of(char c, std::string_view set) { return set.find(c) != set.npos; }

static bool is_alphanumeric(char c) { return isalnum(static_cast<unsigned char>(c)) != 0; }

static const scheme_t &scheme_of(std::string_view text)
{
    const auto *found = std::ranges::find_if(SCHEMES, [&](const scheme_t &scheme) {
        return text.size() >= scheme.name.size() &&
               strncasecmp(text.data(), scheme.name.data(), scheme.name.size()) == 0;
    });
    if (found == std::end(SCHEMES))
        refuse("URL: must begin with ftp://, ftps://, ftpes://, sftp:// or zixi://");
    return *found;
}

static std::string decoded(std::string_view text, const std::string &what)
{
    std::string plain;
    for (size_t i = 0; i < text.size(); i++) {
        unsigned char byte = static_cast<unsigned char>(text[i]);
        if (byte == '%') {
            const char *end = text.data() + std::min(i + 3, text.size());
            if (text.size() < i + 3 || std::from_chars(text.data() + i + 1, end, byte, 16).ptr != end)
                refuse(what + ": '%' must be followed by two hex digits (write %25 for a '%')");
            if (byte == 0)
                refuse(what + ": %00 cannot be sent");
            i += 2;
        }
        plain += static_cast<char>(byte);
    }
    return plain;
}

// "[...]": an IPv6 address, perhaps with a zone behind '%'.
static void check_ip_literal(std::string_view host, const std::string &what)
{
    const std::string inside(host.substr(1, host.size() - 2));
    const size_t percent = inside.find('%');
    const std::string address = inside.substr(0, percent);
    const std::string zone = percent == inside.npos ? "x" : inside.substr(percent + 1);
    in6_addr ignored;
    if (inet_pton(AF_INET6, address.c_str(), &ignored) != 1 || zone.empty() ||
        !std::ranges::all_of(zone, [](char c) { return is_alphanumeric(c) || is_one_of(c, "-._~"); }))
        refuse(what + ": no IPv6 address in the brackets");
}

static void check_host_name(std::string_view host, const std::string &what)
{
    if (host.empty())
        refuse(what + ": the host is missing");
    for (const char c : host) {
        if (!is_alphanumeric(c) && !is_one_of(c, "-._~") && static_cast<unsigned char>(c) < 0x80)
            refuse(what +
                   ": a host name has letters, digits, '-', '.' and '_'; an IPv6 address needs brackets");
    }
}

static uint32_t port_of(std::string_view digits, uint32_t default_port, const std::string &what)
{
    if (digits.empty())
        return default_port;
    uint32_t port = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (error != std::errc() || end != digits.data() + digits.size() || port < 1 || port > 65535)
        refuse(what + ": the port must be a number from 1 to 65535");
    return port;
}

static bool is_folder(const url_t &url) { return url.path.empty() || url.path.back() == '/'; }

static void check_names(const url_t &url, url_names names)
{
    if (names == url_names::A_FILE && is_folder(url))
        refuse("URL: names no file");
    if (names == url_names::A_FOLDER && !is_folder(url))
        refuse("URL: must end in '/' for several files");
}

// Reads [USER@]HOST[:PORT]. A password, which every process could read here, belongs where `names` say.
static server_t server_of(std::string_view text, uint32_t default_port, const std::string &what,
                          const password_names_t &names)
{
    server_t server;
    if (const size_t at = text.rfind('@'); at != text.npos) {
        const std::string_view user = text.substr(0, at);
        if (user.find(':') != user.npos)
            refuse(what + ": must not hold a password; use " + names.option + " or " + names.variable);
        server.user = decoded(user, what + ": user");
        text.remove_prefix(at + 1);
    }
    const bool is_literal = text.starts_with('[');
    const size_t host_end = is_literal ? text.find(']') + 1 : std::min(text.find(':'), text.size());
    if (is_literal && host_end == 0)
        refuse(what + ": ']' is missing");
    const std::string_view rest = text.substr(host_end);
    if (!rest.empty() && rest[0] != ':')
        refuse(what + ": only ':' and a port may follow ']'");
    server.host = decoded(text.substr(0, host_end), what);
    (is_literal ? check_ip_literal : check_host_name)(server.host, what);
    server.port = port_of(rest.substr(rest.empty() ? 0 : 1), default_port, what);
    return server;
}

server_t url_parse_proxy(std::string_view text)
{
    if (text.starts_with(PROXY_SCHEME))
        text.remove_prefix(PROXY_SCHEME.size());
    if (text.find("://") != text.npos)
        refuse("--proxy: only HTTP proxies are supported");
    return server_of(text, PROXY_PORT, "--proxy", PROXY_PASSWORD);
}

url_t url_parse(std::string_view text, url_names names)
{
    const scheme_t &scheme = scheme_of(text);
    text.remove_prefix(scheme.name.size());
    const size_t slash = std::min(text.find('/'), text.size());
    const std::string_view path = text.substr(std::min(slash + 1, text.size()));
    url_t url = {server_of(text.substr(0, slash), scheme.port, "URL", SERVER_PASSWORD), scheme.protocol,
                 decoded(path, "URL: path")};
    check_names(url, names);
    return url;
}

bool url_is_ftp(const url_t &url) { return url.protocol <= FTPCLIENT_FTPS_EXPLICIT; }

bool url_is_zixi(const url_t &url) { return url.protocol >= FTPCLIENT_ZIXI_4; }

std::string url_file_name(const url_t &url)
{
    const size_t slash = url.path.rfind('/');
    return slash == url.path.npos ? url.path : url.path.substr(slash + 1);
}

std::string url_encoded(std::string_view text)
{
    constexpr std::string_view HEX = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : text) {
        if (is_alphanumeric(c) || is_one_of(c, "-._~/+,@=")) {
            encoded += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        encoded.append({'%', HEX[byte >> 4], HEX[byte & 15]});
    }
    return encoded;
}
