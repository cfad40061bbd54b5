#include "setter.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

#include <gtest/gtest.h>

static void check_proxy(int kind, const char *host, long port, const std::vector<setting_t> &settings)
{
    check_setter({[&](curl_e_handle_t *r) { curl_e_setopt_proxy(r, kind, host, port); }, settings});
}

TEST(SetoptProxy, SwitchesTheProxyOffUnlessItIsAnHttpProxy)
{
    const std::pair<int, const char *> cases[] = {
        {PROXY_NONE, nullptr},   {PROXY_NONE, ""}, {PROXY_NONE, "h"}, {2, "h"},         {-1, "h"},
        {PROXY_NONE, "ftp://h"}, {2, "ftps://h"},  {3, "sftp://h"},   {2, "https://h"},
    };
    for (const auto &[kind, host] : cases)
        check_proxy(kind, host, 3128,
                    {{"PROXY", "''", 944}, {"PROXYPORT", "0", 952}, {"HTTPPROXYTUNNEL", "0", 960}});
}

TEST(SetoptProxy, SetsAnHttpProxyAndNeverTunnels)
{
    for (const std::string host : {"h", "http://h", "h:8080", "ftp://h", ""})
        for (const long port : {0, 3128, 65535})
            check_proxy(PROXY_HTTP, host.c_str(), port,
                        {{"PROXYTYPE", "0", 928, "CURLPROXY_HTTP"},
                         {"PROXY", "'" + host + "'", 944},
                         {"PROXYPORT", std::to_string(port), 952},
                         {"HTTPPROXYTUNNEL", "0", 960}});
}

TEST(SetoptProxy, RefusesAnUnusableProxy)
{
    const struct {
        int kind;
        const char *host;
        long port;
        int error;
        const char *line;
    } cases[] = {
        {1, "h", 65536, FTPCD_ERR_INTERNAL, "(889): Illegal port number: 65536\n"},
        {0, nullptr, -1, FTPCD_ERR_INTERNAL, "(889): Illegal port number: -1\n"},
        {1, nullptr, 8080, FTPCD_ERR_INTERNAL, "(897): Proxy name or ip address is null: 1\n"},
        {-3, nullptr, 8080, FTPCD_ERR_INTERNAL, "(897): Proxy name or ip address is null: -3\n"},
        {2, "http://h", 8080, FTPCD_ERR_INTERNAL, "(906): Specified proxy is not a http proxy: 2\n"},
        {0, "http://h", 8080, FTPCD_ERR_INTERNAL, "(906): Specified proxy is not a http proxy: 0\n"},
        {1, "socks4://h", 8080, FTPCD_ERR_NOT_SUPPORTED, "(916): 'socks4://' proxy is not supprted\n"},
        {0, "socks4a://h", 8080, FTPCD_ERR_NOT_SUPPORTED, "(916): 'socks4a://' proxy is not supprted\n"},
        {1, "socks5://h", 8080, FTPCD_ERR_NOT_SUPPORTED, "(916): 'socks5://' proxy is not supprted\n"},
        {5, "socks5h://h", 8080, FTPCD_ERR_NOT_SUPPORTED, "(916): 'socks5h://' proxy is not supprted\n"},
        {1, "SOCKS5://h", 8080, FTPCD_ERR_NOT_SUPPORTED, "(916): 'socks5://' proxy is not supprted\n"},
        {1, "socks://h", 8080, FTPCD_ERR_NOT_SUPPORTED, "(916): 'socks://' proxy is not supprted\n"},
        {2, "Socks://h", 8080, FTPCD_ERR_NOT_SUPPORTED, "(916): 'socks://' proxy is not supprted\n"},
        {2, "HTTP://h", 8080, FTPCD_ERR_INTERNAL, "(906): Specified proxy is not a http proxy: 2\n"},
    };
    for (const auto &c : cases) {
        record_t rec;
        rec.proxy_type = 77;
        curl_e_setopt_proxy(&rec, c.kind, c.host, c.port);
        EXPECT_EQ(rec.fake.calls(), lines{});
        EXPECT_EQ(rec.error, c.error);
        EXPECT_EQ(rec.curl_code, CURLE_OK);
        EXPECT_EQ(rec.proxy_type, 77);
        EXPECT_EQ(logged(), lines{"error: curl_wrapper" + std::string(c.line)});
    }
}

TEST(SetoptProxy, RemembersTheKindThatWasSet)
{
    record_t rec;
    curl_e_setopt_proxy(&rec, 2, "h", 0);
    EXPECT_EQ(rec.proxy_type, 2);
    curl_e_setopt_proxy(&rec, PROXY_NONE, nullptr, 0);
    EXPECT_EQ(rec.proxy_type, PROXY_NONE);
    for (int nth = 1; nth <= 4; ++nth) {
        rec.fake.refuse(nth, CURLE_UNKNOWN_OPTION);
        curl_e_setopt_proxy(&rec, PROXY_HTTP, "h", 8080);
        EXPECT_EQ(rec.proxy_type, PROXY_NONE);
    }
    curl_e_setopt_proxy(&rec, PROXY_HTTP, "h", 8080);
    EXPECT_EQ(rec.proxy_type, PROXY_HTTP);
    logged();
}
