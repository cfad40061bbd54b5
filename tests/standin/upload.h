// One upload of the feeder stand-in: a thread that copies a file at a chosen rate.
#pragma once

#include <cstdint>

struct upload_t;

// What is uploaded, and where to. Nothing of it is needed once upload_start has returned.
struct upload_job_t {
    const char *local_path;
    const char *root;      // directory that plays the server
    const char *directory; // below root
    bool overwrite;        // a file of that name may be there already
    uint64_t rate_bytes_s; // 0 = as fast as it goes
};

struct upload_progress_t {
    uint64_t copied_bytes;
    uint64_t size_bytes; // of the local file
    int state;           // ZIXI_STATE_UPLOADING while the thread copies
    int error;           // zixi_error that ended it; 0 = none
};

// Starts an upload: 0, and *upload until upload_end; else a zixi_error, and nothing is left behind.
int upload_start(const upload_job_t &job, upload_t **upload);

upload_progress_t upload_progress(upload_t *upload);

// Stops the thread, waits for it (50 ms, or one byte's time at rates below 20 bytes a second) and releases
// the upload. The file gets its name when the whole of it has been copied; before, nothing of it stays.
void upload_end(upload_t *upload);
