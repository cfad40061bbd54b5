// identity: shows a server's certificate or host key.
#include "ftpctl/commands.h"

#include "ftpctl/interrupts.h"
#include "ftpctl/job.h"
#include "ftpctl/local_file.h"
#include "ftpctl/private_folder.h"
#include "ftpctl/statuses.h"
#include "ftpctl/text.h"

constexpr size_t IDENTITY_MAX_BYTES = 1 << 20;

static bool is_refused_by_pin(int code)
{
    return code == FTPCLIENT_RESULT_CERT_MISMATCH || code == FTPCLIENT_RESULT_HOSTKEY_MISMATCH;
}

static bool cannot_write(int code)
{
    return code == FTPCLIENT_RESULT_LOCAL_WRITE || code == FTPCLIENT_RESULT_SECURE_5 ||
           code == FTPCLIENT_ERR_OUT_OF_SIGHT || code == FTPCLIENT_ERR_READ_ONLY;
}

static std::string line_of(int code, const ftpclient_outcome_t &outcome, const std::string &folder)
{
    const std::string line = "the daemon cannot write into " + folder +
                             "; set TMPDIR to a folder that it shares with this command";
    return code > 0 ? line + " (" + text_details(code, outcome.progress) + ")" : line;
}

// Throws failure unless the daemon rejected the server because of the pin, as intended.
static void check(const options_t &options, const job_t &job, int code, const ftpclient_outcome_t &outcome,
                  const std::string &folder)
{
    const failure why = job_failure(options, job, code, outcome);
    if (is_refused_by_pin(code))
        return;
    if (cannot_write(code))
        throw failure(why.status, line_of(code, outcome, folder));
    if (code != FTPCLIENT_OK)
        throw failure(why);
    throw failure(STATUS_BAD_ANSWER, "the daemon has not checked the server");
}

static server_identity_t ask(const options_t &options, const url_t &url, report_t &report)
{
    const logins_t logins = logins_find_proxys(options);
    interrupts_catch(); // before there is a folder to remove
    driver driver(options);
    const private_folder folder(private_folder::pattern(), options.socket);
    const std::string saved = folder.path() + "/identity";
    job_t job = request_for_identity(options, url, saved, folder.path() + "/nothing");
    request_set_logins(job, logins);
    ftpclient_outcome_t outcome = {};
    const int code = job_drive(driver, job, &outcome);
    if (code != FTPCLIENT_OK && !is_refused_by_pin(code)) {
        report.job = job.kind;
        report.outcome = outcome;
    }
    check(options, job, code, outcome, folder.path());
    const std::string content = file_content(saved, IDENTITY_MAX_BYTES);
    const auto found = url.protocol == FTPCLIENT_SFTP ? host_key_read(content) : certificate_read(content);
    if (!found)
        throw failure(STATUS_BAD_ANSWER, "what the daemon has saved is neither a certificate nor a host key");
    return *found;
}

static void add(std::string &text, const char *name, const std::string &value)
{
    std::string label(name);
    label.resize(9, ' ');
    text += "\n" + label + (value.empty() ? "none" : value);
}

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

void command_identity(const options_t &options, report_t &report)
{
    report.remote = options.url;
    const url_t url = url_parse(options.url, url_names::A_SERVER);
    report.server = url.name();
    report.identity = ask(options, url, report);
    report.message = options.quiet ? report.identity->pin : identity_text(report.server, *report.identity);
}
