#include "ftpctl/statuses.h"

#include "libftpclient/ftpclient.h"

#include <algorithm>

namespace
{

struct own_t {
    int status;
    const char *name;
    const char *meaning;
    const char *remedy;
};

struct own_status_t {
    exit_status status;
    std::initializer_list<int> codes; // ftpclient_error, ftpclient_result
};

} // namespace

constexpr own_t OWN[] = {
    {STATUS_DONE, "done", "done", "nothing"},
    {STATUS_LOCAL, "local", "a local file, a socket or the output failed", "the message names it"},
    {STATUS_USAGE, "usage", "usage, or a request that the daemon would refuse", "see --help"},
    {STATUS_NO_DAEMON, "no-daemon", "no daemon, or it did not answer",
     "see whether ftp_clientd runs and what it logs"},
    {STATUS_BUSY, "busy", "other programs kept the daemon busy for longer than --wait-turn",
     "try again later or wait longer"},
    {STATUS_BAD_ANSWER, "bad-answer", "an answer that makes no sense",
     "see whether daemon and ftpctl are of one version"},
    {STATUS_NO_FILE, "not-found", "info: there is no such file",
     "check the path; folders and links do not count"},
    {STATUS_NO_RESUME, "no-resume", "put --resume: the file sizes do not allow it",
     "upload without --resume"},
    {STATUS_TIMEOUT, "timeout", "--timeout or the limit for silence has passed; a job was cancelled",
     "check server and network, or set a longer --timeout"},
    {STATUS_EXEC, "exec-failed", "watch, listen: a command of --exec failed", "run the command by hand"},
    {STATUS_UNKNOWN, "unknown-outcome",
     "the outcome is not known: another program may have used the daemon meanwhile",
     "look at the file, then run the command again"},
    {STATUS_DENIED, "denied-socket", "this user may not use the control socket",
     "add the user to the group that owns it"},
    {STATUS_DIFFERENT, "different-size", "the remote file differs in size after the upload",
     "upload it again without --resume"},
    {STATUS_UNSEEN, "out-of-sight", "the daemon does not see the path as this command does",
     "use a folder that both share; its unit's ProtectHome and PrivateTmp hide others"},
    {STATUS_CREDENTIAL, "no-credential", "a credential that the profile names cannot be read",
     "load it into the systemd unit with LoadCredential="},
};

// By ftpclient_result: meaning and remedy when no cause is known.
constexpr own_t RESULTS[] = {
    {FTPCLIENT_RESULT_CANCELED, "cancelled", "the job was cancelled", "start it again"},
    {FTPCLIENT_RESULT_NOT_RUNNING, "not-running", "there is no job to cancel", "nothing"},
    {FTPCLIENT_RESULT_AUTH_UNSUPPORTED, "auth-unsupported", "this check of the server cannot be done",
     "pin SFTP servers by md5 and FTPS servers by sha1"},
    {FTPCLIENT_RESULT_INTERNAL, "internal", "a setting was refused or the set-up failed",
     "the daemon's log says which"},
    {FTPCLIENT_RESULT_RESPONSE_CODE, "response-code", "the server's answer could not be read",
     "see the daemon's log"},
    {FTPCLIENT_RESULT_URL_RESTORE, "url-restore", "the daemon could not restore its URL",
     "see its log and try again"},
    {FTPCLIENT_RESULT_SECURE_DATA, "secure-data", "the server's certificate or key is unreadable",
     "check the server"},
    {FTPCLIENT_RESULT_LOCAL_WRITE, "local-write", "the daemon cannot write the local file",
     "check its folder and the free space"},
    {FTPCLIENT_RESULT_LOCAL_READ, "local-read", "the daemon cannot read the local file",
     "check that it exists on the device"},
    {FTPCLIENT_RESULT_NO_MEMORY, "no-memory", "the device is out of memory", "try again later"},
    {FTPCLIENT_RESULT_SIZE_LIMIT, "size-limit", "the remote file is too large",
     "the device downloads at most 4096 bytes"},
    {FTPCLIENT_RESULT_TIMEOUT, "time-limit", "a time limit of the daemon has passed",
     "check the network and the server's load"},
    {FTPCLIENT_RESULT_NOT_SUPPORTED, "not-supported",
     "this cannot be done with this protocol or through this proxy", "see --help for what can"},
    {FTPCLIENT_RESULT_NETWORK, "network", "the transfer failed",
     "check address, login, path and network; the daemon's log has the details"},
    {FTPCLIENT_RESULT_SECURE_7, "fingerprint",
     "the fingerprint of the server's certificate or key could not be computed", "see the daemon's log"},
    {FTPCLIENT_RESULT_SECURE_UNKNOWN, "secure-unknown",
     "the device's security library failed with an unknown error", "see the daemon's log"},
    {FTPCLIENT_RESULT_SECURE_6, "identity-write", "the server's identity could not be written to its file",
     "check the free space"},
    {FTPCLIENT_RESULT_SECURE_5, "identity-create", "the file for the server's identity could not be created",
     "check its folder"},
    {FTPCLIENT_RESULT_CERT_MISMATCH, "wrong-certificate", "the server's certificate is not the pinned one",
     "it is the wrong server, or has a new certificate: see ftpctl identity"},
    {FTPCLIENT_RESULT_HOSTKEY_MISMATCH, "wrong-host-key", "the server's host key is not the pinned one",
     "it is the wrong server, or has a new key: see ftpctl identity"},
    {FTPCLIENT_RESULT_REMOTE_FILE_EXISTS, "remote-file-exists", "the remote file exists",
     "choose another name or leave --no-overwrite out"},
};

