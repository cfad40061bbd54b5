#include "failing_heap.h"
#include "job.h"
#include "wire/result_codes.h"

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
