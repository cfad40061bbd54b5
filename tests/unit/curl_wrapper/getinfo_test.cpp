#include "record.h"
#include "support/failing_heap.h"
#include "wire/job_status.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

#include <cstdlib>
#include <gtest/gtest.h>

static std::string owned(char *text)
{
    const std::string copy = text != nullptr ? text : "(null)";
    free(text);
    return copy;
}

TEST(Getinfo, ReturnsLibcurlsValue)
{
    record_t rec;
    rec.curl_code = CURLE_COULDNT_CONNECT; // of an earlier call
    rec.fake.tell(CURLINFO_SIZE_DOWNLOAD, 1.5);
    rec.fake.tell(CURLINFO_SIZE_UPLOAD, 6e9);
    rec.fake.tell(CURLINFO_TOTAL_TIME, 2.25);
    rec.fake.tell(CURLINFO_RESPONSE_CODE, 226L);
    rec.fake.tell(CURLINFO_FTP_ENTRY_PATH, "/home/joe");
    rec.fake.tell(CURLINFO_EFFECTIVE_URL, "ftp://h/f");
    EXPECT_EQ(curl_e_getinfo_size_download(&rec), 1.5);
    EXPECT_EQ(rec.curl_code, CURLE_OK);
    EXPECT_EQ(curl_e_getinfo_size_upload(&rec), 6e9);
    EXPECT_EQ(curl_e_getinfo_total_time(&rec), 2.25);
    EXPECT_EQ(curl_e_getinfo_response_code(&rec), 226);
    EXPECT_STREQ(curl_e_getinfo_ftp_entry_path(&rec), "/home/joe");
    EXPECT_STREQ(curl_e_getinfo_effective_url(&rec), "ftp://h/f");
}

TEST(Getinfo, AFailureIsLoggedAndReturnsTheFallback)
{
    using rec_t = curl_e_handle_t;
    const std::tuple<CURLINFO, const char *, int, bool (*)(rec_t *)> cases[] = {
        {CURLINFO_SIZE_DOWNLOAD, "CURLINFO_SIZE_DOWNLOAD", 1707,
         [](rec_t *r) { return curl_e_getinfo_size_download(r) == -1.0; }},
        {CURLINFO_SIZE_UPLOAD, "CURLINFO_SIZE_UPLOAD", 1726,
         [](rec_t *r) { return curl_e_getinfo_size_upload(r) == -1.0; }},
        {CURLINFO_TOTAL_TIME, "CURLINFO_TOTAL_TIME", 1763,
         [](rec_t *r) { return curl_e_getinfo_total_time(r) == -1.0; }},
        {CURLINFO_RESPONSE_CODE, "CURLINFO_RESPONSE_CODE", 1822,
         [](rec_t *r) { return curl_e_getinfo_response_code(r) == 0; }},
        {CURLINFO_FTP_ENTRY_PATH, "CURLINFO_FTP_ENTRY_PATH", 1841,
         [](rec_t *r) { return curl_e_getinfo_ftp_entry_path(r) == nullptr; }},
        {CURLINFO_EFFECTIVE_URL, "CURLINFO_EFFECTIVE_URL", 1917,
         [](rec_t *r) { return curl_e_getinfo_effective_url(r) == nullptr; }},
        {CURLINFO_EFFECTIVE_URL, "CURLINFO_EFFECTIVE_URL", 1917,
         [](rec_t *r) { return curl_e_getinfo_response_code_type(r) == RESPONSE_CODE_OTHER; }},
        {CURLINFO_FTP_ENTRY_PATH, "CURLINFO_FTP_ENTRY_PATH", 1841,
         [](rec_t *r) { return curl_e_getinfo_trimmed_ftp_entry_path(r) == nullptr; }},
        {CURLINFO_EFFECTIVE_URL, "CURLINFO_EFFECTIVE_URL", 1917,
         [](rec_t *r) { return curl_e_getinfo_effective_sftp_url(r) == nullptr; }},
        {CURLINFO_FTP_ENTRY_PATH, "CURLINFO_FTP_ENTRY_PATH", 1841,
         [](rec_t *r) { return curl_e_getinfo_effective_sftp_url(r) == nullptr; }},
    };
    for (const auto &[info, name, line, gives_fallback] : cases) {
        record_t rec;
        rec.total_time = 3;
        rec.fake.tell(CURLINFO_EFFECTIVE_URL, "ftp://h/f");
        rec.fake.tell(CURLINFO_FTP_ENTRY_PATH, "/home");
        rec.fake.withhold(info, CURLE_UNKNOWN_OPTION);
        EXPECT_TRUE(gives_fallback(&rec)) << line;
        EXPECT_EQ(rec.curl_code, CURLE_UNKNOWN_OPTION);
        EXPECT_EQ(rec.error, FTPCD_ERR_NONE);
        EXPECT_EQ(logged(), lines{failed(line, "curl_easy_getinfo", name, 48)});
    }
}

