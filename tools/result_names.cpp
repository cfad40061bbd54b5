#include "tools/result_names.h"

#include "tools/failure.h"

#include <algorithm>
#include <iterator>

namespace
{

struct result_t {
    uint32_t code;
    const char *name;
    const char *advice;
};

#define RESULT(code) code, #code

constexpr result_t RESULTS[] = {
    {RESULT(FTPCD_ERR_NONE), "Done."},
    {RESULT(FTPCD_ERR_CANCELED), "The job was cancelled."},
    {RESULT(FTPCD_ERR_NOT_RUNNING), "There is no job to cancel."},
    {RESULT(FTPCD_ERR_BUSY), "Another job is running; wait for its end or cancel it."},
    {RESULT(FTPCD_ERR_AUTH_UNSUPPORTED),
     "This check of the server cannot be done; pin SFTP servers by md5 and FTPS servers by sha1."},
    {RESULT(FTPCD_ERR_INTERNAL), "A setting was refused or the set-up failed; the daemon's log says which."},
    {RESULT(FTPCD_ERR_RESPONSE_CODE), "The server's answer could not be read; see the daemon's log."},
    {RESULT(FTPCD_ERR_URL_RESTORE), "The daemon could not put its URL back; see its log and try again."},
    {RESULT(FTPCD_ERR_SECURE_DATA), "The server's certificate or key is unreadable; check the server."},
    {RESULT(FTPCD_ERR_LOCAL_WRITE), "The local file cannot be written; check its folder and the free space."},
    {RESULT(FTPCD_ERR_LOCAL_READ), "The local file cannot be read; check that it exists on the device."},
    {RESULT(FTPCD_ERR_NO_MEMORY), "The device is out of memory; try again later."},
    {RESULT(FTPCD_ERR_SIZE_LIMIT), "The remote file is too large: the device downloads at most 4096 bytes."},
    {RESULT(FTPCD_ERR_TIMEOUT), "Nothing moved for too long; check the line and the server's load."},
    {RESULT(FTPCD_ERR_NOT_SUPPORTED),
     "This cannot be done with this protocol or through this proxy; see --help for what can."},
    {RESULT(FTPCD_ERR_NETWORK),
     "The transfer failed; check address, login, path and network, the daemon's log has the details."},
    {RESULT(FTPCD_ERR_SECURE_7), "The fingerprint of the server's certificate or key could not be computed."},
    {RESULT(FTPCD_ERR_SECURE_UNKNOWN), "The device's security library failed for a reason without a name."},
    {RESULT(FTPCD_ERR_SECURE_6),
     "The server's identity could not be written to its file; check the free space."},
    {RESULT(FTPCD_ERR_SECURE_5),
     "The file for the server's identity could not be created; check its folder."},
    {RESULT(FTPCD_ERR_CERT_MISMATCH),
     "The server's certificate is not the pinned one: the wrong server, or a renewed certificate."},
    {RESULT(FTPCD_ERR_HOSTKEY_MISMATCH),
     "The server's host key is not the pinned one: the wrong server, or a changed key."},
    {RESULT(FTPCD_ERR_REMOTE_FILE_EXISTS),
     "The remote file exists; choose another name or leave --no-overwrite out."},
};

constexpr result_t UNKNOWN = {0, "unknown result", "Daemon and ftpctl may be of different versions."};

struct status_help_t {
    int status;
    const char *meaning;
};

constexpr status_help_t STATUSES[] = {
    {STATUS_DONE, "done"},
    {STATUS_LOCAL, "a file, a socket or the output on this side"},
    {STATUS_USAGE, "usage, or a request that the daemon would refuse"},
    {STATUS_NO_DAEMON, "no daemon, or it did not answer in time"},
    {STATUS_BUSY, "FTPCD_ERR_BUSY: another job is running"},
    {STATUS_BAD_ANSWER, "an answer that makes no sense"},
    {STATUS_NO_FILE, "info: there is no such file"},
    {STATUS_NO_RESUME, "put --resume: the sizes forbid it"},
    {STATUS_TIMEOUT, "--timeout has passed; the job was cancelled"},
    {STATUS_EXEC, "watch, listen: a command of --exec failed"},
};

const result_t &find(uint32_t code)
{
    const auto *found = std::ranges::find(RESULTS, code, &result_t::code);
    return found == std::end(RESULTS) ? UNKNOWN : *found;
}

std::string help_line(int status, const char *meaning)
{
    std::string number = std::to_string(status);
    number.insert(0, number.size() < 5 ? 5 - number.size() : 0, ' ');
    return number + "  " + meaning + "\n";
}

} // namespace

const char *result_name(uint32_t code) { return find(code).name; }

const char *result_advice(uint32_t code) { return find(code).advice; }

std::string result_text(uint32_t code)
{
    return std::string(result_name(code)) + " (" + std::to_string(code) + "): " + result_advice(code);
}

int result_exit_status(uint32_t code)
{
    if (code == FTPCD_ERR_NONE)
        return STATUS_DONE;
    if (code == FTPCD_ERR_BUSY)
        return STATUS_BUSY;
    return STATUS_JOB + static_cast<int>(std::min<uint32_t>(code, 100));
}

std::string result_help()
{
    std::string text = "Exit status:\n";
    for (const status_help_t &line : STATUSES)
        text += help_line(line.status, line.meaning);
    for (const result_t &result : RESULTS) {
        if (result_exit_status(result.code) > STATUS_JOB)
            text += help_line(result_exit_status(result.code), result.name);
    }
    return text;
}
