#include "tools/text.h"

#include "tools/result_names.h"

#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace
{

std::string format(const char *pattern, ...) __attribute__((format(printf, 1, 2)));

std::string format(const char *pattern, ...)
{
    char text[256];
    va_list arguments;
    va_start(arguments, pattern);
    vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

void add(std::string &list, const std::string &item) { list += (list.empty() ? "" : ", ") + item; }

// "rw-r--r--" from 0x644; what stands left of the three digits (setuid and its like) is added as it is.
std::string permissions(int32_t attributes)
{
    std::string text;
    for (int bit = 10; bit >= 0; bit--) {
        if (bit % 4 != 3)
            text += (attributes >> bit & 1) != 0 ? "xwr"[bit % 4] : '-';
    }
    const int32_t special = attributes >> 12 & 0xF;
    return special == 0 ? text : text + format(" (special bits %x)", static_cast<unsigned>(special));
}

bool is_in(int32_t value, int32_t low, int32_t high) { return value >= low && value <= high; }

std::string date(const remote_file_t &file)
{
    std::string text;
    if (is_in(file.month, 1, 12) && is_in(file.day, 1, 31)) {
        const std::string year = is_in(file.year, 1, 9999) ? format("%04d-", file.year) : "";
        text += ", " + year + format("%02d-%02d", file.month, file.day);
    }
    if (is_in(file.hour, 0, 36) && is_in(file.minute, 0, 59))
        text += format(" %02d:%02d", file.hour, file.minute);
    return text;
}

} // namespace

int64_t text_bytes(double bytes) { return bytes >= 0 && bytes < 9e18 ? llround(bytes) : 0; }

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

const char *text_job_kind(uint32_t exec)
{
    switch (exec) {
    case JOB_DOWNLOAD:
        return "download";
    case JOB_UPLOAD:
        return "upload";
    case JOB_DL_FILE_INFO:
        return "file information";
    default:
        return "no job";
    }
}

std::string text_details(const exec_info_t &info)
{
    std::string text;
    if (info.response_code_type == TEXT_ZIXI_RESPONSE_CODE_TYPE) {
        if (info.zixi_error != 0)
            add(text, format("Zixi error %d", static_cast<int32_t>(info.zixi_error)));
        return text;
    }
    if (info.curl_code != 0)
        add(text, format("libcurl code %u", info.curl_code));
    if (info.curl_code != 0 && info.response_code_type != RESPONSE_CODE_OTHER && info.response_code != 0)
        add(text, format("server answered %u", info.response_code));
    if (info.retry_count != 0)
        add(text, format("%u ", info.retry_count) + (info.retry_count == 1 ? "retry" : "retries"));
    return text;
}

std::string text_outcome(const exec_info_t &info)
{
    const auto done = static_cast<long long>(text_bytes(info.transferred_size));
    const auto total = static_cast<long long>(text_bytes(info.total_size));
    std::string text = total > 0 ? format("%lld of %lld bytes", done, total) : format("%lld bytes", done);
    text += format(" in %.1f s", info.elapsed_time);
    const std::string details = text_details(info);
    return details.empty() ? text : text + ", " + details;
}

std::string text_state(const module_info_t &module_info, const exec_info_t &exec_info)
{
    if (module_info.exec == JOB_NONE)
        return "idle, no job since the daemon started";
    const std::string kind = text_job_kind(module_info.exec);
    if (module_info.running != 0)
        return (module_info.cancel != 0 ? "cancelling: " : "running: ") + kind + ", " +
               text_outcome(exec_info);
    return "idle, last job: " + kind + ", " + text_outcome(exec_info) + ", " +
           result_text(module_info.result);
}

std::string text_remote_file(const std::string &name, const remote_file_t &file)
{
    if (file.exists == 0)
        return name +
               (file.looked_up != 0 ? ": no such file" : ": not listed as a file, perhaps a folder or link");
    std::string text = name + ": ";
    text += file.size < 0 ? "size unknown" : format("%lld bytes", static_cast<long long>(file.size));
    text += date(file);
    return file.attributes < 0 ? text : text + ", " + permissions(file.attributes);
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
