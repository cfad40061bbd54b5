#include "client_support.h"

#include <climits>

using set_text_t = int (*)(ftpclient_request_t *, const char *);

// One string of a request: its setter and its field.
struct text_case_t {
    const char *name;
    int protocol;
    size_t at;
    size_t size; // of the field, with the terminator
    char first;  // of the test's string, followed by 'x'
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
    {"user name", FTPCLIENT_ZIXI_4, 1092, 64, 'x', set_user},
    {"password", FTPCLIENT_ZIXI_5, 1156, 128, 'x', set_password},
    {"proxy host", FTPCLIENT_FTP, 1292, 256, 'x', set_proxy},
    {"identity file", FTPCLIENT_SFTP, 1817, 259, '/', ftpclient_request_set_save_path},
};

TEST(Request, AStringOfMaximumLengthIsSentWholeAndALongerOneRefused)
{
    for (const text_case_t &text : TEXTS) {
        SCOPED_TRACE(text.name);
        request_holder request(text.protocol);
        const std::string fits = text.first + std::string(text.size - 2, 'x');
        EXPECT_EQ(text.set(request, fits.c_str()), FTPCLIENT_OK);
        EXPECT_STREQ(ftpclient_request_complaint(request), "");
        const bytes_t before = sent(request);
        EXPECT_EQ(text_at(before, text.at), fits);
        EXPECT_EQ(before[text.at + text.size - 1], 0);
        EXPECT_EQ(text.set(request, (fits + "x").c_str()), FTPCLIENT_ERR_TOO_LONG);
        const std::string sizes = ": " + std::to_string(text.size) + " bytes are too many, at most " +
                                  std::to_string(text.size - 1) + " fit";
        EXPECT_EQ(ftpclient_request_complaint(request), text.name + sizes);
        EXPECT_EQ(text.set(request, (fits + std::string(5000, 'x')).c_str()), FTPCLIENT_ERR_TOO_LONG);
        EXPECT_EQ(text.set(request, nullptr), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(ftpclient_request_complaint(request), text.name + std::string(": is missing"));
        EXPECT_EQ(text.set(nullptr, fits.c_str()), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(sent(request), before) << "a refusal must not change the request";
        ASSERT_EQ(text.set(request, std::string(2, text.first).c_str()), FTPCLIENT_OK);
        const bytes_t shorter = sent(request);
        for (size_t i = 2; i < text.size; i++)
            ASSERT_EQ(shorter[text.at + i], 0) << "left of the longer string: byte " << i;
    }
}

TEST(Request, CharactersThatChangeAStringsMeaningAreRefused)
{
    const auto set_remote = ftpclient_request_set_remote_path;
    const auto set_save = ftpclient_request_set_save_path;
    const char *UTF8 = "/gr\xC3\xBC\xC3\x9F";
    const std::tuple<set_text_t, int, int, std::vector<const char *>> rows[] = {
        {set_remote, FTPCLIENT_FTP, FTPCLIENT_ERR_CHARACTER, {"a#b", "a?b", "a;TyPe=a"}},
        {set_remote, FTPCLIENT_SFTP, FTPCLIENT_ERR_CHARACTER, {"a\rb", "a\nb"}},
        {set_remote, FTPCLIENT_FTPS_EXPLICIT, FTPCLIENT_ERR_CHARACTER, {"a;type=i"}},
        {set_remote, FTPCLIENT_FTPS_IMPLICIT, FTPCLIENT_ERR_CHARACTER, {"a\xFF"}},
        {set_remote, FTPCLIENT_SFTP, FTPCLIENT_OK, {"a;type=i", "a\xFF"}},
        {set_remote, FTPCLIENT_ZIXI_4, FTPCLIENT_OK, {"a#?\r\n;type=i"}},
        {set_remote, FTPCLIENT_FTP, FTPCLIENT_OK, {UTF8, "e % & .txt"}},
        {ftpclient_request_set_local_path, FTPCLIENT_FTP, FTPCLIENT_ERR_ARGUMENT, {"relative", ""}},
        {set_save, FTPCLIENT_SFTP, FTPCLIENT_ERR_ARGUMENT, {"relative"}},
        {set_save, FTPCLIENT_SFTP, FTPCLIENT_OK, {""}},
        {set_save, FTPCLIENT_FTP, FTPCLIENT_ERR_ARGUMENT, {"/key"}},
        {set_save, FTPCLIENT_ZIXI_4, FTPCLIENT_ERR_ARGUMENT, {"/key"}},
        {set_user, FTPCLIENT_FTP, FTPCLIENT_ERR_CHARACTER, {"a\rb", "a\nb"}},
        {set_password, FTPCLIENT_FTP, FTPCLIENT_ERR_CHARACTER, {"a\rb", "a\nb"}},
        {set_password, FTPCLIENT_FTP, FTPCLIENT_OK, {"#?@:/ "}},
        {set_password, FTPCLIENT_ZIXI_4, FTPCLIENT_OK, {"a\nb"}},
        {set_host, FTPCLIENT_FTP, FTPCLIENT_ERR_CHARACTER, {"a/b", "user@host", "host:21", "a%2Fb"}},
        {set_host, FTPCLIENT_FTP, FTPCLIENT_ERR_CHARACTER, {"a b", "a\nb", "a\x7f", "a\tb"}},
        {set_host, FTPCLIENT_FTP, FTPCLIENT_ERR_CHARACTER, {"a#b", "a?b", "a\\b"}},
        {set_host, FTPCLIENT_FTP, FTPCLIENT_ERR_CHARACTER, {"[::1]:21", "[::1]%20", "[::1/x]"}},
        {set_host, FTPCLIENT_FTP, FTPCLIENT_ERR_ARGUMENT, {""}},
        {set_host, FTPCLIENT_FTP, FTPCLIENT_OK, {"[fe80::1%eth0]", UTF8 + 1}},
        {set_proxy, FTPCLIENT_FTP, FTPCLIENT_ERR_CHARACTER, {"[::1]:3128", "anna:secret@proxy"}},
        {set_proxy, FTPCLIENT_FTP, FTPCLIENT_ERR_CHARACTER, {"socks5://proxy"}},
        {set_proxy, FTPCLIENT_ZIXI_4, FTPCLIENT_ERR_ARGUMENT, {"proxy"}},
    };
    for (const auto &[set, protocol, result, texts] : rows) {
        for (const char *text : texts) {
            request_holder request(protocol);
            EXPECT_EQ(set(request, text), result) << text;
            EXPECT_EQ(strlen(ftpclient_request_complaint(request)) > 0, result != FTPCLIENT_OK) << text;
        }
    }
}

TEST(Request, ALoginIsSetCompletelyOrNotAtAll)
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
        for (const auto &needed : NEEDED)
            std::fill_n(bytes.begin() + long(needed.at), strlen(needed.text), uint8_t(0));
        EXPECT_EQ(bytes, bytes_t(2080, 0));
    }
    for (int protocol : {-1, 6, INT_MAX, INT_MIN}) {
        auto *request = reinterpret_cast<ftpclient_request_t *>(1);
        EXPECT_EQ(ftpclient_request_new(protocol, &request), FTPCLIENT_ERR_ARGUMENT);
        EXPECT_EQ(request, nullptr);
    }
    EXPECT_EQ(ftpclient_request_new(0, nullptr), FTPCLIENT_ERR_ARGUMENT);
}

