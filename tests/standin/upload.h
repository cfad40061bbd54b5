// One upload of the feeder stand-in: a thread that copies a file at a chosen rate.
#pragma once

#include <cstdint>

struct upload_t;

// An upload to start. Not used any more once upload_start has returned.
struct upload_job_t {
    const char *local_path;
    const char *root;      // directory that stands for the server
    const char *directory; // below root
    bool overwrite;        // an existing file may be replaced
    uint64_t rate_bytes_s; // 0 = no limit
};

struct upload_progress_t {
    uint64_t copied_bytes;
    uint64_t size_bytes; // of the local file
    int state;           // ZIXI_STATE_UPLOADING while the thread copies
    int error;           // zixi_error that ended it; 0 = none
};

// Starts an upload. Returns 0, and *upload is valid until upload_end; or a zixi_error, and nothing is left.
int upload_start(const upload_job_t &job, upload_t **upload);

upload_progress_t upload_progress(upload_t *upload);

// Stops the thread, waits for it (50 ms, or one byte's time at rates below 20 bytes a second) and frees the
// upload. Only a completely copied file gets its name; otherwise nothing of it stays.
void upload_end(upload_t *upload);
