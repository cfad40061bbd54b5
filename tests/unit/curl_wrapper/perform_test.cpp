#include "job.h"
#include "wire/job_status.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

TEST(Perform, TransfersTheUrlThatIsSet)
{
    job_t job("ftp://h/a b");
    job.curl.tell(CURLINFO_RESPONSE_CODE, 226L);
    job.rec.total_time = 9;
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
    EXPECT_EQ(job.rec.response_code_type, RESPONSE_CODE_FTP);
    EXPECT_EQ(job.rec.response_code, 226);
    EXPECT_EQ(job.rec.total_time, 0);
    EXPECT_EQ(job.curl.calls(), lines{"perform"});
    EXPECT_EQ(logged(), lines{"curl_wrapper(429): Actual URL   : ftp://h/a%20b\n"});
}

TEST(Perform, JudgesTheResponseCode)
{
    const struct {
        const char *url;
        int proxy_type;
        long response_code;
        CURLcode curl_code;
        int error;
    } cases[] = {
        {"ftp://h/f", 0, 226, CURLE_OK, 0},
        {"ftp://h/f", 0, 200, CURLE_OK, 0},
        {"ftp://h/f", 0, 299, CURLE_OK, 0},
        {"ftp://h/f", 0, 0, CURLE_OK, 0},
        {"ftp://h/f", 0, 199, CURLE_OK, FTPCD_ERR_NETWORK},
        {"ftp://h/f", 0, 300, CURLE_OK, FTPCD_ERR_NETWORK},
        {"ftps://h/f", 0, 550, CURLE_OK, FTPCD_ERR_NETWORK},
        {"ftp://h/f", PROXY_HTTP, 404, CURLE_OK, FTPCD_ERR_NETWORK},
        {"ftp://h/f", PROXY_HTTP, 204, CURLE_OK, 0},
        {"h/f", 0, 550, CURLE_OK, 0},
        {"ftp://h/f", 0, 226, CURLE_PARTIAL_FILE, FTPCD_ERR_NETWORK},
        {"h/f", 0, 0, CURLE_COULDNT_CONNECT, FTPCD_ERR_NETWORK},
    };
    for (const auto &c : cases) {
        job_t job(c.url);
        job.rec.proxy_type = c.proxy_type;
        job.curl.tell(CURLINFO_RESPONSE_CODE, c.response_code);
        job.curl.will_perform(c.curl_code);
        job.perform();
        job.expect_result(c.curl_code, c.error);
        EXPECT_EQ(job.rec.response_code, c.response_code);
    }
}

TEST(Perform, KeepsTheErrorThatACallbackHasStored)
{
    job_t job("ftp://h/f");
    job.curl.tell(CURLINFO_RESPONSE_CODE, 426L);
    job.curl.will_perform([&] {
        job.rec.error = FTPCD_ERR_SIZE_LIMIT;
        return CURLE_ABORTED_BY_CALLBACK;
    });
    job.perform();
    job.expect_result(CURLE_ABORTED_BY_CALLBACK, FTPCD_ERR_SIZE_LIMIT);
    EXPECT_EQ(job.rec.response_code_type, RESPONSE_CODE_FTP);
    EXPECT_EQ(job.rec.response_code, 426);
}

TEST(Perform, ForgetsAbortAndTimeoutBeforeEveryPerform)
{
    job_t job("sftp://h/f");
    std::vector<uint32_t> seen;
    for (int pass = 0; pass < 2; ++pass) {
        job.curl.will_perform([&] {
            seen.push_back(job.rec.callback_aborted_logged);
            job.rec.callback_aborted_logged = 1;
            seen.push_back(job.rec.operation_timed_out);
            job.rec.operation_timed_out = 1;
            return CURLE_OK;
        });
    }
    job.rec.callback_aborted_logged = 1;
    job.perform();
    EXPECT_EQ(seen, (std::vector<uint32_t>{0, 0, 0, 0}));
}

TEST(Perform, EndsBeforeTheTransferWithoutAUrl)
{
    for (int nth = 1; nth <= 2; ++nth) {
        job_t job("ftp://h/f");
        job.curl.withhold(CURLINFO_EFFECTIVE_URL, CURLE_UNKNOWN_OPTION, nth);
        job.perform();
        job.expect_result(CURLE_UNKNOWN_OPTION, FTPCD_ERR_NONE);
        EXPECT_EQ(job.curl.calls(), lines{});
        EXPECT_EQ(logged(), lines{failed(1917, "curl_easy_getinfo", "CURLINFO_EFFECTIVE_URL", 48)});
    }
    job_t job("ftp://h/f");
    job.curl.tell(CURLINFO_EFFECTIVE_URL, nullptr);
    job.perform();
    EXPECT_EQ(job.curl.calls(), lines{});
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(1921): Could not get effective URL: NULL\n"});
}

TEST(Perform, AResponseCodeTypeThatCannotBeReadIsItsOwnError)
{
    job_t job("ftp://h/f");
    job.curl.tell(CURLINFO_RESPONSE_CODE, 226L);
    job.curl.withhold(CURLINFO_EFFECTIVE_URL, CURLE_UNKNOWN_OPTION, 3);
    job.curl.will_perform(CURLE_PARTIAL_FILE);
    job.perform();
    job.expect_result(CURLE_PARTIAL_FILE, FTPCD_ERR_RESPONSE_CODE);
    EXPECT_EQ(job.rec.response_code_type, RESPONSE_CODE_OTHER);
    EXPECT_EQ(job.rec.response_code, 226);
    EXPECT_EQ(logged().back(), failed(1917, "curl_easy_getinfo", "CURLINFO_EFFECTIVE_URL", 48));
}

TEST(Perform, AResponseCodeThatCannotBeReadIsItsOwnError)
{
    job_t job("ftp://h/f");
    job.rec.response_code = 77;
    job.curl.withhold(CURLINFO_RESPONSE_CODE, CURLE_UNKNOWN_OPTION);
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_RESPONSE_CODE);
    EXPECT_EQ(job.rec.response_code_type, RESPONSE_CODE_FTP);
    EXPECT_EQ(job.rec.response_code, 0);
    EXPECT_EQ(logged().back(),
              "error: curl_wrapper(1822): curl_easy_getinfo(CURLINFO_RESPONSE_CODE): Failed(48)\n");
}