TEST(Request, NumbersAreStoredAtTheirPlaces)
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

TEST(Request, OverwriteIsTheInverseOfTheResumeWord)
{
    request_holder ftp(FTPCLIENT_FTP);
    request_holder zixi(FTPCLIENT_ZIXI_4);
    EXPECT_EQ(ftpclient_request_set_resume(ftp, 7), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_verify(ftp, 7), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_silence(zixi, 1000), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_turn_timeout(zixi, 0), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_overwrite(zixi, 0), FTPCLIENT_OK);
    EXPECT_EQ(word_at(sent(zixi), 2076), 1u);
    EXPECT_EQ(ftpclient_request_set_overwrite(zixi, 1), FTPCLIENT_OK);
    EXPECT_EQ(word_at(sent(zixi), 2076), 0u);
}

TEST(Request, APinHasItsProtocolsKindAndSizeAndClearingItLeavesNothing)
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
        // It matches no server: for reading a server's identity without sending it anything.
        {FTPCLIENT_SFTP, FTPCLIENT_PIN_MD5, nullptr, 0, FTPCLIENT_OK},
        {FTPCLIENT_FTPS_EXPLICIT, FTPCLIENT_PIN_SHA1, nullptr, 0, FTPCLIENT_OK},
        {FTPCLIENT_SFTP, FTPCLIENT_PIN_NONE, digest, 16, FTPCLIENT_ERR_ARGUMENT},
        {FTPCLIENT_FTP, FTPCLIENT_PIN_NONE, nullptr, 0, FTPCLIENT_OK},
        {FTPCLIENT_FTP, 3, digest, 16, FTPCLIENT_ERR_ARGUMENT},
    };
    for (const auto &c : cases) {
        request_holder request(c.protocol);
        EXPECT_EQ(ftpclient_request_set_pin(request, c.pin, c.digest, c.size), c.result);
        const bool is_set = c.result == FTPCLIENT_OK;
        bytes_t expected(c.digest, c.digest + (is_set ? c.size : 0));
        expected.resize(256);
        const bytes_t bytes = sent(request);
        EXPECT_EQ(word_at(bytes, 1556), is_set ? uint32_t(c.pin) : 0u);
        EXPECT_EQ(bytes[1560], is_set ? c.size : 0u);
        EXPECT_EQ(bytes_t(bytes.begin() + 1561, bytes.begin() + 1817), expected);
        ASSERT_EQ(ftpclient_request_set_pin(request, FTPCLIENT_PIN_NONE, nullptr, 0), FTPCLIENT_OK);
        const bytes_t cleared = sent(request);
        EXPECT_EQ(bytes_t(cleared.begin() + 1556, cleared.begin() + 1817), bytes_t(261, 0));
    }
}

