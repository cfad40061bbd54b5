// A record with its URL set, before its perform.
#pragma once

#include "fake_parser.h"
#include "record.h"
#include "support/failing_heap.h"
#include "support/not_copied.h"

#include <gtest/gtest.h>

class job_t : not_copied
{
public:
    fake_parser parser;
    record_t rec;
    fake_curl &curl = rec.fake;
    lines entries; // names passed to the list callback
    int stop_with = 0;
    int failing_allocation = 0; // in perform; 0 = none

    explicit job_t(const char *url)
    {
        curl_e_setopt_url(&rec, url);
        forget();
    }
    ~job_t()
    {
        curl_e_cleanup(&rec);
        logged(); // a test that is not about the log
    }

    void list()
    {
        curl_e_setopt_listfunc_data(&rec, cb_entry, this);
        forget();
    }
    void sends(const std::string &data, CURLcode code = CURLE_OK)
    {
        curl.will_perform([this, data, code] {
            EXPECT_EQ(curl.deliver(data), data.size());
            return code;
        });
    }
    // The connect pass of SFTP.
    void logs_in(const char *directory, double seconds)
    {
        curl.will_perform([this, directory, seconds] {
            curl.tell(CURLINFO_FTP_ENTRY_PATH, directory);
            curl.tell(CURLINFO_TOTAL_TIME, seconds);
            return CURLE_OK;
        });
    }
    void perform()
    {
        const failing_heap heap(failing_allocation);
        curl_e_perform(&rec);
    }
    void expect_result(int curl_code, int error)
    {
        EXPECT_EQ(rec.curl_code, curl_code);
        EXPECT_EQ(rec.error, error);
    }
    void expect_nothing_left()
    {
        EXPECT_EQ(rec.connect_only, 0);
        if (rec.list_info == nullptr)
            return;
        EXPECT_EQ(rec.list_info->tmp, nullptr);
        EXPECT_EQ(rec.list_info->pattern, nullptr);
    }

private:
    void forget()
    {
        curl.calls();
        logged();
    }
    static int cb_entry(list_info_t *entry, void *context, int)
    {
        auto *self = static_cast<job_t *>(context);
        self->entries.emplace_back(entry->name);
        return self->stop_with;
    }
};

// Makes a job fail.
using preparation = std::function<void(job_t &)>;

inline preparation refuse(int nth, CURLcode code)
{
    return [=](job_t &job) { job.curl.refuse(nth, code); };
}
inline preparation withhold(CURLINFO info, int nth = 1)
{
    return [=](job_t &job) { job.curl.withhold(info, CURLE_UNKNOWN_OPTION, nth); };
}
inline preparation fail_unescape(int nth)
{
    return [=](job_t &job) { job.curl.fail_unescape(nth); };
}
inline preparation fail_allocation(int nth)
{
    return [=](job_t &job) { job.failing_allocation = nth; };
}

// A failure before the transfer: its cause and what must come of it.
struct failure_t {
    preparation prepare;
    int curl_code;
    int error;
    lines calls;
    lines log;
};

inline void expect_failure(job_t &job, const failure_t &expected)
{
    job.perform();
    job.expect_result(expected.curl_code, expected.error);
    EXPECT_EQ(job.curl.calls(), expected.calls);
    EXPECT_EQ(logged(), expected.log);
    EXPECT_EQ(job.rec.response_code, 0);
    job.expect_nothing_left();
}

inline constexpr char SET_UP[] = "curl_wrapper(311): Setup to directory listening.\n";
