#include "client_support.h"

#include <climits>
#include <functional>

using set_text_t = int (*)(ftpclient_request_t *, const char *);

// One string of a request: how it is set and where it goes.
struct text_case_t {
    const char *name;
    int protocol;
    size_t at;
    size_t size; // of its field, with the terminator
    char first;  // the string is this and then 'x'
    set_text_t set;
};

static int set_host(ftpclient_request_t *r, const char *s) { return ftpclient_request_set_server(r, s, 21); }
static int set_proxy(ftpclient_request_t *r, const char *s)
{
    return ftpclient_request_set_proxy(r, s, 3128);
}
static int set_user(ftpclient_request_t *r, const char *s) { return ftpclient_request_set_login(r, s, ""); }
static int set_password(ftpclient_request_t *r, const char *s)
{
    return ftpclient_request_set_login(r, "", s);
}

static const text_case_t TEXTS[] = {
    {"remote path", FTPCLIENT_FTP, 0, 512, 'x', ftpclient_request_set_remote_path},
    {"local path", FTPCLIENT_FTP, 512, 256, '/', ftpclient_request_set_local_path},
    {"host", FTPCLIENT_FTP, 768, 256, 'x', set_host},
    {"user name", FTPCLIENT_FTP, 1028, 32, 'x', set_user},
    {"password", FTPCLIENT_FTP, 1060, 224, 'x', set_password},
    {"Zixi user name", FTPCLIENT_ZIXI_4, 1092, 64, 'x', set_user},
    {"Zixi password", FTPCLIENT_ZIXI_5, 1156, 128, 'x', set_password},
    {"proxy host", FTPCLIENT_FTP, 1292, 256, 'x', set_proxy},
    {"path of the identity", FTPCLIENT_SFTP, 1817, 259, '/', ftpclient_request_set_save_path},
};