TEST(Request, EachRefusalHasAReasonOfItsOwn)
{
    const uint8_t digest[16] = {};
    const std::string long_secret = "secret" + std::string(300, 'x');
    request_holder ftp(FTPCLIENT_FTP);
    request_holder zixi(FTPCLIENT_ZIXI_4);
    const struct {
        ftpclient_request_t *request;
        std::function<int(ftpclient_request_t *)> set;
        const char *about; // start of the complaint
    } cases[] = {
        {ftp, [](auto *r) { return ftpclient_request_set_remote_path(r, "a#b"); },
         "remote path: must not hold '#'"},
        {ftp, [](auto *r) { return set_user(r, "a\rb"); }, "user name: must not hold a carriage return"},
        {ftp, [](auto *r) { return ftpclient_request_set_remote_path(r, ";type=a"); },
         "remote path: must not hold ';type='"},
        {ftp, [](auto *r) { return ftpclient_request_set_server(r, "h", 65536); }, "host"},
        {ftp, [](auto *r) { return set_host(r, "a b"); }, "host: must not hold a blank"},
        {ftp, [](auto *r) { return set_user(r, "a\n"); }, "user name: must not hold a line feed"},
        {ftp, [](auto *r) { return set_password(r, "secret\n"); }, "password: must not hold a line feed"},
        {ftp, [](auto *r) { return ftpclient_request_set_proxy_login(r, nullptr, ""); }, "proxy"},
        {ftp, [](auto *r) { return ftpclient_request_set_proxy_login(r, "", nullptr); }, "proxy"},
        {ftp, [&](auto *r) { return ftpclient_request_set_proxy_login(r, "", long_secret.c_str()); },
         "proxy"},
        {ftp, [&](auto *r) { return ftpclient_request_set_pin(r, FTPCLIENT_PIN_MD5, digest, 16); }, "pin"},
        {ftp, [](auto *r) { return ftpclient_request_set_overwrite(r, 1); }, "overwrite"},
        {zixi, [](auto *r) { return ftpclient_request_set_resume(r, 1); }, "resume"},
        {zixi, [](auto *r) { return ftpclient_request_set_verify(r, 1); }, "verify"},
        {zixi, [](auto *r) { return ftpclient_request_set_proxy_login(r, "a", "b"); }, "proxy"},
    };
    EXPECT_STREQ(ftpclient_request_complaint(nullptr), "");
    for (const auto &c : cases) {
        EXPECT_EQ(ftpclient_request_set_remote_path(c.request, std::string(512, 'x').c_str()),
                  FTPCLIENT_ERR_TOO_LONG);
        EXPECT_LT(c.set(c.request), 0) << c.about;
        EXPECT_THAT(ftpclient_request_complaint(c.request), testing::StartsWith(c.about));
        EXPECT_THAT(ftpclient_request_complaint(c.request), testing::Not(testing::HasSubstr("secret")));
    }
}

TEST(Request, NothingIsFreedTwice) { ftpclient_request_free(nullptr); }
