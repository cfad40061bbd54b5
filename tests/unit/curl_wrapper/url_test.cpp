#include "curl_wrapper/url.h"
#include "record.h"
#include "support/failing_heap.h"
#include "wire/result_codes.h"

#include <gtest/gtest.h>

static std::string escaped(const std::string &url)
{
    record_t rec;
    const heap_string text = curl_e_escaped_url(&rec, url.c_str(), RESERVED);
    return text ? text.get() : "(null)";
}

TEST(EscapedUrl, KeepsTheReservedCharactersAndEscapesTheRest)
{
    const std::pair<const char *, const char *> cases[] = {
        {"", ""},
        {"!#$&'()*+,/:;=?@[]", "!#$&'()*+,/:;=?@[]"},
        {"AZaz09-._~", "AZaz09-._~"},
        {"a b", "a%20b"},
        {"%41", "%2541"},
        {"100%", "100%25"},
        {"\"<>\\^`{|}", "%22%3C%3E%5C%5E%60%7B%7C%7D"},
        {"\t\r\n\x7f", "%09%0D%0A%7F"},
        {"gr\xc3\xbc\xc3\x9f"
         "e",
         "gr%C3%BC%C3%9Fe"},
        {"\xff", "%FF"},
        {"ftp://h/a b/c", "ftp://h/a%20b/c"},
    };
    for (const auto &[url, expected] : cases)
        EXPECT_EQ(escaped(url), expected) << url;
}

TEST(EscapedUrl, HasRoomForAUrlWithEveryByteEscaped)
{
    std::string threefold;
    for (int i = 0; i < 5000; ++i)
        threefold += "%20";
    EXPECT_EQ(escaped(std::string(5000, ' ')), threefold);
}

TEST(PlainUrl, IsTheInverseOfTheEscapingForEveryByte)
{
    record_t rec;
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    all += "%41%2541%zz%";
    const heap_string escaped = curl_e_escaped_url(&rec, all.c_str(), RESERVED);
    const curl_string plain = curl_e_plain_url(&rec, escaped.get());
    ASSERT_TRUE(plain);
    EXPECT_EQ(all, plain.get());
    EXPECT_STREQ(curl_e_plain_url(&rec, "").get(), "");
}

TEST(SchemeOf, IsTheFirstMatchAtTheUrlsStart)
{
    const std::pair<const char *, scheme_t> cases[] = {
        {"http://h", SCHEME_HTTP},
        {"ftp://h", SCHEME_FTP},
        {"ftps://h", SCHEME_FTPS},
        {"sftp://h", SCHEME_SFTP},
        {"socks4://h", SCHEME_SOCKS4},
        {"socks4a://h", SCHEME_SOCKS4A},
        {"socks5://h", SCHEME_SOCKS5},
        {"socks5h://h", SCHEME_SOCKS5H},
        {"socks://h", SCHEME_SOCKS},
        {"SOCKS://h", SCHEME_SOCKS},
        {"Socks5H://h", SCHEME_SOCKS5H},
        {"https://h", SCHEME_NONE},
        {"h", SCHEME_NONE},
        {"", SCHEME_NONE},
        {"ftp:/h", SCHEME_NONE},
        {"FTP://h", SCHEME_FTP},
        {" ftp://h", SCHEME_NONE},
        {"ftp://", SCHEME_FTP},
    };
    for (const auto &[url, scheme] : cases)
        EXPECT_EQ(curl_e_scheme_of(url), scheme) << url;
}