TEST(Getinfo, NullInsteadOfAStringIsLogged)
{
    record_t rec;
    rec.fake.tell(CURLINFO_EFFECTIVE_URL, nullptr);
    EXPECT_EQ(curl_e_getinfo_ftp_entry_path(&rec), nullptr);
    EXPECT_EQ(curl_e_getinfo_effective_url(&rec), nullptr);
    EXPECT_EQ(is_curl_error(&rec), 0);
    EXPECT_EQ(logged(), (lines{"error: curl_wrapper(1845): Could not get ftp entry path: NULL\n",
                               "error: curl_wrapper(1921): Could not get effective URL: NULL\n"}));
}

TEST(GetinfoTotalTime, CountsTheConnectPassUnlessThereIsAnError)
{
    record_t rec;
    rec.total_time = 1.5;
    rec.fake.tell(CURLINFO_TOTAL_TIME, 2.0);
    EXPECT_EQ(curl_e_getinfo_total_time(&rec), 3.5);
    rec.error = FTPCD_ERR_TIMEOUT;
    EXPECT_EQ(curl_e_getinfo_total_time(&rec), 2.0);
}

TEST(GetinfoResponseCodeType, FollowsTheSchemeUnlessAnHttpProxyAnswers)
{
    const std::tuple<const char *, int, int> cases[] = {
        {"http://h/f", PROXY_NONE, RESPONSE_CODE_HTTP},
        {"ftp://h/f", PROXY_NONE, RESPONSE_CODE_FTP},
        {"ftps://h/f", PROXY_NONE, RESPONSE_CODE_FTP},
        {"sftp://h/f", PROXY_NONE, RESPONSE_CODE_OTHER},
        {"socks4://h", PROXY_NONE, RESPONSE_CODE_OTHER},
        {"socks4a://h", PROXY_NONE, RESPONSE_CODE_OTHER},
        {"socks5://h", PROXY_NONE, RESPONSE_CODE_OTHER},
        {"socks5h://h", PROXY_NONE, RESPONSE_CODE_OTHER},
        {"https://h/f", PROXY_NONE, RESPONSE_CODE_OTHER},
        {"h/f", PROXY_NONE, RESPONSE_CODE_OTHER},
        {"", PROXY_NONE, RESPONSE_CODE_OTHER},
        {"ftp://h/f", PROXY_HTTP, RESPONSE_CODE_HTTP},
        {"sftp://h/f", PROXY_HTTP, RESPONSE_CODE_HTTP},
        {"h", PROXY_HTTP, RESPONSE_CODE_HTTP},
        {"ftp://h/f", 2, RESPONSE_CODE_FTP},
    };
    for (const auto &[url, proxy_type, type] : cases) {
        record_t rec;
        rec.proxy_type = proxy_type;
        rec.fake.tell(CURLINFO_EFFECTIVE_URL, url);
        EXPECT_EQ(curl_e_getinfo_response_code_type(&rec), type) << url;
    }
}

TEST(GetinfoResponseCodeType, IsOtherAfterAnErrorOrWithoutUrl)
{
    record_t rec;
    rec.proxy_type = PROXY_HTTP;
    rec.error = FTPCD_ERR_TIMEOUT;
    rec.fake.tell(CURLINFO_EFFECTIVE_URL, "http://h");
    EXPECT_EQ(curl_e_getinfo_response_code_type(&rec), RESPONSE_CODE_OTHER);
    rec.error = FTPCD_ERR_NONE;
    rec.fake.tell(CURLINFO_EFFECTIVE_URL, nullptr);
    EXPECT_EQ(curl_e_getinfo_response_code_type(&rec), RESPONSE_CODE_OTHER);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(1921): Could not get effective URL: NULL\n"});
}

TEST(GetinfoTrimmedEntryPath, HasNoBlanksOrSlashesAtItsEnds)
{
    const std::pair<const char *, const char *> cases[] = {
        {"/home/user/ ", "home/user"},
        {"C:\\data\\", "C:/data"},
        {" \\\\dir\\\\sub\\\\ ", "dir//sub"},
        {" \\dir\\sub\\ ", "dir/sub"},
        {"/", "(null)"},
        {"", "(null)"},
        {"   ", "(null)"},
        {"\\", "(null)"},
        {"a", "a"},
        {"/ a/", " a"},
        {"/a b/c d/", "a b/c d"},
    };
    for (const auto &[path, trimmed] : cases) {
        record_t rec;
        rec.fake.tell(CURLINFO_FTP_ENTRY_PATH, path);
        EXPECT_EQ(owned(curl_e_getinfo_trimmed_ftp_entry_path(&rec)), trimmed) << path;
        EXPECT_EQ(is_curl_error(&rec), 0);
    }
}

