#include "request_model.h"

#include <algorithm>
#include <cstring>

namespace model
{

namespace
{

constexpr size_t HEAD_BYTES = 8;

constexpr size_t PROTOCOL_AT = 1288;
constexpr size_t PROXY_TYPE_AT = 1552;

uint32_t number_at(std::string_view bytes, size_t at)
{
    uint32_t number;
    memcpy(&number, bytes.data() + at, sizeof number);
    return number;
}

bool is_zixi(uint32_t protocol) { return protocol == 4 || protocol == 5; }

bool has_end(std::string_view body, const field_t &field)
{
    return body.substr(field.at, field.size).find('\0') != std::string_view::npos;
}

// For a terminated field.
std::string_view text_of(std::string_view body, const field_t &field)
{
    const std::string_view text = body.substr(field.at, field.size);
    return text.substr(0, text.find('\0'));
}

bool holds(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

std::string in_small_letters(std::string_view text)
{
    std::string small(text);
    for (char &letter : small)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return small;
}

// The name of the file reaches the server unchanged.
bool is_path(std::string_view path, bool over_ftp)
{
    if (path.find_first_of("#?\r\n") != path.npos)
        return false;
    return !over_ftp || (!holds(in_small_letters(path), ";type=") && !holds(path, "\xff"));
}

// A name or an address, with or without a port.
bool is_host(std::string_view host)
{
    for (const char byte : host) {
        const auto code = static_cast<unsigned char>(byte);
        if (code <= 32 || code == 127 || holds("/?#@\\", {&byte, 1}))
            return false;
    }
    return !host.empty();
}

bool is_socks(std::string_view proxy)
{
    const std::string small = in_small_letters(proxy);
    for (const char *socks : {"socks://", "socks4://", "socks4a://", "socks5://", "socks5h://"})
        if (small.find(socks) == 0)
            return true;
    return false;
}

bool is_proxy(std::string_view proxy)
{
    if (is_socks(proxy))
        return true; // the job then fails: there are no such proxies
    const std::string small = in_small_letters(proxy);
    if (small.find("http://") == 0)
        proxy = proxy.substr(7);
    const size_t at = proxy.find('@');
    const bool logs_in = at != proxy.npos && holds(proxy.substr(0, at), ":") &&
                         is_host(proxy.substr(0, at)); // not a host, but with the same rules
    return is_host(logs_in ? proxy.substr(at + 1) : proxy);
}

// Through a proxy, an upload to a folder would create a file with a name of the server's choice.
bool goes_through(std::string_view proxy, uint32_t command, std::string_view path)
{
    return is_proxy(proxy) && (is_socks(proxy) || command != 2 || (!path.empty() && path.back() != '/'));
}

bool is_one_line(std::string_view text) { return !holds(text, "\r") && !holds(text, "\n"); }

std::vector<field_t> strings_read(uint32_t command, std::string_view body)
{
    const uint32_t protocol = number_at(body, PROTOCOL_AT);
    if (is_zixi(protocol))
        return {REMOTE_PATH, LOCAL_PATH, HOST, ZIXI_USER, ZIXI_PASSWORD};
    std::vector<field_t> read = {REMOTE_PATH, HOST, USERNAME, PASSWORD};
    if (command != 5)
        read.push_back(LOCAL_PATH);
    if (number_at(body, PROXY_TYPE_AT) != 0)
        read.push_back(PROXY_HOST);
    if (protocol == 1 || protocol == 2 || protocol == 3)
        read.push_back(SAVE_PATH);
    return read;
}

bool is_acceptable(uint32_t command, std::string_view body)
{
    if (body.size() < REQUEST_BYTES)
        return false;
    for (const field_t &field : strings_read(command, body))
        if (!has_end(body, field))
            return false;
    const uint32_t protocol = number_at(body, PROTOCOL_AT);
    if (is_zixi(protocol))
        return true;
    return is_path(text_of(body, REMOTE_PATH), protocol != 3) && is_host(text_of(body, HOST)) &&
           (number_at(body, PROXY_TYPE_AT) == 0 ||
            goes_through(text_of(body, PROXY_HOST), command, text_of(body, REMOTE_PATH))) &&
           is_one_line(text_of(body, USERNAME)) && is_one_line(text_of(body, PASSWORD));
}

void start_job(uint32_t command, std::string_view body, const surroundings_t &around, outcome_t *outcome)
{
    constexpr uint32_t REFUSED = 5;
    uint32_t code = REFUSED;
    if (is_acceptable(command, body)) {
        outcome->zixi_active = is_zixi(number_at(body, PROTOCOL_AT));
        const char *kind = command == 1                            ? "download"
                           : command == 5                          ? "dl_file_info"
                           : is_zixi(number_at(body, PROTOCOL_AT)) ? "ftp_upload"
                                                                   : "upload";
        outcome->calls.push_back(std::string(outcome->zixi_active ? "zixif_" : "curlf_") + kind + "()");
        code = around.start_code;
    }
    if (code != 0)
        outcome->log.push_back((command == 1   ? "error: ftp_clientd(393): command_download(): Failed("
                                : command == 2 ? "error: ftp_clientd(433): command_upload(): Failed("
                                               : "error: ftp_clientd(570): command_dl_file_info(): Failed(") +
                               std::to_string(code) + ")\n");
    outcome->result = code == 0 ? 0 : 1;
    outcome->detail = code;
    outcome->last_detail = code;
}

void cancel(const surroundings_t &around, outcome_t *outcome)
{
    outcome->calls.push_back(around.zixi_active ? "zixif_cancel()" : "curlf_cancel()");
    outcome->body_bytes = 12;
    outcome->result = around.cancel_code == 0 ? 0 : 1;
    outcome->detail = around.cancel_code;
    if (around.cancel_code != 0)
        outcome->log.push_back("error: ftp_clientd(515): curlf_cancel(): Failed(" +
                               std::to_string(around.cancel_code) + ")\n");
}

// Reads the head and the body; false if the client stops too early or the body does not fit. Such a request
// counts as a no-operation.
bool frame(std::string_view sent, const surroundings_t &around, outcome_t *outcome, std::string_view *body)
{
    if (sent.size() < HEAD_BYTES) {
        outcome->log.push_back("error: ftp_clientd_if(699): recvn(): incomplete(" +
                               std::to_string(sent.size()) + " of 8)\n");
        return false;
    }
    const uint32_t length = number_at(sent, 4);
    if (length > around.memory_bytes) {
        outcome->log.push_back("error: ftp_clientd_if(725): Failed: malloc()\n");
        return false;
    }
    *body = sent.substr(HEAD_BYTES, length);
    if (body->size() < length) {
        outcome->log.push_back("error: ftp_clientd_if(737): recvn(): incomplete(" +
                               std::to_string(body->size()) + " of " + std::to_string(length) + ")\n");
        return false;
    }
    return true;
}

} // namespace

outcome_t serve(std::string_view sent, const surroundings_t &around)
{
    outcome_t outcome;
    outcome.last_detail = around.last_detail;
    outcome.zixi_active = around.zixi_active;
    std::string_view body;
    if (frame(sent, around, &outcome, &body))
        outcome.command = number_at(sent, 0);
    switch (outcome.command) {
    case 0:
        outcome.detail = around.last_detail;
        break;
    case 1:
    case 2:
    case 5:
        start_job(outcome.command, body, around, &outcome);
        break;
    case 3:
        outcome.body_bytes = 72;
        break;
    case 4:
        cancel(around, &outcome);
        break;
    case 6:
        outcome.body_bytes = 56;
        break;
    default:
        outcome.answered = false;
    }
    return outcome;
}

} // namespace model
