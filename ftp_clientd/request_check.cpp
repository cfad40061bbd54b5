#include "ftp_clientd/request_check.h"
#include "ftp_clientd/engines.h"

#include <cstring>

namespace
{

using condition = bool (*)(uint32_t command, const transfer_request_t &request);

bool always(uint32_t, const transfer_request_t &) { return true; }

bool with_zixi(uint32_t, const transfer_request_t &request) { return engine_is_zixi(request.protocol); }

bool with_libcurl(uint32_t, const transfer_request_t &request) { return !engine_is_zixi(request.protocol); }

bool with_local_file(uint32_t command, const transfer_request_t &request)
{
    return engine_is_zixi(request.protocol) || command != COMMAND_DL_FILE_INFO;
}

bool through_proxy(uint32_t, const transfer_request_t &request)
{
    return !engine_is_zixi(request.protocol) && request.proxy_type != PROXY_NONE;
}

bool with_server_identity(uint32_t, const transfer_request_t &request)
{
    return request.protocol >= PROTOCOL_FTPS_IMPLICIT && request.protocol <= PROTOCOL_SFTP;
}

struct string_rule_t {
    size_t offset; // bytes from the start of the request
    size_t size;   // bytes, terminator included
    condition is_read;
    const char *refused; // characters it must not hold
};

#define FIELD(member) offsetof(transfer_request_t, member), sizeof(transfer_request_t::member)

// '#' and '?' end the path of a URL: the job would fetch or overwrite another file. CR and LF end an FTP
// command: what follows would be a second one.
constexpr string_rule_t STRINGS[] = {
    {FIELD(remote_path), with_libcurl, "#?\r\n"},
    {FIELD(remote_path), with_zixi, ""},
    {FIELD(local_path), with_local_file, ""},
    {FIELD(host), always, ""},
    {FIELD(username), with_libcurl, "\r\n"},
    {FIELD(password), with_libcurl, "\r\n"},
    {FIELD(proxy_host), through_proxy, ""},
    {offsetof(transfer_request_t, server_auth) + offsetof(server_auth_t, save_path),
     sizeof(server_auth_t::save_path), with_server_identity, ""},
    {ZIXI_USER_OFFSET, ZIXI_USER_SIZE, with_zixi, ""},
    {ZIXI_PASSWORD_OFFSET, ZIXI_PASSWORD_SIZE, with_zixi, ""},
};

bool is_readable(const string_rule_t &rule, const void *body)
{
    const char *field = static_cast<const char *>(body) + rule.offset;
    return memchr(field, '\0', rule.size) != nullptr && strpbrk(field, rule.refused) == nullptr;
}

} // namespace

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
