#include "ftpctl/progress_text.h"

#include "ftpctl/text.h"

#include <algorithm>
#include <cmath>

static constexpr double WINDOW_S = 5;
static constexpr double LINE_S = 1;
static constexpr double LINE_PERCENT = 10;
static constexpr size_t BAR_MAX = 40;
static constexpr size_t BAR_MIN = 10;

static double real(int64_t bytes) { return static_cast<double>(bytes); }

// 0 to 100; -1 while the total is unknown.
static double percent_of(const ftpclient_progress_t &progress)
{
    if (progress.total_bytes < 1)
        return -1;
    return std::clamp(real(progress.transferred_bytes) / real(progress.total_bytes) * 100, 0.0, 100.0);
}

void rate_meter::sample(double now_s, int64_t bytes)
{
    if (!samples_.empty() && bytes < samples_.back().bytes)
        samples_.clear(); // a new try
    samples_.push_back({now_s, bytes});
    while (samples_.size() > 2 && samples_[1].at_s <= now_s - WINDOW_S)
        samples_.pop_front();
}

double rate_meter::bytes_per_s() const
{
    if (samples_.size() < 2 || samples_.back().at_s <= samples_.front().at_s)
        return 0;
    return real(samples_.back().bytes - samples_.front().bytes) /
           (samples_.back().at_s - samples_.front().at_s);
}

bool line_pace::is_due(double now_s, const ftpclient_progress_t &progress)
{
    if (!last_s_)
        last_s_ = now_s;
    const double percent = percent_of(progress);
    last_percent_ = std::min(last_percent_, std::max(percent, 0.0)); // a new try begins below the last line
    const bool has_moved =
        percent >= 0 ? percent - last_percent_ >= LINE_PERCENT : progress.transferred_bytes != last_bytes_;
    if (now_s - *last_s_ < LINE_S || !has_moved)
        return false;
    last_s_ = now_s;
    last_percent_ = std::max(percent, 0.0);
    last_bytes_ = progress.transferred_bytes;
    return true;
}

std::string progress_amount(const ftpclient_progress_t &progress)
{
    const std::string done = text_size(real(progress.transferred_bytes));
    return progress.total_bytes > 0 ? done + " of " + text_size(real(progress.total_bytes)) : done;
}

std::string progress_line(const ftpclient_progress_t &progress, double bytes_per_s)
{
    const double percent = percent_of(progress);
    std::string text;
    if (percent >= 0) // rounded down: 100 only when it is complete
        text += std::to_string(static_cast<int>(percent)) + " %, ";
    text += progress_amount(progress);
    if (bytes_per_s > 0)
        text += ", " + text_size(bytes_per_s) + "/s";
    if (bytes_per_s > 0 && percent >= 0 && percent < 100)
        text += ", " + text_duration(real(progress.total_bytes - progress.transferred_bytes) / bytes_per_s) +
                " left";
    if (progress.retries > 0)
        text += ", retry " + std::to_string(progress.retries);
    return text;
}

std::string progress_bar(const ftpclient_progress_t &progress, double bytes_per_s, size_t width)
{
    const std::string line = progress_line(progress, bytes_per_s);
    const size_t room = width > line.size() + 3 ? width - line.size() - 3 : 0; // the brackets and a blank
    if (room < BAR_MIN)
        return line.substr(0, width);
    const size_t length = std::min(room, BAR_MAX);
    const double percent = std::max(percent_of(progress), 0.0);
    const auto full = static_cast<size_t>(std::floor(percent / 100 * static_cast<double>(length)));
    std::string bar(1, '[');
    return bar.append(full, '#').append(length - full, '.').append("] ").append(line);
}
