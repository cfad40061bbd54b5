#include "tools/identity.h"

#include "tools/deadline.h"
#include "tools/failure.h"
#include "tools/interrupts.h"
#include "tools/job_run.h"
#include "tools/json.h"
#include "tools/output.h"
#include "tools/private_folder.h"
#include "tools/request.h"
#include "tools/result_names.h"
#include "tools/url.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace
{

constexpr size_t IDENTITY_MAX_BYTES = 1 << 20;

struct descriptor {
    int fd;
    ~descriptor() { close(fd); }
};

std::string content_of(const std::string &path)
{
    const descriptor file = {open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK)};
    if (file.fd == -1)
        throw failure(STATUS_LOCAL, path + ": " + strerror(errno));
    std::string content;
    char piece[4096];
    ssize_t count = 0;
    while (content.size() <= IDENTITY_MAX_BYTES && (count = read(file.fd, piece, sizeof piece)) > 0)
        content.append(piece, static_cast<size_t>(count));
    if (count == -1)
        throw failure(STATUS_LOCAL, path + ": " + strerror(errno));
    return content;
}

bool is_refused_by_pin(uint32_t result)
{
    return result == FTPCD_ERR_CERT_MISMATCH || result == FTPCD_ERR_HOSTKEY_MISMATCH;
}

[[noreturn]] void fail_to_write(uint32_t result, const std::string &folder)
{
    throw failure(result_exit_status(result),
                  std::string(result_name(result)) + " (" + std::to_string(result) +
                      "): the daemon cannot write into " + folder +
                      "; set TMPDIR to a folder that it shares with this command");
}

// The job has ended as it must: the daemon has refused the server.
void check(const state_reply_t &ended, const deadline_t &deadline, const std::string &folder)
{
    const uint32_t result = ended.module_info.result;
    if (is_refused_by_pin(result))
        return;
    if (result == FTPCD_ERR_LOCAL_WRITE || result == FTPCD_ERR_SECURE_5)
        fail_to_write(result, folder);
    job_check(ended, deadline);
    throw failure(STATUS_BAD_ANSWER, "the daemon has not checked the server");
}

server_identity_t ask(const options_t &options, const url_t &url)
{
    const deadline_t deadline(options.timeout());
    const private_folder folder(options.socket);
    const std::string saved = folder.path() + "/identity";
    const transfer_request_t request = request_for_identity(options, url, saved, folder.path() + "/nothing");
    const state_reply_t ended = job_run(options, COMMAND_DOWNLOAD, request, deadline);
    if (options.json && !is_refused_by_pin(ended.module_info.result))
        output_line(json_job(ended));
    check(ended, deadline, folder.path());
    const std::string content = content_of(saved);
    const auto found = url.protocol == PROTOCOL_SFTP ? host_key_read(content) : certificate_read(content);
    if (!found)
        throw failure(STATUS_BAD_ANSWER, "what the daemon has saved is no certificate and no host key");
    return *found;
}

void add(std::string &text, const char *name, const std::string &value)
{
    std::string label(name);
    label.resize(9, ' ');
    text += "\n" + label + (value.empty() ? "none" : value);
}

} // namespace

std::string identity_text(const std::string &server, const server_identity_t &identity)
{
    const bool is_certificate = identity.kind == server_identity_t::CERTIFICATE;
    const std::string bits = identity.key_bits == 0 ? "" : ", " + std::to_string(identity.key_bits) + " bits";
    std::string text = (is_certificate ? "certificate of " : "host key of ") + server;
    if (is_certificate) {
        add(text, "subject", identity.subject);
        add(text, "issuer", identity.issuer);
        add(text, "valid", identity.not_before + " to " + identity.not_after);
    } else {
        add(text, "type", identity.type);
    }
    add(text, "key", identity.key_type + bits);
    add(text, "SHA-256", identity.sha256);
    add(text, is_certificate ? "SHA-1" : "MD5", identity.digest);
    add(text, "use", "--pin " + identity.pin);
    return text;
}

int identity(const options_t &options)
{
    const url_t url = url_parse(options.url, url_names::A_SERVER);
    interrupts_catch();
    const server_identity_t found = ask(options, url);
    const std::string server = url.host + ":" + std::to_string(url.port);
    if (options.json)
        output_line(json_identity(server, found));
    else
        output_line(options.quiet ? found.pin : identity_text(server, found));
    return STATUS_DONE;
}
