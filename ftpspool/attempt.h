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
    // Begins; step() is to be called at once. `client` must outlive the try. Reads the file's state, the
    // profile and password files: blocks on the disk. Throws failure for what makes the entry fail at once:
    // no local file or a shorter one than when it was added, a refused name, no password, a profile that is
    // wrong or gone; and for a credential that is missing, which may pass (verdict.h).
    attempt_t(const ftpclient_t *client, const std::string &socket, const entry_t &entry);

    const entry_t &entry() const { return entry_; }

    // Of the local file at the start (file_identity.h).
    const std::string &identity() const { return identity_; }

    // Where the file is sent to (upload_job.h).
    const std::string &place() const { return place_; }

    // Readable (poll) when step() has something to do.
    int fd() const { return ftpclient_call_fd(call_.get()); }

    // Goes on as far as it can without waiting; true at the end. Throws nothing: failures are in end().
    bool step();

    // True once the whole file is being sent and bytes have moved: from then on the remote file is a
    // beginning of it.
    bool has_begun_file() const { return has_begun_file_; }

    // Ends the try early; step() returns true when it has ended.
    void stop();

    // Valid after the end.
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
