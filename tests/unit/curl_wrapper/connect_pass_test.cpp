#include "job.h"
#include "support/socket_pair.h"
#include "wire/job_status.h"
#include "wire/result_codes.h"

#include <algorithm>

TEST(PerformSftp, TransfersFromTheLoginDirectory)
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

TEST(PerformSftp, BreaksTheConnectPassConnectionBeforeLibcurlClosesIt)
{
    const socket_pair connection;
    job_t job("sftp://h/f");
    job.curl.tell_socket(connection.ends[0]);
    job.curl.will_perform([&] {
        EXPECT_FALSE(connection.is_broken());
        return CURLE_OK;
    });
    job.curl.will_perform([&] {
        EXPECT_TRUE(connection.is_broken());
        return CURLE_OK;
    });
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
}

TEST(PerformSftp, WithoutASocketGoesOn)
{
    job_t job("sftp://h/f");
    job.curl.withhold(CURLINFO_ACTIVESOCKET, CURLE_UNKNOWN_OPTION);
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
    const lines calls = job.curl.calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "perform"), 2);
}

// Nothing is escaped twice; "~" has no special meaning.
TEST(PerformSftp, InsertsTheLoginDirectoryAndRestoresTheUrlAfterEachTry)
{
    const std::tuple<const char *, const char *, const char *, const char *> cases[] = {
        {"h/a b/100%", "/ho me", "h/ho%20me/a%20b/100%25", "h/a%20b/100%25"},
        {"h/f", "/a?b/c#d/100%/%41", "h/a%3Fb/c%23d/100%25/%2541/f", "h/f"},
        {"h/a b", "/", "h/a%20b", "h/a%20b"},
        {"h/a b", nullptr, "h/a%20b", "h/a%20b"},
        {"h/~/f", "/", "h//~/f", "h/~/f"},
        {"h/~/f", "/home/u", "h/home/u/~/f", "h/~/f"},
        {"h/f", "/~", "h//~/f", "h/f"},
        {"h/~f", "/", "h/~f", "h/~f"},
        {"h/~", "/", "h//~", "h/~"},
        {"h/f", "C:\\data\\ ", "h/C:/data/f", "h/f"}, // a Windows server
    };
    for (const auto &[url, login, moved, kept] : cases) {
        job_t job((std::string("sftp://") + url).c_str());
        const std::string actual = std::string("sftp://") + moved;
        const std::string specified = std::string("sftp://") + kept;
        for (int attempt = 0; attempt < 2; ++attempt) {
            job.logs_in(login, 0);
            job.perform();
            job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
            EXPECT_EQ(job.curl.calls(),
                      (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "URL '" + actual + "'", "perform",
                             "URL '" + specified + "'"}));
            const lines log = logged();
            EXPECT_EQ(
                std::count(log.begin(), log.end(), "curl_wrapper(427): Specified URL: " + specified + "\n"),
                1);
            EXPECT_EQ(log.back(), "curl_wrapper(429): Actual URL   : " + actual + "\n");
        }
    }
}

TEST(PerformSftp, RestoresTheCallersUrlThoughLibcurlHasChangedIt)
{
    job_t job("sftp://h/d/../f");
    job.curl.will_perform([&] {
        job.curl.tell(CURLINFO_EFFECTIVE_URL, "sftp://h/f"); // frees the old string
        job.curl.tell(CURLINFO_FTP_ENTRY_PATH, "/home/u");
        return CURLE_OK;
    });
    job.perform();
    EXPECT_EQ(job.curl.calls().back(), "URL 'sftp://h/d/../f'");
    EXPECT_EQ(logged().front(), "curl_wrapper(427): Specified URL: sftp://h/d/../f\n");
}

TEST(PerformSftp, ListsTheFilesDirectoryFromTheLoginDirectory)
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

// If only the copy of the URL fails, no error is logged and the URL is used unchanged.
TEST(PerformSftp, TransfersTheUrlAsItIsWhenOnlyItsCopyFails)
{
    job_t job("sftp://h/f");
    job.logs_in("/", 0);
    job.failing_allocation = 3; // the caller's URL, the entry path, the copy
    job.perform();
    job.expect_result(CURLE_OK, FTPCD_ERR_NONE);
    EXPECT_EQ(job.curl.calls(), (lines{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "perform"}));
    EXPECT_EQ(logged(), lines{"curl_wrapper(429): Actual URL   : sftp://h/f\n"});
}

