#include "ftpspool/attempt.h"

#include "ftpctl/failure.h"
#include "ftpctl/job.h"
#include "ftpctl/local_file.h"
#include "ftpctl/text.h"
#include "ftpspool/file_identity.h"
#include "ftpspool/upload_job.h"

#include <cerrno>

static void check_size(const entry_t &entry, const file_identity_t &file)
{
    if (file.size_bytes < entry.size_bytes)
        throw failure(STATUS_LOCAL, entry.source() + ": has " + std::to_string(file.size_bytes) +
                                        " bytes, but had " + std::to_string(entry.size_bytes) +
                                        " when it was added");
}

attempt_t::attempt_t(const ftpclient_t *client, const std::string &socket, const entry_t &entry)
    : entry_(entry), options_(upload_options(entry, socket)), place_(upload_place(options_))
{
    file_check_upload(entry.source());
    const file_identity_t file = file_identify(entry.source());
    check_size(entry, file);
    identity_ = file.text;
    // Append only if both the local file and the remote place are the same as before.
    options_.resume = options_.resume && entry.identity == identity_ && entry.place == place_;
    job_ = upload_job(options_, entry_);
    upload_log_in(job_, options_);
    ftpclient_call_t *call = nullptr;
    begun_ = ftpclient_begin_run(client, FTPCLIENT_UPLOAD, job_.request.get(), -1, &call);
    call_ = call_t(call);
}

// Only in the transfer phase does the progress belong to the upload.
void attempt_t::look()
{
    ftpclient_state_t state = {};
    if (options_.resume || has_begun_file_ || ftpclient_call_phase(call_.get()) != FTPCLIENT_PHASE_TRANSFER ||
        ftpclient_call_state(call_.get(), &state, sizeof state) != FTPCLIENT_OK)
        return;
    has_begun_file_ = state.running != 0 && state.progress.transferred_bytes > 0;
}

bool attempt_t::step()
{
    const int code = begun_ == FTPCLIENT_OK ? ftpclient_call_finish(call_.get()) : begun_;
    if (code == FTPCLIENT_PENDING) {
        look();
        return false;
    }
    settle(code);
    return true;
}

void attempt_t::stop()
{
    is_stopped_ = true;
    ftpclient_call_stop(call_.get());
}

// If the file changed during the upload, the success does not count.
void attempt_t::check_arrival()
{
    if (file_is_still(entry_.source(), identity_))
        return;
    end_.status = STATUS_DIFFERENT;
    end_.message = entry_.source() + ": has changed while it was sent";
    end_.verdict = verdict_of(STATUS_DIFFERENT);
}

static bool keeps_beginning(const ftpclient_outcome_t &outcome, int code, bool was_whole)
{
    if (code == FTPCLIENT_ERR_NO_RESUME || code == FTPCLIENT_ERR_DIFFERENT ||
        code == FTPCLIENT_ERR_UNKNOWN_OUTCOME || outcome.may_be_spoiled != 0)
        return false;
    return !was_whole || outcome.progress.transferred_bytes > 0;
}

static std::string line_of(const ftpclient_outcome_t &outcome)
{
    if (outcome.upload == FTPCLIENT_UPLOAD_NOTHING)
        return "all " + std::to_string(outcome.local_bytes) + " bytes were there already";
    const std::string line = text_outcome(outcome.progress);
    return outcome.upload == FTPCLIENT_UPLOAD_REST
               ? line + ", appended to the " + std::to_string(outcome.resumed_bytes) + " bytes already there"
               : line;
}

void attempt_t::settle(int code)
{
    const int kept = errno;
    ftpclient_outcome_t outcome = {};
    ftpclient_call_outcome(call_.get(), &outcome, sizeof outcome);
    end_.bytes = outcome.progress.transferred_bytes;
    if (code == FTPCLIENT_OK) {
        end_.message = line_of(outcome);
        check_arrival();
        return;
    }
    end_.resumable = options_.verify && keeps_beginning(outcome, code, !options_.resume && !has_begun_file_);
    // Suppresses the advice of ftpctl about --resume: the service resumes without being asked.
    outcome.may_be_spoiled = 0;
    outcome.resumed_bytes = 0;
    errno = kept;
    const failure why = job_failure(options_, job_, code, outcome);
    end_.status = why.status;
    end_.message = why.what();
    end_.verdict = verdict_of(why.status);
    end_.stopped = is_stopped_;
}
