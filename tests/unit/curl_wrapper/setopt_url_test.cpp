#include "failing_heap.h"
#include "setter.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

#include <gtest/gtest.h>

TEST(SetoptUrl, SetsTheEscapedUrl)
{
    check_setter({[](curl_e_handle_t *r) { curl_e_setopt_url(r, "ftp://h/a b%41"); },
                  {{"URL", "'ftp://h/a%20b%2541'", 766}}});
}

TEST(SetoptFileUrl, EscapesWhatWouldEndThePathAsWell)
{
    check_setter({[](curl_e_handle_t *r) { curl_e_setopt_file_url(r, "sftp://h/a?b#c%d/;e"); },
                  {{"URL", "'sftp://h/a%3Fb%23c%25d/;e'", 771}}});
}

TEST(SetoptFileUrl, NothingIsSetWithoutMemoryToEscape)
{
    record_t rec;
    const failing_heap heap(1);
    curl_e_setopt_file_url(&rec, "sftp://h/f");
    EXPECT_EQ(rec.fake.calls(), lines{});
    EXPECT_EQ(rec.error, FTPCD_ERR_NO_MEMORY);
}

TEST(SetoptUrl, NullIsRefused)
{
    record_t rec;
    curl_e_setopt_url(&rec, nullptr);
    EXPECT_EQ(rec.fake.calls(), lines{});
    EXPECT_EQ(rec.error, FTPCD_ERR_INTERNAL);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(758): url: NULL\n"});
}

TEST(SetoptUrl, NothingIsSetWithoutMemoryToEscape)
{
    record_t rec;
    const failing_heap heap(1);
    curl_e_setopt_url(&rec, "ftp://h/f");
    EXPECT_EQ(rec.fake.calls(), lines{});
    EXPECT_EQ(rec.curl_code, CURLE_OK);
    EXPECT_EQ(rec.error, FTPCD_ERR_NO_MEMORY);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(2717): malloc(): NULL\n"});
}

TEST(SetoptUrl, NothingIsSetWhenLibcurlCannotEscape)
{
    record_t rec;
    rec.fake.fail_escape(3);
    curl_e_setopt_url(&rec, "ftp://h/a b");
    EXPECT_EQ(rec.fake.calls(), lines{});
    EXPECT_EQ(rec.error, FTPCD_ERR_NO_MEMORY);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(2734): curl_easy_escape(): Failed(ftp://h/a b)\n"});
}

TEST(SetoptUrlEx, JoinsSchemeHostAndPath)
{
    const struct {
        int kind;
        const char *host;
        const char *path;
        const char *url;
    } cases[] = {
        {PROTOCOL_FTP, "h", "f", "'ftp://h/f'"},
        {PROTOCOL_FTPS_IMPLICIT, "h", "f", "'ftps://h/f'"},
        {PROTOCOL_FTPS_EXPLICIT, "h", "f", "'ftp://h/f'"},
        {PROTOCOL_SFTP, "srv", "a b/c", "'sftp://srv/a%20b/c'"},
        {4, "h", "f", "'ftp://h/f'"},
        {-1, "h", "f", "'ftp://h/f'"},
        {PROTOCOL_FTP, "h", "/f", "'ftp://h//f'"},
        {PROTOCOL_FTP, "h", "d/", "'ftp://h/d/'"},
        {PROTOCOL_FTP, "", "", "'ftp:///'"},
    };
    for (const auto &c : cases) {
        check_setter({[&](curl_e_handle_t *r) { curl_e_setopt_url_ex(r, c.kind, c.host, c.path); },
                      {{"URL", c.url, 766}}});
    }
}

TEST(SetoptUrlEx, NothingIsSetWithoutMemory)
{
    record_t rec;
    const failing_heap heap(1);
    curl_e_setopt_url_ex(&rec, PROTOCOL_FTP, "h", "f");
    EXPECT_EQ(rec.fake.calls(), lines{});
    EXPECT_EQ(rec.error, FTPCD_ERR_NO_MEMORY);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(807): malloc_str4(): NULL\n"});
}
