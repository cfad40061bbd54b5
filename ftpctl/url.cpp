#include "ftpctl/url.h"

#include "ftpctl/failure.h"
#include "libftpclient/ftpclient.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>

namespace
{

struct scheme_t {
    std::string_view name;
    int protocol;
    uint32_t port;
};

constexpr scheme_t SCHEMES[] = {
    {"ftp", FTPCLIENT_FTP, 21},
    {"ftps", FTPCLIENT_FTPS_IMPLICIT, 990},
    {"ftpes", FTPCLIENT_FTPS_EXPLICIT, 21},
    {"sftp", FTPCLIENT_SFTP, 22},
    {"zixi", FTPCLIENT_ZIXI_4, 2088},
};

[[noreturn]] void refuse(const std::string &line) { throw failure(STATUS_USAGE, line); }

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool is_hex(char c) { return (c >= '0' && c <= '9') || (lower(c) >= 'a' && lower(c) <= 'f'); }

bool is_one_of(char c, std::string_view set) { return set.find(c) != set.npos; }

bool is_alphanumeric(char c) { return (c >= '0' && c <= '9') || (lower(c) >= 'a' && lower(c) <= 'z'); }

const scheme_t &scheme_of(std::string_view text, size_t length)
{
    std::string name(text.substr(0, length == text.npos ? 0 : length));
    std::ranges::transform(name, name.begin(), lower);
    const auto *found = std::ranges::find(SCHEMES, name, &scheme_t::name);
    if (found == std::end(SCHEMES))
        refuse("URL: must begin with ftp://, ftps://, ftpes://, sftp:// or zixi://");
    return *found;
}

// "[...]": an IPv6 address, perhaps with a zone behind '%'.
void check_ip_literal(std::string_view host, const std::string &what)
{
    const std::string inside(host.substr(1, host.size() - 2));
    const size_t percent = inside.find('%');
    const std::string address = inside.substr(0, percent);
    const std::string zone = percent == inside.npos ? "x" : inside.substr(percent + 1);
    in6_addr ignored;
    if (inet_pton(AF_INET6, address.c_str(), &ignored) != 1 || zone.empty() ||
        !std::ranges::all_of(zone, [](char c) { return is_alphanumeric(c) || is_one_of(c, "-._~"); }))
        refuse(what + ": no IPv6 address stands between the brackets");
}

void check_host_name(std::string_view host, const std::string &what)
{
    if (host.empty())
        refuse(what + ": the host is missing");
    for (const char c : host) {
        if (!is_alphanumeric(c) && !is_one_of(c, "-._~") && static_cast<unsigned char>(c) < 0x80)
            refuse(what +
                   ": a host name has letters, digits, '-', '.' and '_'; an IPv6 address stands in brackets");
    }
}

uint32_t port_of(std::string_view digits, uint32_t default_port, const std::string &what)
{
    if (digits.empty())
        return default_port;
    uint32_t port = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (error != std::errc() || end != digits.data() + digits.size() || port < 1 || port > 65535)
        refuse(what + ": the port must be a number from 1 to 65535");
    return port;
}

std::optional<std::string> user_of(std::string_view user_info)
{
    if (user_info.find(':') != user_info.npos)
        refuse("URL: must not hold a password; use --password-file or FTPCTL_PASSWORD");
    return url_decoded(user_info, "URL: user");
}

bool is_folder(const url_t &url) { return url.path.empty() || url.path.back() == '/'; }

void check_names(const url_t &url, url_names names)
{
    if (names == url_names::A_FILE && is_folder(url))
        refuse("URL: names no file");
    if (names == url_names::A_FOLDER && !is_folder(url))
        refuse("URL: must end in '/', for several files go there");
}

} // namespace

std::string url_decoded(std::string_view text, const std::string &what)
{
    std::string plain;
    while (!text.empty()) {
        if (text[0] != '%') {
            plain += text[0];
            text.remove_prefix(1);
            continue;
        }
        unsigned char byte = 0;
        if (text.size() < 3 || !is_hex(text[1]) || !is_hex(text[2]))
            refuse(what + ": '%' must be followed by two hex digits (write %25 for a '%')");
        std::from_chars(text.data() + 1, text.data() + 3, byte, 16);
        if (byte == 0)
            refuse(what + ": %00 cannot be sent");
        plain += static_cast<char>(byte);
        text.remove_prefix(3);
    }
    return plain;
}

host_port_t url_parse_host_port(std::string_view text, uint32_t default_port, const std::string &what)
{
    const bool is_literal = !text.empty() && text[0] == '[';
    const size_t host_end = is_literal ? text.find(']') + 1 : std::min(text.find(':'), text.size());
    if (is_literal && host_end == 0)
        refuse(what + ": ']' is missing");
    std::string_view host = text.substr(0, host_end);
    std::string_view rest = text.substr(host_end);
    if (!rest.empty() && rest[0] != ':')
        refuse(what + ": only ':' and a port may follow ']'");
    const std::string name = url_decoded(host, what);
    (is_literal ? check_ip_literal : check_host_name)(name, what);
    return {name, port_of(rest.substr(rest.empty() ? 0 : 1), default_port, what)};
}

url_t url_parse(std::string_view text, url_names names)
{
    const size_t scheme_length = text.find("://");
    const scheme_t &scheme = scheme_of(text, scheme_length);
    std::string_view rest = text.substr(scheme_length + 3);

    url_t url;
    url.protocol = scheme.protocol;
    const size_t slash = std::min(rest.find('/'), rest.size());
    std::string_view authority = rest.substr(0, slash);
    std::string_view path = rest.substr(slash);
    if (const size_t at = authority.rfind('@'); at != authority.npos) {
        url.user = user_of(authority.substr(0, at));
        authority.remove_prefix(at + 1);
    }
    const host_port_t server = url_parse_host_port(authority, scheme.port, "URL");
    url.host = server.host;
    url.port = server.port;
    url.path = url_decoded(path.substr(path.empty() ? 0 : 1), "URL: path");
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
