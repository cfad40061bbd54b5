// The server behind a played daemon: one remote file and how jobs change it.
#pragma once

#include "played_daemon.h"

#include <sys/stat.h>

struct played_server {
    int64_t size = -1;           // of the remote file; -1: no file
    bool is_link = false;        // listed as a link
    bool tells_size = true;      // in its listings
    bool ignores_append = false; // overwrites the beginning, as some SFTP servers do
    int64_t too_much = 0;        // bytes added to each upload
    int lasts_ms = 0;            // each upload and download
    std::function<void(played_job_t &, uint32_t command, const transfer_request_t &)> twist;

    played_daemon::plan_t plan()
    {
        return [this](uint32_t command, const transfer_request_t &request) {
            played_job_t job = command == COMMAND_UPLOAD     ? upload(request)
                               : command == COMMAND_DOWNLOAD ? download()
                                                             : look_up();
            if (twist)
                twist(job, command, request);
            return job;
        };
    }

private:
    played_job_t upload(const transfer_request_t &request)
    {
        struct stat local = {};
        played_job_t job;
        if (stat(request.local_path, &local) != 0) {
            job.result = FTPCD_ERR_LOCAL_READ;
            return job;
        }
        const int64_t before = request.resume != 0 && size > 0 ? size : 0;
        job.total = double(local.st_size - before);
        job.lasts_ms = lasts_ms;
        job.response_code = 226;
        job.when_done = [this, before, whole = local.st_size] {
            size = (before > 0 && ignores_append ? std::max(before, whole - before) : whole) + too_much;
        };
        return job;
    }
    played_job_t download() const
    {
        played_job_t job;
        job.total = double(size);
        job.lasts_ms = lasts_ms;
        job.response_code = 226;
        return job;
    }
    played_job_t look_up() const
    {
        played_job_t job;
        job.response_code = 226;
        if (is_link)
            return job;
        job.found = {1, size >= 0, size < 0 ? 0 : tells_size ? size : -1, 2012, 12, 31, 23, 59, 0x755, 0, 0};
        return job;
    }
};