TEST(Request, AStringThatFitsIsSentWholeAndOneByteMoreIsRefused)
{
    for (const text_case_t &text : TEXTS) {
        SCOPED_TRACE(text.name);
        request_holder request(text.protocol);
        const std::string fits = text.first + std::string(text.size - 2, 'x');
        EXPECT_EQ(text.set(request, fits.c_str()), FTPCLIENT_OK);
        const bytes_t before = sent(request);
        EXPECT_EQ(text_at(before, text.at), fits);
        EXPECT_EQ(before[text.at + text.size - 1], 0);
        EXPECT_EQ(text.set(request, (fits + "x").c_str()), FTPCLIENT_ERR_TOO_LONG);
        EXPECT_EQ(text.set(request, (fits + std::string(5000, 'x')).c_str()), FTPCLIENT_ERR_TOO_LONG);
        EXPECT_EQ(text.set(request, nullptr), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(text.set(nullptr, fits.c_str()), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(sent(request), before) << "a refusal leaves the request as it was";
    }
}

TEST(Request, NothingOfALongerStringStaysBehindAShorterOne)
{
    for (const text_case_t &text : TEXTS) {
        SCOPED_TRACE(text.name);
        request_holder request(text.protocol);
        const std::string once = text.first + std::string(20, 'x');
        ASSERT_EQ(text.set(request, once.c_str()), FTPCLIENT_OK);
        ASSERT_EQ(text.set(request, std::string(2, text.first).c_str()), FTPCLIENT_OK);
        const bytes_t bytes = sent(request);
        for (size_t i = 2; i < text.size; i++)
            ASSERT_EQ(bytes[text.at + i], 0) << i;
    }
}

TEST(Request, WhatWouldChangeAStringsMeaningIsRefused)
{
    const struct {
        set_text_t set;
        int protocol;
        const char *text;
        int result;
    } cases[] = {
        {ftpclient_request_set_remote_path, FTPCLIENT_FTP, "a#b", FTPCLIENT_ERR_CHARACTER},
        {ftpclient_request_set_remote_path, FTPCLIENT_FTP, "a?b", FTPCLIENT_ERR_CHARACTER},
        {ftpclient_request_set_remote_path, FTPCLIENT_SFTP, "a\rb", FTPCLIENT_ERR_CHARACTER},
        {ftpclient_request_set_remote_path, FTPCLIENT_SFTP, "a\nb", FTPCLIENT_ERR_CHARACTER},
        {ftpclient_request_set_remote_path, FTPCLIENT_FTPS_EXPLICIT, "a;type=i", FTPCLIENT_ERR_CHARACTER},
        {ftpclient_request_set_remote_path, FTPCLIENT_FTP, "a;TyPe=a", FTPCLIENT_ERR_CHARACTER},
        {ftpclient_request_set_remote_path, FTPCLIENT_SFTP, "a;type=i", FTPCLIENT_OK},
        {ftpclient_request_set_remote_path, FTPCLIENT_FTPS_IMPLICIT, "a\xFF", FTPCLIENT_ERR_CHARACTER},
        {ftpclient_request_set_remote_path, FTPCLIENT_SFTP, "a\xFF", FTPCLIENT_OK},
        {ftpclient_request_set_remote_path, FTPCLIENT_ZIXI_4, "a#?\r\n;type=i", FTPCLIENT_OK},
        {ftpclient_request_set_remote_path, FTPCLIENT_FTP,
         "/gr\xC3\xBC\xC3\x9F"
         "e % & .txt",
         FTPCLIENT_OK},
        {ftpclient_request_set_local_path, FTPCLIENT_FTP, "relative", FTPCLIENT_ERR_ARGUMENT},
        {ftpclient_request_set_local_path, FTPCLIENT_FTP, "", FTPCLIENT_ERR_ARGUMENT},
        {ftpclient_request_set_save_path, FTPCLIENT_SFTP, "relative", FTPCLIENT_ERR_ARGUMENT},
        {ftpclient_request_set_save_path, FTPCLIENT_SFTP, "", FTPCLIENT_OK},
        {ftpclient_request_set_save_path, FTPCLIENT_FTP, "/key", FTPCLIENT_ERR_ARGUMENT},
        {ftpclient_request_set_save_path, FTPCLIENT_ZIXI_4, "/key", FTPCLIENT_ERR_ARGUMENT},
        {set_user, FTPCLIENT_FTP, "a\rb", FTPCLIENT_ERR_CHARACTER},
        {set_user, FTPCLIENT_FTP, "a\nb", FTPCLIENT_ERR_CHARACTER},
        {set_password, FTPCLIENT_FTP, "a\nb", FTPCLIENT_ERR_CHARACTER},
        {set_password, FTPCLIENT_FTP, "#?@:/ ", FTPCLIENT_OK},
        {set_password, FTPCLIENT_ZIXI_4, "a\nb", FTPCLIENT_OK},
        {set_host, FTPCLIENT_FTP, "a/b", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "user@host", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "host:21", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "a%2Fb", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "a b", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "a\nb", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "a\x7f", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "a\tb", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "a#b", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "a?b", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "a\\b", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "", FTPCLIENT_ERR_ARGUMENT},
        {set_host, FTPCLIENT_FTP, "[fe80::1%eth0]", FTPCLIENT_OK},
        {set_host, FTPCLIENT_FTP, "[::1]:21", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "[::1]%20", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP, "[::1/x]", FTPCLIENT_ERR_CHARACTER},
        {set_proxy, FTPCLIENT_FTP, "[::1]:3128", FTPCLIENT_ERR_CHARACTER},
        {set_proxy, FTPCLIENT_FTP, "anna:secret@proxy", FTPCLIENT_ERR_CHARACTER},
        {set_host, FTPCLIENT_FTP,
         "b\xC3\xBC"
         "cher.example",
         FTPCLIENT_OK},
        {set_proxy, FTPCLIENT_FTP, "socks5://proxy", FTPCLIENT_ERR_CHARACTER},
        {set_proxy, FTPCLIENT_ZIXI_4, "proxy", FTPCLIENT_ERR_ARGUMENT},
    };
    for (const auto &c : cases) {
        request_holder request(c.protocol);
        EXPECT_EQ(c.set(request, c.text), c.result) << c.text;
    }
}

TEST(Request, ALoginIsSetWholeOrNotAtAll)
{
    request_holder request(FTPCLIENT_FTP);
    ASSERT_EQ(ftpclient_request_set_login(request, "anna", "secret"), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_login(request, "bert", std::string(224, 'x').c_str()),
              FTPCLIENT_ERR_TOO_LONG);
    EXPECT_EQ(ftpclient_request_set_login(request, "bert", nullptr), FTPCLIENT_ERR_ARGUMENT);
    const bytes_t bytes = sent(request);
    EXPECT_EQ(text_at(bytes, 1028), "anna");
    EXPECT_EQ(text_at(bytes, 1060), "secret");
}

TEST(Request, ANewOneIsPassiveAndOtherwiseEmpty)
{
    for (int protocol = 0; protocol <= 5; protocol++) {
        request_holder request(protocol);
        bytes_t bytes = sent(request);
        EXPECT_EQ(word_at(bytes, 1284), 1u);
        EXPECT_EQ(word_at(bytes, 1288), uint32_t(protocol));
        bytes[1284] = bytes[1288] = 0;
        clear_needed(bytes);
        EXPECT_EQ(bytes, bytes_t(2080, 0));
    }
    for (int protocol : {-1, 6, INT_MAX, INT_MIN}) {
        auto *request = reinterpret_cast<ftpclient_request_t *>(1);
        EXPECT_EQ(ftpclient_request_new(protocol, &request), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(request, nullptr);
    }
    EXPECT_EQ(ftpclient_request_new(0, nullptr), FTPCLIENT_ERR_ARGUMENT);
}

TEST(Request, NumbersGoWhereTheyBelong)
{
    request_holder request(FTPCLIENT_FTP);
    EXPECT_EQ(ftpclient_request_set_server(request, "h", 65535), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_server(request, "other", 65536), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_request_set_passive(request, 0), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_proxy(request, "p", 8080), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_proxy(request, "other", 65536), FTPCLIENT_ERR_ARGUMENT);
    bytes_t bytes = sent(request);
    EXPECT_EQ(word_at(bytes, 1024), 65535u);
    EXPECT_EQ(text_at(bytes, 768), "h");
    EXPECT_EQ(word_at(bytes, 1284), 0u);
    EXPECT_EQ(text_at(bytes, 1292), "p");
    EXPECT_EQ(word_at(bytes, 1548), 8080u);
    EXPECT_EQ(word_at(bytes, 1552), 1u);
    EXPECT_EQ(ftpclient_request_set_proxy(request, "", 0), FTPCLIENT_OK);
    bytes = sent(request);
    EXPECT_EQ(word_at(bytes, 1552), 0u);
    EXPECT_EQ(text_at(bytes, 1292), "");
    for (auto *set :
         {ftpclient_request_set_passive, ftpclient_request_set_resume, ftpclient_request_set_verify,
          ftpclient_request_set_overwrite, ftpclient_request_set_silence, ftpclient_request_set_turn_timeout})
        EXPECT_EQ(set(nullptr, 0), FTPCLIENT_ERR_ARGUMENT);
}

TEST(Request, ResumeIsForLibcurlAndOverwriteForZixi)
{
    request_holder ftp(FTPCLIENT_FTP);
    request_holder zixi(FTPCLIENT_ZIXI_4);
    EXPECT_EQ(ftpclient_request_set_overwrite(ftp, 1), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_request_set_resume(zixi, 1), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_request_set_verify(zixi, 1), FTPCLIENT_ERR_ARGUMENT);
    EXPECT_EQ(ftpclient_request_set_resume(ftp, 7), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_verify(ftp, 7), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_silence(zixi, 1000), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_turn_timeout(zixi, 0), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_overwrite(zixi, 0), FTPCLIENT_OK);
    EXPECT_EQ(word_at(sent(zixi), 2076), 1u);
    EXPECT_EQ(ftpclient_request_set_overwrite(zixi, 1), FTPCLIENT_OK);
    EXPECT_EQ(word_at(sent(zixi), 2076), 0u);
}

TEST(Request, APinIsOfTheProtocolsKindAndTheKindsSize)
{
    const uint8_t digest[21] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21};
    const struct {
        int protocol;
        int pin;
        const uint8_t *digest;
        size_t size;
        int result;
    } cases[] = {
        {FTPCLIENT_SFTP, FTPCLIENT_PIN_MD5, digest, 16, FTPCLIENT_OK},
        {FTPCLIENT_SFTP, FTPCLIENT_PIN_MD5, digest, 15, FTPCLIENT_ERR_ARGUMENT},
        {FTPCLIENT_SFTP, FTPCLIENT_PIN_MD5, digest, 17, FTPCLIENT_ERR_ARGUMENT},
        {FTPCLIENT_SFTP, FTPCLIENT_PIN_MD5, nullptr, 16, FTPCLIENT_ERR_ARGUMENT},
        {FTPCLIENT_SFTP, FTPCLIENT_PIN_SHA1, digest, 20, FTPCLIENT_ERR_ARGUMENT},
        {FTPCLIENT_FTPS_IMPLICIT, FTPCLIENT_PIN_SHA1, digest, 20, FTPCLIENT_OK},
        {FTPCLIENT_FTPS_EXPLICIT, FTPCLIENT_PIN_SHA1, digest, 20, FTPCLIENT_OK},
        {FTPCLIENT_FTPS_EXPLICIT, FTPCLIENT_PIN_SHA1, digest, 19, FTPCLIENT_ERR_ARGUMENT},
        {FTPCLIENT_FTPS_EXPLICIT, FTPCLIENT_PIN_SHA1, digest, 21, FTPCLIENT_ERR_ARGUMENT},
        {FTPCLIENT_FTPS_EXPLICIT, FTPCLIENT_PIN_MD5, digest, 16, FTPCLIENT_ERR_ARGUMENT},
        {FTPCLIENT_FTP, FTPCLIENT_PIN_SHA1, digest, 20, FTPCLIENT_ERR_ARGUMENT},
        {FTPCLIENT_SFTP, FTPCLIENT_PIN_NONE, digest, 16, FTPCLIENT_ERR_ARGUMENT},
        {FTPCLIENT_FTP, FTPCLIENT_PIN_NONE, nullptr, 0, FTPCLIENT_OK},
        {FTPCLIENT_FTP, 3, digest, 16, FTPCLIENT_ERR_ARGUMENT},
    };
    for (const auto &c : cases) {
        request_holder request(c.protocol);
        EXPECT_EQ(ftpclient_request_set_pin(request, c.pin, c.digest, c.size), c.result);
        const bool is_set = c.result == FTPCLIENT_OK && c.size > 0;
        const bytes_t bytes = sent(request);
        EXPECT_EQ(word_at(bytes, 1556), is_set ? uint32_t(c.pin) : 0u);
        EXPECT_EQ(bytes[1560], is_set ? c.size : 0u);
        EXPECT_EQ(bytes[1561], is_set ? 1 : 0);
        if (is_set) {
            EXPECT_EQ(bytes_t(bytes.begin() + 1561, bytes.begin() + 1561 + long(c.size)),
                      bytes_t(digest, digest + c.size));
        }
    }
}

TEST(Request, ClearingAPinLeavesNoneOfIt)
{
    const uint8_t digest[16] = {9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9};
    request_holder request(FTPCLIENT_SFTP);
    ASSERT_EQ(ftpclient_request_set_pin(request, FTPCLIENT_PIN_MD5, digest, 16), FTPCLIENT_OK);
    ASSERT_EQ(ftpclient_request_set_pin(request, FTPCLIENT_PIN_NONE, nullptr, 0), FTPCLIENT_OK);
    const bytes_t bytes = sent(request);
    EXPECT_EQ(bytes_t(bytes.begin() + 1556, bytes.begin() + 1817), bytes_t(261, 0));
}

// It fits no server: what learns an identity and tells the server nothing.
TEST(Request, AFingerprintOfNoSizeIsAPinAllTheSame)
{
    request_holder sftp(FTPCLIENT_SFTP);
    EXPECT_EQ(ftpclient_request_set_pin(sftp, FTPCLIENT_PIN_MD5, nullptr, 0), FTPCLIENT_OK);
    const bytes_t bytes = sent(sftp);
    EXPECT_EQ(word_at(bytes, 1556), 1u);
    EXPECT_EQ(bytes[1560], 0);
    request_holder ftps(FTPCLIENT_FTPS_EXPLICIT);
    EXPECT_EQ(ftpclient_request_set_pin(ftps, FTPCLIENT_PIN_SHA1, nullptr, 0), FTPCLIENT_OK);
    EXPECT_EQ(word_at(sent(ftps), 1556), 2u);
}

TEST(Request, ARefusalLeavesItsReasonInWords)
{
    request_holder request(FTPCLIENT_FTP);
    EXPECT_STREQ(ftpclient_request_complaint(request), "");
    EXPECT_STREQ(ftpclient_request_complaint(nullptr), "");
    EXPECT_EQ(ftpclient_request_set_remote_path(request, "a#b"), FTPCLIENT_ERR_CHARACTER);
    EXPECT_STREQ(ftpclient_request_complaint(request), "remote path: must not hold '#'");
    EXPECT_EQ(ftpclient_request_set_remote_path(request, "ab"), FTPCLIENT_OK);
    EXPECT_STREQ(ftpclient_request_complaint(request), "remote path: must not hold '#'")
        << "the last refusal";
    for (const text_case_t &text : TEXTS) {
        request_holder other(text.protocol);
        EXPECT_NE(text.set(other, std::string(600, '/').c_str()), FTPCLIENT_OK);
        EXPECT_STRNE(ftpclient_request_complaint(other), "") << text.name;
        request_holder lacking(text.protocol);
        EXPECT_EQ(text.set(lacking, nullptr), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_STRNE(ftpclient_request_complaint(lacking), "") << text.name;
    }
}

TEST(Request, EachRefusalHasAReasonOfItsOwn)
{
    const uint8_t digest[16] = {};
    request_holder ftp(FTPCLIENT_FTP);
    request_holder zixi(FTPCLIENT_ZIXI_4);
    const struct {
        ftpclient_request_t *request;
        std::function<int(ftpclient_request_t *)> set;
        const char *about; // the complaint begins with it
    } cases[] = {
        {ftp, [](auto *r) { return ftpclient_request_set_server(r, "h", 65536); }, "host"},
        {ftp, [](auto *r) { return ftpclient_request_set_server(r, "a b", 1); }, "host"},
        {ftp, [](auto *r) { return ftpclient_request_set_login(r, "a\n", ""); }, "user name"},
        {ftp, [](auto *r) { return ftpclient_request_set_login(r, "", "a\n"); }, "password"},
        {ftp, [](auto *r) { return ftpclient_request_set_local_path(r, "relative"); }, "local path"},
        {ftp, [](auto *r) { return ftpclient_request_set_proxy(r, "a/b", 1); }, "proxy"},
        {ftp, [](auto *r) { return ftpclient_request_set_proxy_login(r, nullptr, ""); }, "proxy"},
        {ftp, [](auto *r) { return ftpclient_request_set_proxy_login(r, "", nullptr); }, "proxy"},
        {ftp, [&](auto *r) { return ftpclient_request_set_pin(r, FTPCLIENT_PIN_MD5, digest, 16); }, "pin"},
        {ftp, [](auto *r) { return ftpclient_request_set_save_path(r, "/key"); }, "identity"},
        {ftp, [](auto *r) { return ftpclient_request_set_overwrite(r, 1); }, "overwrite"},
        {zixi, [](auto *r) { return ftpclient_request_set_resume(r, 1); }, "resume"},
        {zixi, [](auto *r) { return ftpclient_request_set_verify(r, 1); }, "verify"},
        {zixi, [](auto *r) { return ftpclient_request_set_proxy_login(r, "a", "b"); }, "proxy"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ftpclient_request_set_remote_path(c.request, std::string(512, 'x').c_str()),
                  FTPCLIENT_ERR_TOO_LONG);
        EXPECT_LT(c.set(c.request), 0) << c.about;
        EXPECT_EQ(std::string(ftpclient_request_complaint(c.request)).find(c.about), 0u)
            << c.about << " has: " << ftpclient_request_complaint(c.request);
    }
}

TEST(Request, APasswordIsInNoComplaint)
{
    request_holder request(FTPCLIENT_FTP);
    EXPECT_EQ(ftpclient_request_set_login(request, "anna", "secret\nsecret"), FTPCLIENT_ERR_CHARACTER);
    EXPECT_EQ(std::string(ftpclient_request_complaint(request)).find("secret"), std::string::npos);
    EXPECT_EQ(ftpclient_request_set_proxy_login(request, "anna", ("secret" + std::string(300, 'x')).c_str()),
              FTPCLIENT_ERR_TOO_LONG);
    EXPECT_EQ(std::string(ftpclient_request_complaint(request)).find("secret"), std::string::npos);
}

TEST(Request, NothingIsFreedTwice) { ftpclient_request_free(nullptr); }