// With CONNECT_ONLY still set, the next try would only connect and succeed.
TEST(PerformSftp, EndsAtTheFirstFailureBeforeTheTransferAndRestoresItsSettings)
{
    const lines connected{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0"};
    const lines connected_twice_off{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "CONNECT_ONLY 0"};
    const lines put_back{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "URL 'sftp://h/f'"};
    const lines set_and_put_back{"CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "URL 'sftp://h/home/u/f'",
                                 "URL 'sftp://h/f'"};
    const auto no_info = [](int line, const char *name) {
        return lines{failed(line, "curl_easy_getinfo", name, 48)};
    };
    const lines refused{failed(1133, "curl_easy_setopt", "CURLOPT_CONNECT_ONLY", 48)};
    const lines not_unescaped{"error: curl_wrapper(2745): curl_easy_unescape(): Failed(sftp://h/f)\n"};
    const auto deny_login = [](job_t &job) { job.curl.will_perform(CURLE_LOGIN_DENIED); };
    const auto abort = [](job_t &job) {
        job.curl.will_perform([&job] {
            job.rec.error = FTPCD_ERR_TIMEOUT;
            return CURLE_ABORTED_BY_CALLBACK;
        });
    };
    const auto refuse_url = [](job_t &job) { job.curl.refuse(CURLOPT_URL, CURLE_OUT_OF_MEMORY); };
    const failure_t table[] = {
        {refuse(1, CURLE_UNKNOWN_OPTION), 48, 5, {"CONNECT_ONLY 1"}, refused},
        {deny_login, 67, 0, connected, {}},
        {abort, 42, 14, connected, {}},
        {withhold(CURLINFO_TOTAL_TIME), 48, 0, connected, no_info(1763, "CURLINFO_TOTAL_TIME")},
        {refuse(2, CURLE_UNKNOWN_OPTION), 48, 5, connected_twice_off, refused},
        {withhold(CURLINFO_EFFECTIVE_URL, 2), 48, 0, connected, no_info(1917, "CURLINFO_EFFECTIVE_URL")},
        {withhold(CURLINFO_FTP_ENTRY_PATH), 48, 0, connected, no_info(1841, "CURLINFO_FTP_ENTRY_PATH")},
        {fail_allocation(1), 0, 11, connected, {gave_null(405, "malloc_str1")}},
        {fail_allocation(2), 0, 11, connected, {gave_null(1888, "malloc_str1")}},
        {fail_allocation(3), 0, 11, connected, {gave_null(1991, "malloc_ins_str2")}},
        {fail_allocation(4), 0, 11, put_back, {gave_null(2717, "malloc")}},
        {fail_unescape(1), 0, 11, connected, not_unescaped}, // to insert the directory
        {fail_unescape(2), 0, 11, connected, not_unescaped}, // to restore the URL later
        {refuse_url, 27, 5, set_and_put_back, {failed(771, "curl_easy_setopt", "CURLOPT_URL", 27)}},
    };
    for (const failure_t &row : table) {
        SCOPED_TRACE(&row - table);
        job_t job("sftp://h/f");
        row.prepare(job);
        job.logs_in("/home/u", 1);
        expect_failure(job, row);
        EXPECT_GE(job.rec.total_time, 0);
    }
    for (const std::string directory : {"/home/u ", "/home/a\\b", "/home/u\t", "/ "}) {
        job_t job("sftp://h/f");
        job.logs_in(directory.c_str(), 0);
        const std::string text = "The login directory cannot be put into a URL: " + directory + '\n';
        expect_failure(job, {{}, 0, 5, connected, {"error: curl_wrapper(397): " + text}});
    }
}

TEST(PerformSftp, AListingWhoseConnectPassFailsEndsThere)
{
    job_t job("sftp://h/a");
    job.list();
    job.curl.will_perform(CURLE_LOGIN_DENIED);
    const lines calls{"URL 'sftp://h/'", "CONNECT_ONLY 1", "perform", "CONNECT_ONLY 0", "URL 'sftp://h/a'"};
    expect_failure(job, {{}, 67, 0, calls, {SET_UP, "curl_wrapper(344): Search pattern: a\n"}});
}
