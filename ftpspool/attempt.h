// One try to send an entry.
#pragma once

#include "ftpctl/handles.h"
#include "ftpctl/options.h"
#include "ftpctl/request.h"
#include "ftpspool/entry.h"
#include "ftpspool/verdict.h"

#include <cstdint>
#include <string>

// How a try ended.
struct attempt_end_t {
    int status = 0; // an exit status of ftpctl: 0 when the server has the whole file
    std::string message;
    verdict_t verdict = verdict_t::FINAL; // of a failure
    bool stopped = false;                 // by stop(): no failure of the entry
    bool resumable = false;               // the remote file holds the beginning of the local one
    int64_t bytes = 0;                    // sent by this try
};

class attempt_t
{
public:
    // Begins the try; call step() at once. `client` must outlive the try. Blocks on the disk, to read the
    // file's attributes, the profile and the password files. Throws failure if the local file is missing or
    // shorter than when it was added, a name is refused, there is no password, the profile is invalid or
    // gone, or a credential is missing. Only the last of these may pass (verdict.h).
    attempt_t(const ftpclient_t *client, const std::string &socket, const entry_t &entry);

    const entry_t &entry() const { return entry_; }

    // The identity of the local file at the start (file_identity.h).
    const std::string &identity() const { return identity_; }

    // Where the file is sent to (upload_job.h).
    const std::string &place() const { return place_; }

    // Readable (poll) when step() has something to do.
    int fd() const { return ftpclient_call_fd(call_.get()); }

    // Continues as far as possible without waiting; true once the try has ended. Throws nothing: failures are
    // in end().
    bool step();

    // True once an upload of the whole file has moved bytes: from then on the remote file is the beginning of
    // the local one.
    bool has_begun_file() const { return has_begun_file_; }

    // Ends the try early; step() returns true when it has ended.
    void stop();

    // Valid once step() has returned true.
    const attempt_end_t &end() const { return end_; }

private:
    entry_t entry_;
    options_t options_;
    std::string identity_;
    std::string place_;
    job_t job_;
    call_t call_;
    attempt_end_t end_;
    int begun_ = FTPCLIENT_OK;
    bool has_begun_file_ = false;
    bool is_stopped_ = false;

    void look();
    void settle(int code);
    void check_arrival();
};
