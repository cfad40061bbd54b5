// The proxy's login, which is part of its host.
#include "client_support.h"

TEST(ProxyLogin, IsSentUrlEncodedBeforeTheHost)
{
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"anna", "secret", "anna:secret@proxy"},
        {"", "", "proxy"},
        {"anna", "", "anna:@proxy"},
        {"", "secret", ":secret@proxy"},
        {"AZaz09-._~", "AZaz09-._~", "AZaz09-._~:AZaz09-._~@proxy"},
        {"a@b", "c:d/e?f#g%h i", "a%40b:c%3Ad%2Fe%3Ff%23g%25h%20i@proxy"},
        {"\xC3\xBC", "\r\n\x7f", "%C3%BC:%0D%0A%7F@proxy"},
    };
    for (const auto &[user, password, expected] : cases) {
        request_holder before(FTPCLIENT_FTP); // the calls in the other order
        EXPECT_EQ(ftpclient_request_set_proxy_login(before, user, password), FTPCLIENT_OK);
        EXPECT_EQ(text_at(sent(before), 1292), "") << "no login without a proxy";
        EXPECT_EQ(ftpclient_request_set_proxy(before, "proxy", 3128), FTPCLIENT_OK);
        EXPECT_EQ(text_at(sent(before), 1292), expected);
        request_holder after(FTPCLIENT_FTP);
        EXPECT_EQ(ftpclient_request_set_proxy(after, "proxy", 3128), FTPCLIENT_OK);
        EXPECT_EQ(ftpclient_request_set_proxy_login(after, user, password), FTPCLIENT_OK);
        EXPECT_EQ(sent(after), sent(before));
        EXPECT_EQ(ftpclient_request_set_proxy_login(after, "", ""), FTPCLIENT_OK);
        EXPECT_EQ(text_at(sent(after), 1292), "proxy");
        EXPECT_EQ(ftpclient_request_set_proxy(before, "", 0), FTPCLIENT_OK);
        const bytes_t none = sent(before);
        EXPECT_EQ(bytes_t(none.begin() + 1292, none.begin() + 1548), bytes_t(256, 0));
        EXPECT_EQ(word_at(none, 1552), 0u);
    }
}

TEST(ProxyLogin, MayFillTheRoomThatTheHostLeaves)
{
    for (const size_t host_length : {size_t(1), size_t(10), size_t(200)}) {
        SCOPED_TRACE(host_length);
        request_holder request(FTPCLIENT_FTP);
        const std::string host(host_length, 'h');
        ASSERT_EQ(ftpclient_request_set_proxy(request, host.c_str(), 3128), FTPCLIENT_OK);
        const std::string fits(255 - 2 - host_length, 'u');
        EXPECT_EQ(ftpclient_request_set_proxy_login(request, fits.c_str(), ""), FTPCLIENT_OK);
        EXPECT_EQ(text_at(sent(request), 1292), fits + ":@" + host);
        EXPECT_EQ(ftpclient_request_set_proxy_login(request, "", fits.c_str()), FTPCLIENT_OK);
        const bytes_t before = sent(request);
        EXPECT_EQ(text_at(before, 1292), ":" + fits + "@" + host);
        EXPECT_EQ(ftpclient_request_set_proxy_login(request, "u", fits.c_str()), FTPCLIENT_ERR_TOO_LONG);
        EXPECT_EQ(ftpclient_request_set_proxy_login(request, std::string(5000, '%').c_str(), "x"),
                  FTPCLIENT_ERR_TOO_LONG);
        EXPECT_EQ(ftpclient_request_set_proxy(request, (host + "h").c_str(), 1), FTPCLIENT_ERR_TOO_LONG);
        EXPECT_EQ(sent(request), before) << "a refusal must not change the request";
        EXPECT_EQ(ftpclient_request_set_proxy_login(request, "", ""), FTPCLIENT_OK);
        EXPECT_EQ(text_at(sent(request), 1292), host);
    }
}

TEST(ProxyLogin, AnEscapedCharacterCountsAsThree)
{
    request_holder request(FTPCLIENT_FTP);
    ASSERT_EQ(ftpclient_request_set_proxy(request, "h", 3128), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_proxy_login(request, std::string(84, '@').c_str(), ""), FTPCLIENT_OK);
    EXPECT_EQ(ftpclient_request_set_proxy_login(request, std::string(85, '@').c_str(), ""),
              FTPCLIENT_ERR_TOO_LONG);
    EXPECT_EQ(text_at(sent(request), 1292).size(), 3 * 84 + 3u);
}
