#include "zixi_func/progress.h"

#include "strutil/log.h"

constexpr uint64_t BITS_A_BYTE = 8;
constexpr uint64_t BYTES_A_MB = 1000000;
constexpr uint64_t BITS_A_KBIT = 1000;
constexpr int64_t KBITS_A_MBIT = 1000;
constexpr int64_t SECONDS_A_MINUTE = 60;
constexpr int64_t MS_A_MINUTE = 60000;
constexpr int64_t UNKNOWN_MINUTES = -1;

namespace
{

struct pace_t {
    int64_t speed_kbits_s;
    int64_t remaining_minutes;
};

} // namespace

// 0 for a divisor of 0. A number that does not fit wraps around at 64 bits; nothing traps.
static int64_t quotient(uint64_t dividend, int64_t divisor)
{
    if (divisor == 0)
        return 0;
    if (divisor == -1)
        return static_cast<int64_t>(-dividend);
    return static_cast<int64_t>(dividend) / divisor;
}

static int64_t percent_of(uint64_t sent_bytes, uint64_t total_bytes)
{
    return total_bytes == 0 ? 0 : static_cast<int64_t>(sent_bytes * 100 / total_bytes);
}

static pace_t pace_of(uint64_t sent_bytes, uint64_t total_bytes, uint64_t reference_bytes,
                      int64_t interval_ms)
{
    pace_t pace = {0, UNKNOWN_MINUTES};
    if (sent_bytes == reference_bytes)
        return pace;
    pace.speed_kbits_s = quotient((sent_bytes - reference_bytes) * BITS_A_BYTE, interval_ms);
    if (pace.speed_kbits_s >= 1) {
        const uint64_t bits_s = static_cast<uint64_t>(pace.speed_kbits_s) * BITS_A_KBIT;
        const uint64_t left_bits = (total_bytes - sent_bytes) * BITS_A_BYTE;
        pace.remaining_minutes = quotient(left_bits, static_cast<int64_t>(bits_s)) / SECONDS_A_MINUTE;
    }
    return pace;
}

void zixif_progress_sample(zixif_progress_t *progress, uint64_t sent_bytes, uint64_t total_bytes,
                           int64_t now_ms)
{
    const int64_t interval_ms = now_ms - progress->previous_ms;
    progress->previous_ms = now_ms;
    progress->elapsed_ms += interval_ms;
    const pace_t pace = pace_of(sent_bytes, total_bytes, progress->reference_bytes, interval_ms);
    // The total, not the sent bytes: from the second sample on, the speed is 0 or negative until everything
    // is sent. Kept: the log line is part of the interface.
    progress->reference_bytes = total_bytes;
    // The line's numbers are ints; 2 PB and thousands of years of minutes fit.
    log_info("zixi_func(731)", "Uploaded: %d%% %dMB/%dMB Speed: %d.%3dMbps elapsed:%d[m] / remain:%d[m]",
             static_cast<int>(percent_of(sent_bytes, total_bytes)), static_cast<int>(sent_bytes / BYTES_A_MB),
             static_cast<int>(total_bytes / BYTES_A_MB), static_cast<int>(pace.speed_kbits_s / KBITS_A_MBIT),
             static_cast<int>(pace.speed_kbits_s % KBITS_A_MBIT),
             static_cast<int>(progress->elapsed_ms / MS_A_MINUTE), static_cast<int>(pace.remaining_minutes));
}
