#include "failing_heap.h"
#include "fake_parser.h"
#include "record.h"
#include "wire/job_status.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

#include <gtest/gtest.h>

namespace
{

// A record with the URL set, before its perform.
class job_t
{
public:
    fake_curl curl;
    fake_parser parser;
    record_t rec{curl};
    lines entries; // names that reached the list callback
    int stop_with = 0;

    explicit job_t(const char *url)
    {
        curl_e_setopt_url(&rec, url);
        forget();
    }
    ~job_t() { curl_e_cleanup(&rec); }
    job_t(const job_t &) = delete;
    job_t &operator=(const job_t &) = delete;

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
    void perform() { curl_e_perform(&rec); }
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

const char SET_UP[] = "curl_wrapper(311): Setup to directory listening.\n";

} // namespace

// --- the transfer

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
    EXPECT_EQ(logged_with_priority(),
              (std::vector<log_line>{{6, "curl_wrapper(429): Actual URL   : ftp://h/a%20b\n"}}));
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

TEST(Perform, LetsEveryPerformTellOfAnAbortAgain)
{
    job_t job("sftp://h/f");
    std::vector<uint32_t> seen;
    for (int pass = 0; pass < 2; ++pass) {
        job.curl.will_perform([&] {
            seen.push_back(job.rec.callback_aborted_logged);
            job.rec.callback_aborted_logged = 1;
            return CURLE_OK;
        });
    }
    job.rec.callback_aborted_logged = 1;
    job.perform();
    EXPECT_EQ(seen, (std::vector<uint32_t>{0, 0}));
}

TEST(Perform, EndsBeforeTheTransferWithoutUrl)
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

// --- the listing

TEST(PerformListing, ListsTheDirectoryAndSearchesTheName)
{
    job_t job("ftp://h/dir/a.txt");
    job.list();
    job.sends("b.txt\r\na.txt\r\nc.txt\r\n");
    job.curl.tell(CURLINFO_RESPONSE_CODE, 226L);
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
    EXPECT_EQ(job.entries, lines{"a.txt"});
    EXPECT_EQ(job.curl.calls(), (lines{"URL 'ftp://h/dir/'", "perform", "URL 'ftp://h/dir/a.txt'"}));
    EXPECT_EQ(logged_with_priority(),
              (std::vector<log_line>{{6, SET_UP},
                                     {6, "curl_wrapper(344): Search pattern: a.txt\n"},
                                     {6, "curl_wrapper(427): Specified URL: ftp://h/dir/a.txt\n"},
                                     {6, "curl_wrapper(429): Actual URL   : ftp://h/dir/\n"}}));
    job.expect_nothing_left();
}

TEST(PerformListing, SearchesThePlainNameAndNeverEscapesTwice)
{
    const std::string name = "b c%41\xc3\xbc.txt";
    job_t job(("ftp://h/d d/" + name).c_str());
    job.list();
    const std::string escaped = "ftp://h/d%20d/b%20c%2541%C3%BC.txt";
    for (int attempt = 0; attempt < 3; ++attempt) {
        job.sends(name + "\n");
        job.perform();
        job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
        EXPECT_EQ(job.curl.calls(), (lines{"URL 'ftp://h/d%20d/'", "perform", "URL '" + escaped + "'"}));
        EXPECT_EQ(logged(), (lines{SET_UP, "curl_wrapper(344): Search pattern: " + name + "\n",
                                   "curl_wrapper(427): Specified URL: " + escaped + "\n",
                                   "curl_wrapper(429): Actual URL   : ftp://h/d%20d/\n"}));
    }
    EXPECT_EQ(job.entries, (lines{name, name, name}));
}

TEST(PerformListing, ParsesALastLineWithoutAnEnd)
{
    job_t job("ftp://h/a");
    job.list();
    job.sends("b\r\na");
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
    EXPECT_EQ(job.entries, lines{"a"});
}

TEST(PerformListing, AStarTakesEveryEntry)
{
    job_t job("ftp://h/dir/*.txt");
    job.list();
    job.sends("a\r\nb.txt\r\n");
    job.perform();
    EXPECT_EQ(job.entries, (lines{"a", "b.txt"}));
}

TEST(PerformListing, WithoutAMatchIsAMissingFile)
{
    for (const char *listing : {"b\r\nc\r\n", "?total 0\r\n", "\r\n", "b"}) {
        job_t job("ftp://h/a");
        job.list();
        job.sends(listing);
        job.curl.tell(CURLINFO_RESPONSE_CODE, 226L);
        job.perform();
        job.expect_result(CURLE_REMOTE_FILE_NOT_FOUND, FTPCD_ERR_NETWORK);
        job.expect_nothing_left();
    }
}

TEST(PerformListing, WithoutAByteIsAMissingFile)
{
    job_t job("ftp://h/a");
    job.list();
    job.curl.tell(CURLINFO_RESPONSE_CODE, 226L);
    job.perform();
    EXPECT_EQ(job.rec.curl_code, 78);
    EXPECT_EQ(job.rec.error, 16);
    job.expect_nothing_left();
}

TEST(PerformListing, KeepsLibcurlsOwnFailure)
{
    for (const char *listing : {"", "b\r\n", "a\r\n"}) {
        job_t job("ftp://h/a");
        job.list();
        if (*listing == '\0')
            job.curl.will_perform(CURLE_REMOTE_ACCESS_DENIED);
        else
            job.sends(listing, CURLE_REMOTE_ACCESS_DENIED);
        job.perform();
        job.expect_result(CURLE_REMOTE_ACCESS_DENIED, FTPCD_ERR_NETWORK);
        job.expect_nothing_left();
    }
}

TEST(PerformListing, DropsTheRestAfterTheCallbackHasStoppedAndSucceeds)
{
    job_t job("ftp://h/*");
    job.list();
    job.stop_with = 1;
    job.sends("a\r\nb\r\nc");
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
    EXPECT_EQ(job.entries, lines{"a"});
}

TEST(PerformListing, AUrlWithoutSlashIsTakenWholeForBoth)
{
    job_t job("h");
    job.list();
    job.sends("h\n");
    job.perform();
    EXPECT_EQ(job.curl.calls(), (lines{"URL 'h/'", "perform", "URL 'h'"}));
    EXPECT_EQ(job.entries, lines{"h"});
}

TEST(PerformListing, NeedsTheUrl)
{
    job_t job("ftp://h/a");
    job.list();
    job.curl.withhold(CURLINFO_EFFECTIVE_URL, CURLE_UNKNOWN_OPTION);
    job.perform();
    job.expect_result(CURLE_UNKNOWN_OPTION, FTPCD_ERR_NONE);
    EXPECT_EQ(job.curl.calls(), lines{});
    EXPECT_EQ(logged(), (lines{SET_UP, failed(1917, "curl_easy_getinfo", "CURLINFO_EFFECTIVE_URL", 48)}));
    job.expect_nothing_left();
}

TEST(PerformListing, EndsWithoutMemoryAndRestoresWhatItHasChanged)
{
    const char *pattern = "curl_wrapper(344): Search pattern: a\n";
    const struct {
        int nth; // allocation
        lines calls;
        lines log;
    } cases[] = {
        {1, {}, {SET_UP, "error: curl_wrapper(322): malloc_directory_of(): NULL\n"}},
        {2, {}, {SET_UP, "error: curl_wrapper(330): malloc_str1(): NULL\n"}},
        {3, {"URL 'ftp://h/a'"}, {SET_UP, "error: curl_wrapper(2717): malloc(): NULL\n"}},
        {4,
         {"URL 'ftp://h/'", "URL 'ftp://h/a'"},
         {SET_UP, pattern, "error: curl_wrapper(2096): list_tmp_alloc(): NULL\n"}},
    };
    for (const auto &c : cases) {
        job_t job("ftp://h/a");
        job.list();
        const failing_heap heap(c.nth);
        job.perform();
        job.expect_result(CURLE_OK, FTPCD_ERR_NO_MEMORY);
        EXPECT_EQ(job.curl.calls(), c.calls);
        EXPECT_EQ(logged(), c.log);
        job.expect_nothing_left();
    }
}

TEST(PerformListing, EndsWhenTheUrlCannotBeUnescaped)
{
    job_t job("ftp://h/a");
    job.list();
    job.curl.fail_unescape();
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NO_MEMORY);
    EXPECT_EQ(job.curl.calls(), lines{});
    EXPECT_EQ(logged(),
              (lines{SET_UP, "error: curl_wrapper(2745): curl_easy_unescape(): Failed(ftp://h/a)\n"}));
    job.expect_nothing_left();
}

