#include "played_daemon.h"

#include <algorithm>

static constexpr int PASS_MS = 100;

played_daemon::played_daemon(rhythm_t rhythm, plan_t plan, stranger_t stranger)
    : rhythm_(rhythm), plan_(std::move(plan)), stranger_(std::move(stranger))
{
    run([this] {
        while (rhythm_ == REAL ? rests(PASS_MS) : waits_for_somebody())
            pass();
    });
}

void played_daemon::pass()
{
    advance();
    if (!stranger_ || !stranger_(*this, commands()))
        serve([this](const message_t &message) { return answer(message); });
    advance();
    noted_ = noted_ || info_.running == 0;
}

bytes_t played_daemon::answer(const message_t &message)
{
    if (silent_)
        return HANG;
    switch (message.command) {
    case COMMAND_GET_STATE:
        return message_bytes(message.command, bytes_of(state()));
    case COMMAND_CANCEL: {
        const uint32_t code = cancel();
        return message_bytes(message.command, bytes_of(cancel_reply_t{{code != 0, code}, info_.exec}));
    }
    case COMMAND_GET_FILE_INFO:
        return message_bytes(message.command, bytes_of(file_info_reply_t{{0, 0}, file_}));
    case COMMAND_NONE:
        return message_bytes(message.command, bytes_of(reply_t{0, 0}));
    default:
        return answer_start(message);
    }
}

bytes_t played_daemon::answer_start(const message_t &message)
{
    const uint32_t command = message.command;
    const uint32_t kind = command == COMMAND_DL_FILE_INFO ? uint32_t(JOB_DL_FILE_INFO) : command;
    const played_job_t job = plan_(command, request_of(message));
    const uint32_t code = job.refused != 0 ? job.refused : start(kind, job);
    return message_bytes(command, bytes_of(reply_t{code != 0, code}));
}

// As the engines do: an unjoined job is forgotten, and this start refused.
uint32_t played_daemon::start(uint32_t kind, const played_job_t &job)
{
    if (info_.running != 0)
        return FTPCD_ERR_BUSY;
    const bool is_early = !noted_;
    job_ = job;
    began_ = clock_t::now();
    exec_ = {};
    info_ = {is_early ? 0u : 1u, kind, is_early ? uint32_t(FTPCD_ERR_INTERNAL) : 0u, 0};
    if (kind == JOB_DL_FILE_INFO)
        file_.looked_up = file_.exists = 0, file_.size = 0;
    noted_ = is_early;
    return info_.result;
}

uint32_t played_daemon::cancel()
{
    info_.cancel = 1;
    if (info_.running == 0)
        return FTPCD_ERR_NOT_RUNNING;
    end_job(FTPCD_ERR_CANCELED);
    return 0;
}

void played_daemon::let_job_end()
{
    job_.lasts_ms = 0;
    advance();
}

void played_daemon::end_job(uint32_t result)
{
    info_.running = 0;
    info_.result = result;
    if (result == FTPCD_ERR_CANCELED)
        return;
    exec_.transferred_size = job_.transferred < 0 ? job_.total : job_.transferred;
    exec_.curl_code = job_.curl_code;
    exec_.response_code_type = RESPONSE_CODE_FTP;
    exec_.response_code = job_.response_code;
    if (info_.exec == JOB_DL_FILE_INFO)
        file_ = job_.found;
    if (job_.when_done)
        job_.when_done();
}

// The worker: brings the job up to the present time.
void played_daemon::advance()
{
    if (info_.running == 0)
        return;
    const std::chrono::duration<double> elapsed = clock_t::now() - began_;
    const double whole = job_.lasts_ms / 1000.0;
    exec_.total_size = job_.total;
    exec_.retry_count = job_.retries;
    if (info_.exec != JOB_DL_FILE_INFO) // a look-up shows no progress
        exec_.elapsed_time = std::min(elapsed.count(), whole);
    if (elapsed.count() >= whole)
        end_job(job_.result);
    else if (job_.transferred_at_once > 0)
        exec_.transferred_size = job_.transferred_at_once;
    else if (job_.moves)
        exec_.transferred_size = job_.total * elapsed.count() / whole;
}

state_reply_t played_daemon::state() const { return {{0, 0}, info_, exec_}; }
