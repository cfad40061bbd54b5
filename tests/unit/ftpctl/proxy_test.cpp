#include "ftpctl/url.h"

#include "refused.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(Proxy, HasADefaultPortAndMayHaveItsSchemeAndAUser)
{
    const struct {
        const char *text;
        const char *user; // NULL: none
        const char *host;
        uint32_t port;
    } cases[] = {{"proxy", nullptr, "proxy", 3128},
                 {"http://proxy:80", nullptr, "proxy", 80},
                 {"[::1]:3129", nullptr, "[::1]", 3129},
                 {"anna@proxy", "anna", "proxy", 3128},
                 {"http://a%40b@proxy:1", "a@b", "proxy", 1},
                 {"a%3Ab@proxy", "a:b", "proxy", 3128},
                 {"@proxy", "", "proxy", 3128}};
    for (const auto &c : cases) {
        const server_t proxy = url_parse_proxy(c.text);
        EXPECT_EQ(proxy.user.value_or("(none)"), c.user == nullptr ? "(none)" : c.user) << c.text;
        EXPECT_EQ(proxy.host, c.host) << c.text;
        EXPECT_EQ(proxy.port, c.port) << c.text;
    }
}

TEST(Proxy, IsRefusedWithOneClearLine)
{
    const struct {
        const char *text;
        const char *line;
    } cases[] = {{"socks5://proxy", "2 --proxy: only HTTP proxies"},
                 {"", "2 --proxy: the host is missing"},
                 {"anna@", "2 --proxy: the host is missing"},
                 {"proxy:0", "2 --proxy: the port"},
                 {"anna:secret@proxy", "2 --proxy: must not hold a password; use --proxy-password-file"},
                 {":@proxy", "2 --proxy: must not hold a password"}};
    for (const auto &c : cases)
        EXPECT_THAT(failure_of([&] { url_parse_proxy(c.text); }),
                    AllOf(StartsWith(c.line), Not(HasSubstr("secret"))))
            << c.text;
}