TEST(PerformListing, EndsWhenTheDirectoryIsRefused)
{
    job_t job("ftp://h/a");
    job.list();
    job.curl.refuse(1, CURLE_OUT_OF_MEMORY);
    job.perform();
    job.expect_result(CURLE_OUT_OF_MEMORY, FTPCD_ERR_INTERNAL);
    EXPECT_EQ(job.curl.calls(), (lines{"URL 'ftp://h/'", "URL 'ftp://h/a'"}));
    EXPECT_EQ(logged(), (lines{SET_UP, failed(766, "curl_easy_setopt", "CURLOPT_URL", CURLE_OUT_OF_MEMORY)}));
    job.expect_nothing_left();
}

TEST(PerformListing, EndsWhenTheUrlCannotBeReadAgain)
{
    for (int nth = 2; nth <= 3; ++nth) { // before the SFTP pass, before the transfer
        job_t job("ftp://h/a");
        job.list();
        job.curl.withhold(CURLINFO_EFFECTIVE_URL, CURLE_UNKNOWN_OPTION, nth);
        job.perform();
        job.expect_result(CURLE_UNKNOWN_OPTION, FTPCD_ERR_NONE);
        EXPECT_EQ(job.curl.calls(), (lines{"URL 'ftp://h/'", "URL 'ftp://h/a'"}));
        job.expect_nothing_left();
    }
}

