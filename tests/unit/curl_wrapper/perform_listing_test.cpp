#include "job.h"
#include "wire/result_codes.h"

TEST(PerformListing, ListsTheDirectoryAndLooksForTheName)
{
    job_t job("ftp://h/dir/a.txt");
    job.list();
    job.sends("b.txt\r\na.txt\r\nc.txt\r\n");
    job.curl.tell(CURLINFO_RESPONSE_CODE, 226L);
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
    EXPECT_EQ(job.entries, lines{"a.txt"});
    EXPECT_EQ(job.curl.calls(), (lines{"URL 'ftp://h/dir/'", "perform", "URL 'ftp://h/dir/a.txt'"}));
    EXPECT_EQ(logged(), (lines{SET_UP, "curl_wrapper(344): Search pattern: a.txt\n",
                               "curl_wrapper(427): Specified URL: ftp://h/dir/a.txt\n",
                               "curl_wrapper(429): Actual URL   : ftp://h/dir/\n"}));
    job.expect_nothing_left();
}

TEST(PerformListing, LooksForThePlainNameAndNeverEscapesTwice)
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

TEST(PerformListing, AStarMatchesEveryEntry)
{
    job_t job("ftp://h/dir/*.txt");
    job.list();
    job.sends("a\r\nb.txt\r\n");
    job.perform();
    EXPECT_EQ(job.entries, (lines{"a", "b.txt"}));
}

TEST(PerformListing, NoMatchIsAMissingFile)
{
    for (const char *listing : {"b\r\nc\r\n", "?total 0\r\n", "\r\n", "b", ""}) {
        job_t job("ftp://h/a");
        job.list();
        job.sends(listing);
        job.curl.tell(CURLINFO_RESPONSE_CODE, 226L);
        job.perform();
        job.expect_result(CURLE_REMOTE_FILE_NOT_FOUND, FTPCD_ERR_NETWORK);
        job.expect_nothing_left();
    }
}

TEST(PerformListing, KeepsLibcurlsOwnFailure)
{
    for (const char *listing : {"", "b\r\n", "a\r\n"}) {
        job_t job("ftp://h/a");
        job.list();
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

TEST(PerformListing, AUrlWithoutASlashIsBothDirectoryAndName)
{
    job_t job("h");
    job.list();
    job.sends("h\n");
    job.perform();
    EXPECT_EQ(job.curl.calls(), (lines{"URL 'h/'", "perform", "URL 'h'"}));
    EXPECT_EQ(job.entries, lines{"h"});
}

TEST(PerformListing, EndsAtTheFirstFailureBeforeTheTransferAndRestoresItsSettings)
{
    const std::string no_url = failed(1917, "curl_easy_getinfo", "CURLINFO_EFFECTIVE_URL", 48);
    const std::string pattern = "curl_wrapper(344): Search pattern: a\n";
    const std::string refused = failed(766, "curl_easy_setopt", "CURLOPT_URL", 27);
    const std::string not_unescaped = "error: curl_wrapper(2745): curl_easy_unescape(): Failed(ftp://h/a)\n";
    const lines changed{"URL 'ftp://h/'", "URL 'ftp://h/a'"};
    const auto fail_before = [](job_t &job) { job.rec.error = FTPCD_ERR_NO_MEMORY; };
    const failure_t table[] = {
        {withhold(CURLINFO_EFFECTIVE_URL), 48, 0, {}, {SET_UP, no_url}},
        {fail_allocation(1), 0, 11, {}, {SET_UP, gave_null(322, "malloc_directory_of")}},
        {fail_allocation(2), 0, 11, {}, {SET_UP, gave_null(330, "malloc_str1")}},
        {fail_allocation(3), 0, 11, {"URL 'ftp://h/a'"}, {SET_UP, gave_null(2717, "malloc")}},
        {fail_allocation(4), 0, 11, changed, {SET_UP, pattern, gave_null(2096, "list_tmp_alloc")}},
        {fail_unescape(1), 0, 11, {}, {SET_UP, not_unescaped}},
        {refuse(1, CURLE_OUT_OF_MEMORY), 27, 5, changed, {SET_UP, refused}},
        {withhold(CURLINFO_EFFECTIVE_URL, 2), 48, 0, changed, {SET_UP, pattern, no_url}},
        {withhold(CURLINFO_EFFECTIVE_URL, 3), 48, 0, changed, {SET_UP, pattern, no_url}},
        {fail_before, 0, 11, changed, {SET_UP}},
    };
    for (const failure_t &row : table) {
        SCOPED_TRACE(&row - table);
        job_t job("ftp://h/a");
        job.list();
        row.prepare(job);
        expect_failure(job, row);
    }
}

TEST(PerformListing, AUrlThatCannotBeRestoredIsAnErrorOfItsOwn)
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
