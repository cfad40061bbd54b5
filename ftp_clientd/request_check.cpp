#include "ftp_clientd/request_check.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <strings.h>

using condition = bool (*)(uint32_t command, const transfer_request_t &request);

static bool with_zixi(uint32_t, const transfer_request_t &request)
{
    return protocol_is_zixi(request.protocol) != 0;
}

static bool with_libcurl(uint32_t, const transfer_request_t &request)
{
    return !protocol_is_zixi(request.protocol);
}

static bool with_local_file(uint32_t command, const transfer_request_t &request)
{
    return protocol_is_zixi(request.protocol) || command != COMMAND_DL_FILE_INFO;
}

static bool over_ftp(uint32_t, const transfer_request_t &request)
{
    return protocol_is_ftp(request.protocol) != 0;
}

static bool through_proxy(uint32_t command, const transfer_request_t &request)
{
    return with_libcurl(command, request) && request.proxy_type != PROXY_NONE;
}

static bool begins_with(const char *text, std::string_view start)
{
    return strncasecmp(text, start.data(), start.size()) == 0;
}

// A SOCKS proxy is refused later, with FTPCD_ERR_NOT_SUPPORTED: curl_wrapper/setopt_proxy.cpp.
static bool through_other_than_socks(uint32_t command, const transfer_request_t &request)
{
    constexpr std::string_view SOCKS[] = {PROXY_SOCKS_PREFIXES};
    return through_proxy(command, request) &&
           std::ranges::none_of(SOCKS, [&](auto start) { return begins_with(request.proxy_host, start); });
}

static bool uploaded_through_proxy(uint32_t command, const transfer_request_t &request)
{
    return command == COMMAND_UPLOAD && through_other_than_socks(command, request);
}

static bool with_server_identity(uint32_t, const transfer_request_t &request)
{
    return protocol_has_identity(request.protocol) != 0;
}

namespace
{

struct string_rule_t {
    size_t offset; // bytes from the start of the request
    size_t size;   // bytes, terminator included
    condition is_read;
    const char *refused = "";           // characters it must not hold
    const char *refused_text = nullptr; // text it must not contain, in any case
    bool is_needed = false;             // an empty one is refused
    std::string_view start = "";        // optional prefix, in any case; the rest is checked
    bool may_log_in = false;            // "user:password@" may follow the prefix
    bool names_a_file = false;          // one that ends in '/' is refused
};

} // namespace

#define FIELD(member) offsetof(transfer_request_t, member), sizeof(transfer_request_t::member)

constexpr string_rule_t STRINGS[] = {
    {FIELD(remote_path), with_libcurl, REFUSED_IN_REMOTE_PATH},
    {FIELD(remote_path), over_ftp, REFUSED_IN_FTP_PATH, REFUSED_IN_FTP_PATH_TEXT},
    // A proxy would create a file there with a name chosen by the server.
    {.offset = offsetof(transfer_request_t, remote_path),
     .size = sizeof(transfer_request_t::remote_path),
     .is_read = uploaded_through_proxy,
     .is_needed = true,
     .names_a_file = true},
    {FIELD(remote_path), with_zixi},
    {FIELD(local_path), with_local_file},
    {FIELD(host), with_libcurl, REFUSED_IN_HOST, nullptr, true},
    {FIELD(host), with_zixi},
    {FIELD(username), with_libcurl, REFUSED_IN_LOGIN},
    {FIELD(password), with_libcurl, REFUSED_IN_LOGIN},
    {FIELD(proxy_host), through_proxy},
    {FIELD(proxy_host), through_other_than_socks, REFUSED_IN_HOST, nullptr, true, "http://", true},
    {offsetof(transfer_request_t, server_auth) + offsetof(server_auth_t, save_path),
     sizeof(server_auth_t::save_path), with_server_identity},
    {ZIXI_USER_OFFSET, ZIXI_USER_SIZE, with_zixi},
    {ZIXI_PASSWORD_OFFSET, ZIXI_PASSWORD_SIZE, with_zixi},
};

static bool ends_in_slash(const char *text)
{
    const size_t length = strlen(text);
    return length > 0 && text[length - 1] == '/';
}

// A '@' without ':' is not a login: the text is then checked unchanged.
static const char *behind_login(const char *text)
{
    const size_t length = strcspn(text, REFUSED_IN_HOST);
    return text[length] == '@' && memchr(text, ':', length) != nullptr ? text + length + 1 : text;
}

static bool is_readable(const string_rule_t &rule, const void *body)
{
    const char *text = static_cast<const char *>(body) + rule.offset;
    if (memchr(text, '\0', rule.size) == nullptr)
        return false;
    if (begins_with(text, rule.start))
        text += rule.start.size();
    if (rule.may_log_in)
        text = behind_login(text);
    return strpbrk(text, rule.refused) == nullptr &&
           (rule.refused_text == nullptr || strcasestr(text, rule.refused_text) == nullptr) &&
           (!rule.is_needed || *text != '\0') && (!rule.names_a_file || !ends_in_slash(text));
}

const transfer_request_t *request_check(uint32_t command, const void *body, size_t length)
{
    if (body == nullptr || length < sizeof(transfer_request_t))
        return nullptr;
    const auto *request = static_cast<const transfer_request_t *>(body);
    for (const string_rule_t &rule : STRINGS)
        if (rule.is_read(command, *request) && !is_readable(rule, body))
            return nullptr;
    return request;
}