TEST(PerformListing, AnEarlierErrorEndsItOnceTheUrlIsChanged)
{
    job_t job("ftp://h/a");
    job.list();
    job.rec.error = FTPCD_ERR_NO_MEMORY;
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NO_MEMORY);
    EXPECT_EQ(job.curl.calls(), (lines{"URL 'ftp://h/'", "URL 'ftp://h/a'"}));
    job.expect_nothing_left();
}

TEST(PerformListing, AUrlThatCannotBePutBackIsAnErrorOfItsOwnCause)
{
    {
        job_t job("ftp://h/a");
        job.list();
        job.sends("a\n");
        job.curl.refuse(CURLOPT_URL, CURLE_OUT_OF_MEMORY, 2);
        job.perform();
        job.expect_result(CURLE_OK, FTPCD_ERR_INTERNAL);
        EXPECT_EQ(logged().back(), failed(766, "curl_easy_setopt", "CURLOPT_URL", CURLE_OUT_OF_MEMORY));
    }
    job_t job("ftp://h/a");
    job.list();
    job.curl.will_perform([&] {
        job.curl.deliver("a\n");
        job.curl.fail_escape();
        return CURLE_OK;
    });
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NO_MEMORY);
    EXPECT_EQ(logged().back(), "error: curl_wrapper(2734): curl_easy_escape(): Failed(ftp://h/a)\n");
}

// --- the connect pass of SFTP

TEST(PerformSftp, TransfersBelowTheLoginDirectory)
{
    job_t job("sftp://h/f");
    job.logs_in("/home/u", 1.5);
    job.curl.will_perform([&] {
        job.curl.tell(CURLINFO_TOTAL_TIME, 2.0);
        return CURLE_OK;
    });
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
    EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0",
                                       "URL 'sftp://h/home/u/f'", "perform", "URL 'sftp://h/f'"}));
    EXPECT_EQ(logged(), (lines{"curl_wrapper(427): Specified URL: sftp://h/f\n",
                               "curl_wrapper(429): Actual URL   : sftp://h/home/u/f\n"}));
    EXPECT_EQ(job.rec.total_time, 1.5);
    EXPECT_EQ(curl_e_getinfo_total_time(&job.rec), 3.5);
    EXPECT_EQ(job.rec.response_code_type, RESPONSE_CODE_OTHER);
    job.expect_nothing_left();
}

TEST(PerformSftp, NeverEscapesTwice)
{
    job_t job("sftp://h/a b/100%");
    for (int attempt = 0; attempt < 3; ++attempt) {
        job.logs_in("/ho me", 0);
        job.perform();
        EXPECT_EQ(job.curl.calls(),
                  (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "URL 'sftp://h/ho%20me/a%20b/100%25'",
                         "perform", "URL 'sftp://h/a%20b/100%25'"}));
        EXPECT_EQ(logged(), (lines{"curl_wrapper(427): Specified URL: sftp://h/a%20b/100%25\n",
                                   "curl_wrapper(429): Actual URL   : sftp://h/ho%20me/a%20b/100%25\n"}));
    }
}