// By ftpclient_cause; the library has the name and the meaning.
constexpr std::pair<int, const char *> REMEDIES[] = {
    {FTPCLIENT_CAUSE_LOGIN, "check user and password"},
    {FTPCLIENT_CAUSE_NO_FILE, "check the path; it is relative to the login directory"},
    {FTPCLIENT_CAUSE_DENIED, "check path and rights on the server"},
    {FTPCLIENT_CAUSE_NO_NAME, "check the name and the device's /etc/resolv.conf"},
    {FTPCLIENT_CAUSE_NOBODY, "check address and port, and whether the server runs"},
    {FTPCLIENT_CAUSE_UNREACHABLE, "check address, network and firewall"},
    {FTPCLIENT_CAUSE_HANDSHAKE, "check scheme and port, and what the server's TLS or SSH asks for"},
    {FTPCLIENT_CAUSE_SERVER_FULL, "make room on the server, or raise the user's quota"},
    {FTPCLIENT_CAUSE_LOCAL_FULL, "make room on the device"},
    {FTPCLIENT_CAUSE_NO_LOCAL_FILE, "check the path"},
    {FTPCLIENT_CAUSE_PROXY_LOGIN, "give --proxy USER@HOST and the password, or check them"},
    {FTPCLIENT_CAUSE_BROKEN, "try again, an upload with --resume"},
    {FTPCLIENT_CAUSE_STALLED, "check the network and the server's load, then try again"},
    {FTPCLIENT_CAUSE_SFTP, "check the free space on the server and the network, then try again"},
    {FTPCLIENT_CAUSE_PROXY_REFUSED, "the daemon's log has the proxy's answer"},
};

constexpr int HIGHEST_RESULT = 29; // higher ones would overlap with the causes
constexpr int UNKNOWN_RESULT = 120;

// Codes not listed here are local failures, or results of failed jobs.
constexpr own_status_t STATUSES[] = {
    {STATUS_DONE, {FTPCLIENT_OK}},
    {STATUS_USAGE,
     {FTPCLIENT_ERR_ARGUMENT, FTPCLIENT_ERR_TOO_LONG, FTPCLIENT_ERR_CHARACTER, FTPCLIENT_ERR_INCOMPLETE}},
    {STATUS_NO_DAEMON, {FTPCLIENT_ERR_NO_DAEMON, FTPCLIENT_ERR_DISCONNECTED, FTPCLIENT_ERR_NO_ANSWER}},
    {STATUS_BUSY, {FTPCLIENT_ERR_TURN, FTPCLIENT_RESULT_BUSY}},
    {STATUS_BAD_ANSWER, {FTPCLIENT_ERR_PROTOCOL, FTPCLIENT_ERR_UNREAD}},
    {STATUS_NO_RESUME, {FTPCLIENT_ERR_NO_RESUME}},
    {STATUS_TIMEOUT, {FTPCLIENT_ERR_TIMEOUT, FTPCLIENT_ERR_SILENT}},
    {STATUS_UNKNOWN, {FTPCLIENT_ERR_UNKNOWN_OUTCOME}},
    {STATUS_DENIED, {FTPCLIENT_ERR_DENIED}},
    {STATUS_DIFFERENT, {FTPCLIENT_ERR_DIFFERENT}},
    {STATUS_UNSEEN, {FTPCLIENT_ERR_OUT_OF_SIGHT, FTPCLIENT_ERR_READ_ONLY}},
};

static std::vector<status_t> make_table()
{
    std::vector<status_t> table;
    for (const own_t &own : OWN)
        table.push_back({own.status, own.name, own.meaning, own.remedy});
    for (const own_t &result : RESULTS)
        table.push_back({STATUS_JOB + result.status, result.name, result.meaning, result.remedy});
    for (const auto &[cause, remedy] : REMEDIES)
        table.push_back(
            {STATUS_CAUSE + cause, ftpclient_cause_name(cause), ftpclient_cause_text(cause), remedy});
    table.push_back({UNKNOWN_RESULT, "unknown-result", "a result that this ftpctl does not know",
                     "see whether daemon and ftpctl are of one version"});
    return table;
}

const std::vector<status_t> &status_table()
{
    static const std::vector<status_t> table = make_table();
    return table;
}

const status_t &status_find(int status)
{
    const auto found = std::ranges::find(status_table(), status, &status_t::status);
    return found == status_table().end() ? status_table().back() : *found;
}

int status_of(int code, int cause)
{
    for (const own_status_t &own : STATUSES) {
        if (std::ranges::find(own.codes, code) != own.codes.end())
            return own.status;
    }
    if (code < 0)
        return STATUS_LOCAL;
    if (cause >= FTPCLIENT_CAUSE_LOGIN && cause <= FTPCLIENT_CAUSE_PROXY_REFUSED)
        return STATUS_CAUSE + cause;
    return code <= HIGHEST_RESULT ? STATUS_JOB + code : UNKNOWN_RESULT;
}

std::string status_sentence(int status, const std::string &details)
{
    const status_t &row = status_find(status);
    const std::string text = row.remedy == "nothing" ? row.meaning : row.meaning + "; " + row.remedy;
    return details.empty() ? text : text + " (" + details + ")";
}

std::string status_help()
{
    std::string text = "Exit status:\n";
    for (const status_t &row : status_table()) {
        const std::string number = std::to_string(row.status);
        text += std::string(5 - number.size(), ' ') + number + "  " + row.meaning + "\n";
    }
    return text;
}
