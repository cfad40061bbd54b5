// A running job as one line. Pure functions and small counters; nothing here uses a clock or a terminal.
#pragma once

#include "libftpclient/ftpclient.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <string>

// Bytes per second over the last seconds.
class rate_meter
{
public:
    // `bytes` is the total at `now_s`, in seconds of a monotonic clock. A smaller total than before starts a
    // new measurement.
    void sample(double now_s, int64_t bytes);
    // The average over the last 5 s; 0 while unknown.
    double bytes_per_s() const;

private:
    struct sample_t {
        double at_s;
        int64_t bytes;
    };
    std::deque<sample_t> samples_;
};

// Decides when a plain line is due: at least a second after the previous one, and after 10 % more, or any
// progress while the total is unknown.
class line_pace
{
public:
    // True when a line for `progress` is due at `now_s`, in seconds of a monotonic clock; counts it
    // as printed then.
    bool is_due(double now_s, const ftpclient_progress_t &progress);

private:
    std::optional<double> last_s_; // time of the last line, or of the start
    double last_percent_ = 0;
    int64_t last_bytes_ = 0;
};

// "2.3 GB of 5.0 GB"; "2.3 GB" while the total is unknown.
std::string progress_amount(const ftpclient_progress_t &progress);

// "45 %, 2.3 GB of 5.0 GB, 98.1 MB/s, 0:27 left, retry 1", as far as known. A rate of 0 means unknown.
std::string progress_line(const ftpclient_progress_t &progress, double bytes_per_s);

// The same after "[#####.....] ", truncated to `width` columns.
std::string progress_bar(const ftpclient_progress_t &progress, double bytes_per_s, size_t width);