TEST(PerformSftp, PutsTheCallersUrlBackThoughLibcurlHasChangedIt)
{
    job_t job("sftp://h/d/../f");
    job.curl.will_perform([&] {
        job.curl.tell(CURLINFO_EFFECTIVE_URL, "sftp://h/f"); // the old string is gone
        job.curl.tell(CURLINFO_FTP_ENTRY_PATH, "/home/u");
        return CURLE_OK;
    });
    job.perform();
    EXPECT_EQ(job.curl.calls().back(), "URL 'sftp://h/d/../f'");
    EXPECT_EQ(logged().front(), "curl_wrapper(427): Specified URL: sftp://h/d/../f\n");
}

TEST(PerformSftp, WithoutALoginDirectorySetsTheUrlAsItWas)
{
    for (const char *directory : {"/", static_cast<const char *>(nullptr)}) {
        job_t job("sftp://h/a b");
        job.logs_in(directory, 0);
        job.perform();
        job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
        EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0",
                                           "URL 'sftp://h/a%20b'", "perform", "URL 'sftp://h/a%20b'"}));
    }
}

TEST(PerformSftp, ListsTheFilesDirectoryBelowTheLoginDirectory)
{
    job_t job("sftp://h/d d/a b");
    job.list();
    job.logs_in("/home/u", 0);
    job.sends("x\na b\n");
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
    EXPECT_EQ(job.entries, lines{"a b"});
    EXPECT_EQ(job.curl.calls(),
              (lines{"URL 'sftp://h/d%20d/'", "CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0",
                     "URL 'sftp://h/home/u/d%20d/'", "perform", "URL 'sftp://h/d%20d/a%20b'"}));
    EXPECT_EQ(logged(), (lines{SET_UP, "curl_wrapper(344): Search pattern: a b\n",
                               "curl_wrapper(427): Specified URL: sftp://h/d%20d/a%20b\n",
                               "curl_wrapper(429): Actual URL   : sftp://h/home/u/d%20d/\n"}));
    job.expect_nothing_left();
}

TEST(PerformSftp, MakesNoConnectPassForOtherSchemesOrWhenTheCallerOnlyConnects)
{
    for (const char *url : {"ftp://h/f", "ftps://h/f", "http://h/f", "h/f"}) {
        job_t job(url);
        job.perform();
        EXPECT_EQ(job.curl.calls(), lines{"perform"});
    }
    job_t job("sftp://h/f");
    job.rec.connect_only = 1;
    job.perform();
    EXPECT_EQ(job.curl.calls(), lines{"perform"});
    EXPECT_EQ(job.rec.connect_only, 1);
}

TEST(PerformSftp, EndsWhenConnectOnlyIsRefused)
{
    job_t job("sftp://h/f");
    job.curl.refuse(1, CURLE_UNKNOWN_OPTION);
    job.perform();
    job.expect_result(CURLE_UNKNOWN_OPTION, FTPCD_ERR_INTERNAL);
    EXPECT_EQ(job.curl.calls(), lines{"CONNECT_ONLY 1"});
    EXPECT_EQ(logged(), lines{failed(1133, "curl_easy_setopt", "CURLOPT_CONNECT_ONLY", 48)});
    job.expect_nothing_left();
}

// Were it left on, the next try would only connect and call that a success.
TEST(PerformSftp, SwitchesConnectOnlyOffAfterAFailedConnectPass)
{
    job_t job("sftp://h/f");
    job.curl.will_perform([&] {
        job.rec.error = FTPCD_ERR_TIMEOUT;
        return CURLE_ABORTED_BY_CALLBACK;
    });
    job.perform();
    job.expect_result(CURLE_ABORTED_BY_CALLBACK, FTPCD_ERR_TIMEOUT);
    EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0"}));
    EXPECT_EQ(job.rec.response_code, 0);
    EXPECT_EQ(logged(), lines{});
    job.expect_nothing_left();
}

