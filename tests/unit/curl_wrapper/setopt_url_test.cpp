#include "setter.h"
#include "support/failing_heap.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

#include <gtest/gtest.h>

TEST(SetoptUrl, SetsTheEscapedUrl)
{
    check_setter({[](curl_e_handle_t *r) { curl_e_setopt_url(r, "ftp://h/a b%41"); },
                  {{"URL", "'ftp://h/a%20b%2541'", 766}}});
}

TEST(SetoptFileUrl, AlsoEscapesWhatWouldEndThePath)
{
    check_setter({[](curl_e_handle_t *r) { curl_e_setopt_file_url(r, "sftp://h/a?b#c%d/;e"); },
                  {{"URL", "'sftp://h/a%3Fb%23c%25d/;e'", 771}}});
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

TEST(SetoptUrl, NothingIsSetWithoutAUrlOrMemoryToEscapeIt)
{
    using rec_t = curl_e_handle_t;
    const struct {
        void (*call)(rec_t *rec);
        int allocation; // that fails; 0 = none
        int escape;     // call that fails; 0 = none
        int error;
        std::string line;
    } cases[] = {
        {[](rec_t *r) { curl_e_setopt_url(r, nullptr); }, 0, 0, 5, "error: curl_wrapper(758): url: NULL\n"},
        {[](rec_t *r) { curl_e_setopt_url(r, "ftp://h/f"); }, 1, 0, 11, gave_null(2717, "malloc")},
        {[](rec_t *r) { curl_e_setopt_file_url(r, "sftp://h/f"); }, 1, 0, 11, gave_null(2717, "malloc")},
        {[](rec_t *r) { curl_e_setopt_url_ex(r, 0, "h", "f"); }, 1, 0, 11, gave_null(807, "malloc_str4")},
        {[](rec_t *r) { curl_e_setopt_url(r, "ftp://h/a b"); }, 0, 3, 11,
         "error: curl_wrapper(2734): curl_easy_escape(): Failed(ftp://h/a b)\n"},
    };
    for (const auto &c : cases) {
        record_t rec;
        rec.fake.fail_escape(c.escape);
        const failing_heap heap(c.allocation);
        c.call(&rec);
        EXPECT_EQ(rec.fake.calls(), lines{});
        EXPECT_EQ(rec.curl_code, CURLE_OK);
        EXPECT_EQ(rec.error, c.error);
        EXPECT_EQ(logged(), lines{c.line});
    }
}
