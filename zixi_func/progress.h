// How fast an upload goes and how long it will take, as the log shows it once a second.
#pragma once

#include <cstdint>

struct zixif_progress_t {
    int64_t previous_ms;      // when the last sample was taken; at first, when the upload began
    int64_t elapsed_ms;       // since the upload began
    uint64_t reference_bytes; // what the next sample's speed is measured from
};

// Takes a sample at `now_ms` and logs it. Any numbers do: the library may report what it likes, and the clock
// may be set.
void zixif_progress_sample(zixif_progress_t *progress, uint64_t sent_bytes, uint64_t total_bytes,
                           int64_t now_ms);
