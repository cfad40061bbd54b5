#include "callbacks_bench.h"

#include "require.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>

uint8_t dice_t::byte()
{
    if (left_.empty())
        return 0;
    const uint8_t first = left_.front();
    left_ = left_.subspan(1);
    return first;
}

uint32_t dice_t::word()
{
    uint32_t word = 0;
    for (int i = 0; i < 4; i++)
        word = word << 8 | byte();
    return word;
}

std::string dice_t::text(size_t bytes)
{
    const auto taken = left_.first(std::min(bytes, left_.size()));
    left_ = left_.subspan(taken.size());
    return {taken.begin(), taken.end()};
}

bool shown_t::operator==(const shown_t &other) const
{
    return error == other.error && total_size == other.total_size &&
           transferred_size == other.transferred_size && elapsed_time == other.elapsed_time &&
           last_updated_time == other.last_updated_time && timed_out == other.timed_out &&
           memcmp(&remote_file, &other.remote_file, sizeof remote_file) == 0;
}

static constexpr job_engine_t SILENT = {nullptr,  unjoined_t::forgotten, "not recursive", "lock", "unlock",
                                        "create", "not started",         nullptr,         "join"};
curl_job_t job_;

bench_t::bench_t(std::span<const uint8_t> input) : dice(input)
{
    job_ = {{.engine = &SILENT}};
    job_init(&job_);
    told_time_ = {};
    logged();
}

void bench_t::check()
{
    const exec_info_t &exec_info = job_.record.exec_info;
    const shown_t shown = {handle.error,           exec_info.total_size,      exec_info.transferred_size,
                           exec_info.elapsed_time, timeout.last_updated_time, timeout.timed_out,
                           job_.record.remote_file};
    require(logged() == log, "what is logged is what must be");
    log.clear();
    require(shown == expected, "what is stored is what must be");
    require(timeout.last_amount == last_amount, "the amount last seen is kept");
    require(handle.callback_aborted_logged == callback_aborted_logged, "a callback's abort is logged once");
    require(handle.operation_timed_out == operation_timed_out, "libcurl's time-out is noted");
    require(handle.curl == nullptr && handle.curl_code == 0 && handle.response_code == 0 &&
                handle.response_code_type == 0 && handle.total_time == 0 && handle.resume == 0 &&
                handle.resume_offset == 0 && handle.list_info == nullptr && handle.list_borrowed == 0 &&
                handle.connect_only == 0 && handle.proxy_type == 0 && handle.spare == 0,
            "nothing else of the handle is touched");
}

void bench_t::expect_error_line(const char *id, const std::string &text)
{
    log.push_back("error: " + std::string(id) + ": " + text + "\n");
}

void bench_t::refuses(const char *id, const char *text, bool answers_right)
{
    expect_error_line(id, text);
    require(answers_right, text);
}

void bench_t::expect_errno_line(const char *id, int number)
{
    expect_error_line(id, "errno(" + std::to_string(number) + ") " + strerror(number));
}

void bench_t::expect_info_line(const char *id, const std::string &text)
{
    log.push_back(std::string(id) + ": " + text + "\n");
}

// The callbacks ask libcurl only for the elapsed time.
extern "C" CURLcode __wrap_curl_easy_getinfo(CURL *, int info, ...)
{
    require(info == CURLINFO_TOTAL_TIME, "no callback asks libcurl for anything else");
    va_list arguments;
    va_start(arguments, info);
    double *seconds = va_arg(arguments, double *);
    va_end(arguments);
    if (!told_time_.known)
        return CURLE_BAD_FUNCTION_ARGUMENT;
    *seconds = told_time_.seconds;
    return CURLE_OK;
}
