#include "curl_wrapper/redact.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>
#include <string>

static std::string redacted(const std::string &line)
{
    const heap_string text = curl_e_redacted(line);
    return text ? text.get() : "(null)";
}

TEST(Redacted, HidesEveryCredential)
{
    const std::pair<const char *, const char *> cases[] = {
        {"PASS s3cret", "PASS ****"},
        {"PASS ", "PASS ****"},
        {"PASS a b ftp://c:d@e", "PASS ****"},
        {"pass s3cret", "pass ****"},
        {"Authorization: Basic am9lOnMzY3JldA==", "Authorization: ****"},
        {"authorization:Basic x", "authorization: ****"},
        {"Proxy-Authorization: Digest username=\"joe\"", "Proxy-Authorization: ****"},
        {"PROXY-AUTHORIZATION: Basic x", "PROXY-AUTHORIZATION: ****"},
        {"GET ftp://joe:s3cret@h/f HTTP/1.1", "GET ftp://****@h/f HTTP/1.1"},
        {"PUT ftp://joe@h:21/d/f;type=i HTTP/1.1", "PUT ftp://****@h:21/d/f;type=i HTTP/1.1"},
        {"GET ftp://a:b@c@h/f", "GET ftp://****@h/f"},
        {"GET ftp://a:b'c@h/f", "GET ftp://****@h/f"},
        {"GET ftp://:x@h/f", "GET ftp://****@h/f"},
        {"Issue another request to this URL: 'ftp://joe:s3cret@h'",
         "Issue another request to this URL: 'ftp://****@h'"},
        {"ftp://a:b@c ftp://d:e@f/g", "ftp://****@c ftp://****@f/g"},
        {"://x@", "://****@"},
        {"://a@://b@://c@", "://****@://****@://****@"},
        {"ftp://joe:s3cret@", "ftp://****@"},
    };
    for (const auto &[line, expected] : cases)
        EXPECT_EQ(redacted(line), expected) << line;
}

TEST(Redacted, LeavesTextWithoutCredentials)
{
    const char *cases[] = {
        "",
        "USER joe",
        "PASV",
        "PASSWORD",
        "227 Entering Passive Mode (127,0,0,1,4,1)",
        "GET ftp://h/f@g HTTP/1.1",
        "GET ftp://h/?mail=a@b HTTP/1.1",
        "ftp://h?mail=a@b",
        "ftp://h#a@b",
        "GET ftp://@h/f HTTP/1.1",
        "Connected to h (127.0.0.1) port 21 (#0)",
        "mail to a@b, see ftp://h",
        "ftp://h c@d",
        "X-Authorization: none",
        "://",
        "100% %s",
    };
    for (const char *line : cases)
        EXPECT_EQ(redacted(line), line);
}

TEST(Redacted, HasRoomForTheShortestCredentials)
{
    std::string line;
    std::string expected;
    for (int i = 0; i < 1000; ++i) {
        line += "://x@ ";
        expected += "://****@ ";
    }
    EXPECT_EQ(redacted(line), expected);
}

TEST(Redacted, ReadsNoFurtherThanTheLine)
{
    EXPECT_STREQ(curl_e_redacted(std::string_view("ftp://a:b@h", 9)).get(), "ftp://a:b");
}

TEST(Redacted, IsNullWithoutMemory)
{
    const failing_heap heap(1);
    EXPECT_EQ(curl_e_redacted("PASS s3cret"), nullptr);
}
