// The progress callbacks, against a model.
#include "callbacks_bench.h"
#include "require.h"
#include "wire/result_codes.h"

#include <climits>
#include <cmath>

told_time_t told_time_;

static constexpr double LIMIT_BYTES = 4096;

// Amounts near the callback's limits.
static double amount_from(bench_t *bench)
{
    const double last = bench->last_amount;
    const double near_by[] = {0, LIMIT_BYTES, LIMIT_BYTES + 1, last, last + 1, last < 1 ? 0 : last - 1};
    const unsigned drawn = bench->dice.byte() % 9U;
    if (drawn < std::size(near_by))
        return near_by[drawn];
    if (drawn == 6)
        return last + bench->dice.byte() / 64.0;
    return drawn == 7 ? bench->dice.byte() : bench->dice.word() * 4096.0;
}

static void arrange_time(bench_t *bench)
{
    told_time_.known = !bench->dice.one_in(8);
    told_time_.seconds = bench->dice.byte() / 16.0;
    told_time_.seconds += bench->dice.byte() * 16;
}

static std::string whole(double value)
{
    const bool fits = value < static_cast<double>(LONG_MAX);
    return std::to_string(fits ? static_cast<long>(std::trunc(value)) : LONG_MAX);
}

static bool expect_size_limit(bench_t *bench, double total, double now)
{
    if (!(total > LIMIT_BYTES && now > 0) && !(now > LIMIT_BYTES))
        return false;
    if (bench->expected.error == 0)
        bench->expect_error_line("curl_func(1569)", "Download file size limit exceeded. size:" + whole(now) +
                                                        " of " + whole(total) + ", limit: 4096");
    bench->expected.error = FTPCD_ERR_SIZE_LIMIT;
    return true;
}

static bool expect_idle_limit(bench_t *bench, double elapsed_s)
{
    shown_t &expected = bench->expected;
    const int32_t limit_s = bench->timeout.connection_limit;
    if (limit_s <= 0 || !(elapsed_s - expected.last_updated_time > limit_s))
        return false;
    if (expected.error == 0)
        bench->expect_error_line("curl_func(1619)", "Timeout has occurred: [elapsed_time] " +
                                                        whole(elapsed_s) + ", [last_updated_time] " +
                                                        whole(expected.last_updated_time));
    expected.timed_out = 1;
    expected.error = FTPCD_ERR_TIMEOUT;
    return true;
}

static bool expect_cancel(bench_t *bench)
{
    if (job_.record.module_info.cancel == 0)
        return false;
    bench->expected.error = FTPCD_ERR_CANCELED;
    return true;
}

static bool expect_active(const bench_t *bench, double total, double now)
{
    const bool moved = !(now > bench->last_amount - 1 && now < bench->last_amount + 1);
    return moved || (total > 0 && now >= total);
}

// Whether the inactivity limit must abort the call; `abort`: the size limit does.
static bool expect_time(bench_t *bench, bool active, bool abort)
{
    if (!told_time_.known) {
        bench->log.push_back(
            "error: curl_wrapper(1763): curl_easy_getinfo(CURLINFO_TOTAL_TIME): Failed(43)\n");
        return false;
    }
    if (told_time_.seconds > 0)
        bench->expected.elapsed_time = told_time_.seconds;
    if (active) {
        bench->expected.last_updated_time = told_time_.seconds;
        return false;
    }
    return !abort && expect_idle_limit(bench, told_time_.seconds);
}

// Whether a call with these amounts in the job's direction must abort.
static bool expect_progress(bench_t *bench, uint32_t kind, double total, double now)
{
    if (kind != JOB_DOWNLOAD && kind != JOB_UPLOAD) {
        expect_time(bench, true, false);
        return expect_cancel(bench);
    }
    shown_t &expected = bench->expected;
    const bool active = expect_active(bench, total, now);
    bench->last_amount = now;
    bool abort = kind == JOB_DOWNLOAD && expect_size_limit(bench, total, now);
    if (expect_time(bench, active, abort))
        abort = true;
    if (total > 0)
        expected.total_size = total;
    if (now > expected.transferred_size)
        expected.transferred_size = now;
    return expect_cancel(bench) || abort;
}

void step_progress(bench_t *bench)
{
    progress_info_t info = {&bench->handle, &job_, &bench->timeout};
    const uint32_t kind = job_.record.module_info.exec;
    const double total = amount_from(bench);
    const double now = amount_from(bench);
    const double other_total = amount_from(bench); // in the other direction
    const double other_now = amount_from(bench);
    arrange_time(bench);
    const bool aborts = expect_progress(bench, kind, total, now);
    const int result = kind == JOB_UPLOAD ? cb_progress(&info, other_total, other_now, total, now)
                                          : cb_progress(&info, total, now, other_total, other_now);
    require(result == (aborts ? 1 : 0), "progress aborts when it must, and only then");
}

void step_progress_null(bench_t *bench)
{
    if (bench->dice.one_in(8))
        return bench->refuses("curl_func(1726)", "CURLOPT_PROGRESSDATA has not been set.",
                              cb_progress_null(nullptr, 1, 1, 1, 1) == 0);
    progress_info_t info = {&bench->handle, &job_, &bench->timeout};
    const double any = amount_from(bench);
    const bool aborts = expect_cancel(bench);
    require(cb_progress_null(&info, any, any, any, any) == (aborts ? 1 : 0),
            "a cancel, and no other, aborts");
}
