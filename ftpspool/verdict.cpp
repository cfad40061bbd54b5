#include "ftpspool/verdict.h"

#include "ftpctl/failure.h"
#include "libftpclient/ftpclient.h"

#include <algorithm>
#include <iterator>

namespace
{

struct row_t {
    int status;
    verdict_t verdict;
};

} // namespace

constexpr verdict_t FINAL = verdict_t::FINAL;
constexpr verdict_t SERVER = verdict_t::SERVER;
constexpr verdict_t ENTRY = verdict_t::ENTRY;
constexpr verdict_t DAEMON = verdict_t::DAEMON;

constexpr row_t VERDICTS[] = {
    // The command's own statuses
    {STATUS_LOCAL, DAEMON}, // no descriptor, no memory: files are checked before
    {STATUS_USAGE, FINAL},  // a refused name
    {STATUS_NO_DAEMON, DAEMON},
    {STATUS_BUSY, DAEMON},
    {STATUS_BAD_ANSWER, DAEMON},
    {STATUS_NO_RESUME, ENTRY},
    {STATUS_TIMEOUT, SERVER},
    {STATUS_UNKNOWN, ENTRY},
    {STATUS_DENIED, DAEMON},
    {STATUS_DIFFERENT, ENTRY},
    {STATUS_UNSEEN, FINAL},
    {STATUS_CREDENTIAL, SERVER}, // only a restarted service can read it; other servers need not wait

    // The daemon's results
    {STATUS_JOB + int{FTPCLIENT_RESULT_CANCELED}, ENTRY},
    {STATUS_JOB + int{FTPCLIENT_RESULT_NOT_RUNNING}, DAEMON},
    {STATUS_JOB + int{FTPCLIENT_RESULT_AUTH_UNSUPPORTED}, FINAL},
    {STATUS_JOB + int{FTPCLIENT_RESULT_INTERNAL}, FINAL}, // a refused name
    {STATUS_JOB + int{FTPCLIENT_RESULT_RESPONSE_CODE}, ENTRY},
    {STATUS_JOB + int{FTPCLIENT_RESULT_URL_RESTORE}, SERVER},
    {STATUS_JOB + int{FTPCLIENT_RESULT_SECURE_DATA}, SERVER},
    {STATUS_JOB + int{FTPCLIENT_RESULT_LOCAL_WRITE}, FINAL},
    {STATUS_JOB + int{FTPCLIENT_RESULT_LOCAL_READ}, FINAL},
    {STATUS_JOB + int{FTPCLIENT_RESULT_NO_MEMORY}, DAEMON},
    {STATUS_JOB + int{FTPCLIENT_RESULT_SIZE_LIMIT}, FINAL},
    {STATUS_JOB + int{FTPCLIENT_RESULT_TIMEOUT}, SERVER},
    {STATUS_JOB + int{FTPCLIENT_RESULT_NOT_SUPPORTED}, FINAL},
    {STATUS_JOB + int{FTPCLIENT_RESULT_NETWORK}, ENTRY}, // of no known cause: perhaps its name
    {STATUS_JOB + int{FTPCLIENT_RESULT_SECURE_7}, SERVER},
    {STATUS_JOB + int{FTPCLIENT_RESULT_SECURE_UNKNOWN}, SERVER},
    {STATUS_JOB + int{FTPCLIENT_RESULT_SECURE_6}, DAEMON},
    {STATUS_JOB + int{FTPCLIENT_RESULT_SECURE_5}, DAEMON},
    {STATUS_JOB + int{FTPCLIENT_RESULT_CERT_MISMATCH}, FINAL},
    {STATUS_JOB + int{FTPCLIENT_RESULT_HOSTKEY_MISMATCH}, FINAL},
    {STATUS_JOB + int{FTPCLIENT_RESULT_REMOTE_FILE_EXISTS}, FINAL},

    // The causes
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_LOGIN}, FINAL},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_NO_FILE}, FINAL}, // no such folder
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_DENIED}, FINAL},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_NO_NAME}, SERVER},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_NOBODY}, SERVER},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_UNREACHABLE}, SERVER},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_HANDSHAKE}, SERVER},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_SERVER_FULL}, SERVER},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_LOCAL_FULL}, DAEMON},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_NO_LOCAL_FILE}, FINAL},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_PROXY_LOGIN}, FINAL},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_BROKEN}, SERVER},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_STALLED}, SERVER},
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_SFTP}, ENTRY}, // without a reason
    {STATUS_CAUSE + int{FTPCLIENT_CAUSE_PROXY_REFUSED}, SERVER},
};

verdict_t verdict_of(int status)
{
    const auto *found = std::ranges::find(VERDICTS, status, &row_t::status);
    return found == std::end(VERDICTS) ? SERVER : found->verdict;
}

verdict_t verdict_before(int status) { return status == STATUS_LOCAL ? FINAL : verdict_of(status); }

std::vector<int> verdict_statuses()
{
    std::vector<int> statuses;
    std::ranges::transform(VERDICTS, std::back_inserter(statuses), &row_t::status);
    return statuses;
}
