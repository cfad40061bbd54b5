#include "ftpctl/text.h"

#include "ftpctl/statuses.h"

#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <ctime>

static std::string format(const char *pattern, ...) __attribute__((format(printf, 1, 2)));

static std::string format(const char *pattern, ...)
{
    char text[256];
    va_list arguments;
    va_start(arguments, pattern);
    vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

static void add(std::string &list, const std::string &item) { list += ", " + item; }

static bool is_in(int32_t value, int32_t low, int32_t high) { return value >= low && value <= high; }

static bool has_day(const ftpclient_file_info_t &file)
{
    return is_in(file.month, 1, 12) && is_in(file.day, 1, 31);
}

// Some servers send hours past midnight.
static bool has_time(const ftpclient_file_info_t &file)
{
    return is_in(file.hour, 0, 36) && is_in(file.minute, 0, 59);
}

static std::string date(const ftpclient_file_info_t &file)
{
    std::string text;
    if (has_day(file)) {
        const std::string year = is_in(file.year, 1, 9999) ? format("%04d-", file.year) : "";
        text += ", " + year + format("%02d-%02d", file.month, file.day);
    }
    return has_time(file) ? text + format(" %02d:%02d", file.hour, file.minute) : text;
}

static std::string retries(const ftpclient_progress_t &progress)
{
    return format("%d ", progress.retries) + (progress.retries == 1 ? "retry" : "retries");
}

std::string text_size(double bytes)
{
    constexpr std::array UNITS = {"B", "kB", "MB", "GB", "TB", "PB", "EB"};
    if (!(bytes >= 1000))
        return format("%.0f B", bytes > 0 ? bytes : 0);
    size_t unit = 0;
    while (bytes >= 999.95 && unit + 1 < UNITS.size()) { // 999.95 would print as 1000.0
        bytes /= 1000;
        unit++;
    }
    return format("%.1f %s", bytes, UNITS[unit]);
}

std::string text_duration(double seconds)
{
    const auto whole = seconds > 0 && seconds < 1e9 ? lround(seconds) : 0;
    if (whole < 3600)
        return format("%ld:%02ld", whole / 60, whole % 60);
    return format("%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
}

std::string text_job(int job, const char *other)
{
    const char *word = job == FTPCLIENT_FILE_INFO ? "file information" : text_job_word(job);
    return word != nullptr ? word : other;
}

const char *text_job_word(int job)
{
    constexpr std::array<const char *, 4> WORDS = {nullptr, "download", "upload", "info"}; // by ftpclient_job
    return job >= 0 && static_cast<size_t>(job) < WORDS.size() ? WORDS[static_cast<size_t>(job)] : nullptr;
}

int text_job_of(const ftpclient_notice_t &notice)
{
    constexpr int JOBS[] = {FTPCLIENT_DOWNLOAD, FTPCLIENT_UPLOAD, FTPCLIENT_FILE_INFO, FTPCLIENT_NO_JOB};
    return JOBS[notice.code];
}

bool text_is_zixi(const ftpclient_progress_t &progress)
{
    return progress.response_type == FTPCLIENT_RESPONSE_ZIXI;
}

std::string text_amount(const ftpclient_progress_t &progress)
{
    const auto done = static_cast<long long>(progress.transferred_bytes);
    const auto total = static_cast<long long>(progress.total_bytes);
    const std::string text =
        total > 0 ? format("%lld of %lld bytes", done, total) : format("%lld bytes", done);
    return text + format(" in %.1f s", static_cast<double>(progress.elapsed_ms) / 1000);
}

std::string text_outcome(const ftpclient_progress_t &progress)
{
    const std::string text = text_amount(progress);
    return progress.retries > 0 && !text_is_zixi(progress) ? text + ", " + retries(progress) : text;
}

std::string text_details(int result, const ftpclient_progress_t &progress)
{
    std::string text = format("%s %d", ftpclient_result_name(result), result);
    if (text_is_zixi(progress)) {
        if (progress.zixi_error != 0)
            add(text, format("Zixi error %d", progress.zixi_error));
        return text;
    }
    if (progress.curl_code != 0)
        add(text, format("libcurl code %d", progress.curl_code));
    if (progress.curl_code != 0 &&
        is_in(progress.response_type, FTPCLIENT_RESPONSE_FTP, FTPCLIENT_RESPONSE_HTTP) &&
        progress.response_code != 0)
        add(text, format("server answered %d", progress.response_code));
    if (progress.retries > 0)
        add(text, retries(progress));
    return text;
}

std::string text_result(int result, const ftpclient_progress_t &progress)
{
    if (result == FTPCLIENT_RESULT_NONE)
        return "done";
    const int status = status_of(result, ftpclient_cause_of(result, &progress));
    return status_sentence(status, text_details(result, progress));
}

std::string text_state(const ftpclient_state_t &state)
{
    if (text_job_word(state.job) == nullptr)
        return "idle, no job since the daemon started";
    if (state.running != 0)
        return (state.cancelled != 0 ? "cancelling: " : "running: ") + text_job(state.job) + ", " +
               text_outcome(state.progress);
    return "idle, last job: " + text_job(state.job) + ", " + text_amount(state.progress) + ", " +
           text_result(state.result, state.progress);
}

std::string text_remote_file(const std::string &name, const ftpclient_file_info_t &file)
{
    if (file.exists == 0)
        return name +
               (file.looked_up != 0 ? ": no such file" : ": not listed as a file, perhaps a folder or link");
    std::string text = name + ": ";
    text +=
        file.size_bytes < 0 ? "size unknown" : format("%lld bytes", static_cast<long long>(file.size_bytes));
    text += date(file);
    const std::string permissions = text_permissions(file);
    return permissions.empty() ? text : text + ", " + permissions;
}

// 0x644 is rw-r--r--. The digit left of the three (setuid and the like) is added as a number.
std::string text_permissions(const ftpclient_file_info_t &file)
{
    std::string text;
    if (file.attributes < 0)
        return text;
    for (int bit = 10; bit >= 0; bit--) {
        if (bit % 4 != 3)
            text += (file.attributes >> bit & 1) != 0 ? "xwr"[bit % 4] : '-';
    }
    const int32_t special = file.attributes >> 12 & 0xF;
    return special == 0 ? text : text + format(" (special bits %x)", static_cast<unsigned>(special));
}

std::string text_iso_time(const ftpclient_file_info_t &file)
{
    if (!has_day(file) || !is_in(file.year, 1, 9999))
        return "";
    const std::string day = format("%04d-%02d-%02d", file.year, file.month, file.day);
    return has_time(file) ? day + format("T%02d:%02d", file.hour, file.minute) : day;
}

std::string text_now()
{
    const time_t now = time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}