TEST(PerformSftp, AFailedConnectPassLeavesTheErrorToItsCause)
{
    job_t job("sftp://h/a");
    job.list();
    job.curl.will_perform(CURLE_LOGIN_DENIED);
    job.perform();
    job.expect_result(CURLE_LOGIN_DENIED, FTPCD_ERR_NONE);
    EXPECT_EQ(job.curl.calls(),
              (lines{"URL 'sftp://h/'", "CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "URL 'sftp://h/a'"}));
    job.expect_nothing_left();
}

TEST(PerformSftp, EndsWhenTheTimeOfTheConnectPassCannotBeRead)
{
    job_t job("sftp://h/f");
    job.curl.withhold(CURLINFO_TOTAL_TIME, CURLE_UNKNOWN_OPTION);
    job.perform();
    job.expect_result(CURLE_UNKNOWN_OPTION, FTPCD_ERR_NONE);
    EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0"}));
    EXPECT_EQ(logged(), lines{failed(1763, "curl_easy_getinfo", "CURLINFO_TOTAL_TIME", 48)});
    EXPECT_EQ(job.rec.total_time, 0);
    job.expect_nothing_left();
}

TEST(PerformSftp, EndsWhenConnectOnlyCannotBeSwitchedOff)
{
    job_t job("sftp://h/f");
    job.curl.refuse(2, CURLE_UNKNOWN_OPTION);
    job.perform();
    job.expect_result(CURLE_UNKNOWN_OPTION, FTPCD_ERR_INTERNAL);
    EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "CONNECT_ONLY 0"}));
    job.expect_nothing_left();
}

TEST(PerformSftp, EndsWhenUrlOrEntryPathCannotBeRead)
{
    const struct {
        CURLINFO info;
        const char *name;
        int line;
        int nth;
    } cases[] = {{CURLINFO_EFFECTIVE_URL, "CURLINFO_EFFECTIVE_URL", 1917, 2},
                 {CURLINFO_FTP_ENTRY_PATH, "CURLINFO_FTP_ENTRY_PATH", 1841, 1}};
    for (const auto &c : cases) {
        job_t job("sftp://h/f");
        job.curl.withhold(c.info, CURLE_UNKNOWN_OPTION, c.nth);
        job.perform();
        job.expect_result(CURLE_UNKNOWN_OPTION, FTPCD_ERR_NONE);
        EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0"}));
        EXPECT_EQ(logged(), lines{failed(c.line, "curl_easy_getinfo", c.name, 48)});
        job.expect_nothing_left();
    }
}

TEST(PerformSftp, EndsWithoutMemory)
{
    const struct {
        int nth;
        const char *line;
    } cases[] = {
        {1, "error: curl_wrapper(405): malloc_str1(): NULL\n"},
        {2, "error: curl_wrapper(1888): malloc_str1(): NULL\n"},
        {3, "error: curl_wrapper(1991): malloc_ins_str2(): NULL\n"},
    };
    for (const auto &c : cases) {
        job_t job("sftp://h/f");
        job.logs_in("/home/u", 0);
        const failing_heap heap(c.nth);
        job.perform();
        job.expect_result(CURLE_OK, FTPCD_ERR_NO_MEMORY);
        EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0"}));
        EXPECT_EQ(logged(), lines{c.line});
        job.expect_nothing_left();
    }
    job_t job("sftp://h/f");
    job.logs_in("/home/u", 0);
    const failing_heap heap(4);
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NO_MEMORY);
    EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "URL 'sftp://h/f'"}));
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(2717): malloc(): NULL\n"});
}

// The copy of a URL that needs no directory has no line of its own: the transfer goes on with the URL as it
// is.
TEST(PerformSftp, TransfersTheUrlAsItIsWhenOnlyItsCopyFails)
{
    job_t job("sftp://h/f");
    job.logs_in("/", 0);
    const failing_heap heap(3); // the caller's URL, the entry path, the copy
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
    EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "perform"}));
    EXPECT_EQ(logged(), lines{"curl_wrapper(429): Actual URL   : sftp://h/f\n"});
}

TEST(PerformSftp, EndsWhenTheUrlCannotBeUnescaped)
{
    for (int nth = 1; nth <= 2; ++nth) { // to put the directory in, to put it back later
        job_t job("sftp://h/f");
        job.logs_in("/home/u", 0);
        job.curl.fail_unescape(nth);
        job.perform();
        job.expect_result(CURLE_OK, FTPCD_ERR_NO_MEMORY);
        EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0"}));
        EXPECT_EQ(logged(), lines{"error: curl_wrapper(2745): curl_easy_unescape(): Failed(sftp://h/f)\n"});
    }
}

TEST(PerformSftp, EndsWhenTheAbsoluteUrlIsRefused)
{
    job_t job("sftp://h/f");
    job.logs_in("/home/u", 0);
    job.curl.refuse(CURLOPT_URL, CURLE_OUT_OF_MEMORY);
    job.perform();
    job.expect_result(CURLE_OUT_OF_MEMORY, FTPCD_ERR_INTERNAL);
    EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0",
                                       "URL 'sftp://h/home/u/f'", "URL 'sftp://h/f'"}));
    job.expect_nothing_left();
}