TEST(GetinfoTrimmedEntryPath, IsNullAfterAnErrorAndWithoutMemory)
{
    record_t rec;
    rec.fake.tell(CURLINFO_FTP_ENTRY_PATH, "/home");
    {
        const failing_heap heap(1);
        EXPECT_EQ(curl_e_getinfo_trimmed_ftp_entry_path(&rec), nullptr);
    }
    EXPECT_EQ(rec.error, FTPCD_ERR_NO_MEMORY);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(1888): malloc_str1(): NULL\n"});
    EXPECT_EQ(curl_e_getinfo_trimmed_ftp_entry_path(&rec), nullptr);
}

TEST(GetinfoSftpUrl, PutsTheLoginDirectoryInFrontOfThePath)
{
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"sftp://host/file", "/home/user", "sftp://host/home/user/file"},
        {"sftp://host", "/home/user", "sftp://host/home/user"},
        {"sftp://host/", "/home/user", "sftp://host/home/user/"},
        {"sftp://host//etc/x", "/home/user/", "sftp://host/home/user//etc/x"},
        {"sftp://host/file", "/", "sftp://host/file"},
        {"sftp://host/file", nullptr, "sftp://host/file"},
        {"host/file", "/home", "host/home/file"},
        {"host", "/home", "host/home"},
        // libcurl returns the URL escaped; the result is plain, because setting it escapes it again.
        {"sftp://host/a%20b/100%25", "/ho me/%41", "sftp://host/ho me/%41/a b/100%"},
        {"sftp://host/%C3%BC", "/", "sftp://host/\xc3\xbc"},
    };
    for (const auto &[url, entry_path, whole] : cases) {
        record_t rec;
        rec.fake.tell(CURLINFO_EFFECTIVE_URL, url);
        rec.fake.tell(CURLINFO_FTP_ENTRY_PATH, entry_path);
        EXPECT_EQ(owned(curl_e_getinfo_effective_sftp_url(&rec)), whole) << url;
        EXPECT_EQ(is_curl_error(&rec), 0);
        logged();
    }
}

TEST(GetinfoSftpUrl, NoUrlIsAnInternalErrorAndAnEarlierErrorEndsItAtOnce)
{
    record_t rec;
    rec.fake.tell(CURLINFO_EFFECTIVE_URL, nullptr);
    EXPECT_EQ(curl_e_getinfo_effective_sftp_url(&rec), nullptr);
    EXPECT_EQ(rec.error, FTPCD_ERR_INTERNAL);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(1921): Could not get effective URL: NULL\n"});
    rec.fake.tell(CURLINFO_EFFECTIVE_URL, "sftp://h/f");
    rec.fake.withhold(CURLINFO_FTP_ENTRY_PATH, CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(curl_e_getinfo_effective_sftp_url(&rec), nullptr);
    EXPECT_EQ(rec.curl_code, CURLE_OK);
}

TEST(GetinfoSftpUrl, IsNullWithoutMemory)
{
    const std::string not_unescaped =
        "error: curl_wrapper(2745): curl_easy_unescape(): Failed(sftp://h/a%20b)\n";
    const struct {
        const char *url;
        int nth; // allocation that fails; 0 = libcurl's own
        std::string line;
    } cases[] = {
        {"sftp://h/f", 1, gave_null(1888, "malloc_str1")},
        {"sftp://h/f", 2, gave_null(1991, "malloc_ins_str2")},
        {"sftp://h", 2, gave_null(1982, "malloc_str3")},
        {"sftp://h/a%20b", 0, not_unescaped},
    };
    for (const auto &c : cases) {
        record_t rec;
        rec.fake.tell(CURLINFO_EFFECTIVE_URL, c.url);
        rec.fake.tell(CURLINFO_FTP_ENTRY_PATH, "/home");
        rec.fake.fail_unescape(c.nth == 0 ? 1 : 0);
        const failing_heap heap(c.nth);
        EXPECT_EQ(curl_e_getinfo_effective_sftp_url(&rec), nullptr);
        EXPECT_EQ(rec.error, FTPCD_ERR_NO_MEMORY);
        EXPECT_EQ(logged(), lines{c.line});
    }
}
