// The speed and remaining time of an upload, logged once a second.
#pragma once

#include <cstdint>

struct zixif_progress_t {
    int64_t previous_ms;      // time of the last sample; initially, the start of the upload
    int64_t elapsed_ms;       // since the upload began
    uint64_t reference_bytes; // the start value for the next sample's speed
};

// Takes a sample at `now_ms` and logs it. Accepts any numbers, because the library may report anything and
// the clock may be set.
void zixif_progress_sample(zixif_progress_t *progress, uint64_t sent_bytes, uint64_t total_bytes,
                           int64_t now_ms);
