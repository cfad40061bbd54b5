// Messages for failed jobs.
#include "ftpctl/job.h"

#include "ftpctl/duration.h"
#include "ftpctl/statuses.h"
#include "ftpctl/text.h"

// Through a proxy libcurl connects only to the proxy; but code 6 means that the server's name was not found.
static std::string peer_of(const job_t &job, const ftpclient_progress_t &progress)
{
    constexpr int SERVER_NAME_NOT_FOUND = 6;
    if (!job.proxy || progress.curl_code == SERVER_NAME_NOT_FOUND)
        return job.url.name();
    return "proxy " + job.proxy->name();
}

// The subject of the message.
static std::string subject_of(const job_t &job, const ftpclient_outcome_t &outcome)
{
    switch (outcome.cause) {
    case FTPCLIENT_CAUSE_LOGIN:
        return job.user + "@" + job.url.name();
    case FTPCLIENT_CAUSE_NO_NAME:
    case FTPCLIENT_CAUSE_NOBODY:
    case FTPCLIENT_CAUSE_UNREACHABLE:
    case FTPCLIENT_CAUSE_PROXY_LOGIN:
        return peer_of(job, outcome.progress);
    case FTPCLIENT_CAUSE_HANDSHAKE:
        return job.url.name();
    case FTPCLIENT_CAUSE_LOCAL_FULL:
    case FTPCLIENT_CAUSE_NO_LOCAL_FILE:
        return job.local;
    default:
        return job.shown_url;
    }
}

// The daemon could not open a file that this command could open, so it sees another file system.
static bool is_out_of_sight(int result, const ftpclient_outcome_t &outcome)
{
    return (result == FTPCLIENT_RESULT_LOCAL_READ || result == FTPCLIENT_RESULT_LOCAL_WRITE) &&
           outcome.cause <= FTPCLIENT_CAUSE_OTHER && outcome.progress.transferred_bytes == 0;
}

static std::string result_line(const job_t &job, int result, const ftpclient_outcome_t &outcome)
{
    const std::string details = text_details(result, outcome.progress);
    if (result == FTPCLIENT_RESULT_CANCELED && outcome.jobs == 0)
        return "interrupted before the job was started";
    if (is_out_of_sight(result, outcome))
        return "the daemon cannot see or write " + job.local +
               ": it has its own rights and its own view of the file system "
               "(ProtectHome, PrivateTmp, another mount namespace) (" +
               details + ")";
    return subject_of(job, outcome) + ": " + status_sentence(status_of(result, outcome.cause), details);
}

static std::string resume_line(const ftpclient_outcome_t &outcome)
{
    if (outcome.remote_bytes > outcome.local_bytes)
        return "cannot resume: the remote file has " + std::to_string(outcome.remote_bytes) +
               " bytes, the local one only " + std::to_string(outcome.local_bytes);
    return outcome.file.exists != 0 ? "cannot resume: the server does not report the remote file's size"
                                    : "cannot resume: the remote path is not a file";
}

// The daemon's mounts showed it, so no job was started.
static std::string sight_line(const job_t &job, int error)
{
    constexpr const char *REMEDY =
        "; use a folder that both share (its unit's ProtectHome and PrivateTmp, or a "
        "container, hide others); no job was started";
    return job.local +
           (error == FTPCLIENT_ERR_READ_ONLY
                ? ": the daemon may not write there: it is mounted read-only for the daemon"
                : ": the daemon finds another file or none at this path: it has its own view of the "
                  "file system") +
           REMEDY;
}

static std::string difference_line(const job_t &job, const ftpclient_outcome_t &outcome)
{
    return job.shown_url + ": the remote file has " +
           (outcome.remote_bytes >= 0 ? std::to_string(outcome.remote_bytes) + " bytes" : "another size") +
           " after the upload, the local one " + std::to_string(outcome.local_bytes);
}

static std::string error_line(const options_t &options, const job_t &job, int error,
                              const ftpclient_outcome_t &outcome)
{
    switch (error) {
    case FTPCLIENT_ERR_TURN:
        return options.wait_turn.count() == 0
                   ? "another program has the daemon; --wait-turn sets how long to wait"
                   : "other programs kept the daemon busy for longer than " +
                         duration_text(options.wait_turn) + "; --wait-turn sets another limit";
    case FTPCLIENT_ERR_TIMEOUT:
        return "not done within " + duration_text(options.timeout.value_or(SILENCE_LIMIT)) + ", " +
               (outcome.jobs > 0 ? "the job was cancelled" : "the job was not started") +
               "; --timeout sets another limit";
    case FTPCLIENT_ERR_SILENT:
        return "nothing moved for " + duration_text(SILENCE_LIMIT) +
               ", the job was cancelled; --timeout sets another limit";
    case FTPCLIENT_ERR_UNKNOWN_OUTCOME:
        return job.shown_url +
               ": another program may have used the daemon meanwhile, the outcome of this job is not known";
    case FTPCLIENT_ERR_NO_RESUME:
        return resume_line(outcome);
    case FTPCLIENT_ERR_OUT_OF_SIGHT:
    case FTPCLIENT_ERR_READ_ONLY:
        return sight_line(job, error);
    case FTPCLIENT_ERR_DIFFERENT:
        return difference_line(job, outcome);
    default:
        return daemon_failure(options, error).what();
    }
}

// What an unfinished upload has left on the server, as far as known.
static std::string remains(int code, const ftpclient_outcome_t &outcome)
{
    const bool was_stopped =
        code == FTPCLIENT_RESULT_CANCELED || code == FTPCLIENT_ERR_TIMEOUT || code == FTPCLIENT_ERR_SILENT;
    const std::string before =
        "; the remote file had " + std::to_string(outcome.resumed_bytes) + " bytes before";
    if (outcome.may_be_spoiled != 0)
        return before + " and may now hold a part twice: upload it whole, without --resume";
    if (was_stopped && outcome.resumed_bytes > 0 && outcome.upload != FTPCLIENT_UPLOAD_MENDED)
        return before + ", --resume continues from what it has now";
    if (outcome.cause == FTPCLIENT_CAUSE_SFTP && outcome.remote_bytes >= 0)
        return "; the remote file has " + std::to_string(outcome.remote_bytes) + " of " +
               std::to_string(outcome.local_bytes) + " bytes";
    return "";
}

failure job_failure(const options_t &options, const job_t &job, int code, const ftpclient_outcome_t &outcome)
{
    // Busy in spite of the turn: somebody does not take turns.
    const int error = code == FTPCLIENT_RESULT_BUSY ? int{FTPCLIENT_ERR_TURN} : code;
    const std::string line =
        error > 0 ? result_line(job, error, outcome) : error_line(options, job, error, outcome);
    return {status_of(error, outcome.cause), line + remains(error, outcome)};
}
