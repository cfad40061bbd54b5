#include "curl_func/session.h"

#include "job_fixture.h"

class Session : public JobFixture
{
protected:
    Session()
    {
        transfer_request_t &r = job_.record.request;
        SET_TEXT(r.host, "srv");
        SET_TEXT(r.remote_path, "/d/f.bin");
        SET_TEXT(r.username, "user");
        SET_TEXT(r.password, "secret");
        SET_TEXT(r.proxy_host, "proxy");
        r.port = 2121;
        r.proxy_port = 3128;
        r.passive_mode = 1;
    }

    int set()
    {
        wrapper_ = {};
        handle = {};
        return curl_ftp_setting(&handle, &request, &auth);
    }

    transfer_request_t &request = job_.record.request;
    curl_e_handle_t handle{};
    cb_auth_info_t auth{&handle, &request.server_auth};
};

static calls operator+(calls a, const calls &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

static calls opening(uint32_t protocol)
{
    return {"path_as_is(1)", "url_ex(" + std::to_string(protocol) + ", \"srv\", \"/d/f.bin\")", "port(2121)",
            "username_password(\"user\", \"secret\")"};
}

static const calls NO_PROXY{"proxy(0, \"\", 0)", "tcp_keepalive(1, 60, 60)"};
static const calls HTTP_PROXY{"proxy(1, \"proxy\", 3128)", "failonerror(1)"};
static const calls OTHER_PROXY{"proxy(2, \"proxy\", 3128)"};
static const calls ACTIVE{"ftpport()"};
static const calls CLOSING{"maxconnects(1)", "ftp_use_eprt_epsv(0)"};
static const calls FTPS{"use_ssl(3, 0)", "cainfo(NULL)", "capath(NULL)", "ssl_verify(1, 0)",
                        "ssl_ctxfunc_data()"};
static const calls SFTP{"ssh_knownhosts(\"\")", "ssh_keyfunc_data()", "ssh_auth_types(2)"};

static calls security(uint32_t protocol)
{
    return protocol == 1 || protocol == 2 ? FTPS : protocol == 3 ? SFTP : calls{};
}

TEST_F(Session, SetsTheOptionsOfEachProtocolProxyAndModeInTheirOrder)
{
    for (const uint32_t protocol : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 0x7FFFFFFFu})
        for (const uint32_t proxy_type : {0u, 1u, 2u})
            for (const uint32_t passive_mode : {0u, 1u, 7u}) {
                if (protocol == 2 && proxy_type == 1)
                    continue; // refused, below
                request.protocol = protocol;
                request.proxy_type = proxy_type;
                request.passive_mode = passive_mode;
                EXPECT_EQ(set(), 0);
                EXPECT_EQ(wrapper_.asked, opening(protocol) +
                                              (proxy_type == 0   ? NO_PROXY
                                               : proxy_type == 1 ? HTTP_PROXY
                                                                 : OTHER_PROXY) +
                                              (passive_mode == 0 ? ACTIVE : calls{}) + CLOSING +
                                              security(protocol));
            }
}

TEST_F(Session, StopsAtARefusedOption)
{
    const std::pair<uint32_t, uint32_t> table[] = {{0, 0}, {0, 1}, {1, 0}, {2, 0}, {3, 1}};
    for (const auto &[protocol, proxy_type] : table) {
        request.protocol = protocol;
        request.proxy_type = proxy_type;
        request.passive_mode = 0;
        ASSERT_EQ(set(), 0);
        const calls all = wrapper_.asked;
        for (size_t i = 0; i < all.size(); i++) {
            wrapper_ = {};
            handle = {};
            wrapper_.refused = all[i].substr(0, all[i].find('('));
            EXPECT_EQ(curl_ftp_setting(&handle, &request, &auth), 5) << all[i];
            EXPECT_EQ(wrapper_.asked, calls(all.begin(), all.begin() + static_cast<ptrdiff_t>(i) + 1));
        }
    }
}

TEST_F(Session, StopsAtTheFirstOptionAfterAnEarlierError)
{
    handle.error = FTPCD_ERR_INTERNAL;
    EXPECT_EQ(curl_ftp_setting(&handle, &request, &auth), 5);
    EXPECT_EQ(wrapper_.asked.size(), 1u);
}

TEST_F(Session, TheIdentityChecksGetTheirContext)
{
    request.protocol = PROTOCOL_FTPS_IMPLICIT;
    ASSERT_EQ(set(), 0);
    EXPECT_EQ(wrapper_.ssl_ctx, cb_ssl_ctx);
    EXPECT_EQ(wrapper_.auth, &auth);

    request.protocol = PROTOCOL_SFTP;
    ASSERT_EQ(set(), 0);
    EXPECT_EQ(wrapper_.sshkey, cb_sshkey);
    EXPECT_EQ(wrapper_.auth, &auth);
}

TEST_F(Session, PortsReachTheWrapperUnchangedTheProxysSigned)
{
    request.proxy_type = PROXY_HTTP;
    for (const uint32_t port : {0u, 65535u, 65536u, 0xFFFFFFFFu}) {
        request.port = port;
        request.proxy_port = port;
        ASSERT_EQ(set(), 0);
        EXPECT_EQ(wrapper_.asked[2], "port(" + std::to_string(static_cast<long>(port)) + ")");
        EXPECT_EQ(wrapper_.asked[4],
                  "proxy(1, \"proxy\", " + std::to_string(static_cast<int32_t>(port)) + ")");
    }
}

TEST_F(Session, ExplicitFtpsThroughAnHttpProxyIsRefusedSinceItWouldGoInClear)
{
    request.protocol = PROTOCOL_FTPS_EXPLICIT;
    request.proxy_type = PROXY_HTTP;
    EXPECT_EQ(set(), 15);
    EXPECT_EQ(handle.error, 15);
    EXPECT_EQ(wrapper_.asked, calls{});
    EXPECT_EQ(
        logged(),
        lines{"error: curl_func(1061): Explicit FTPS through an HTTP proxy is not supported: no TLS.\n"});
}

TEST_F(Session, AProtocolThatLibcurlCannotDoIsRefusedBeforeAnythingIsSet)
{
    system.curl_ssh = nullptr;
    request.protocol = PROTOCOL_SFTP;
    EXPECT_EQ(set(), 15);
    EXPECT_EQ(wrapper_.asked, calls{});
    EXPECT_EQ(logged(), lines{"error: curl_func(1055): This libcurl lacks what protocol 3 needs.\n"});
    request.protocol = PROTOCOL_FTP;
    EXPECT_EQ(set(), 0);
}

TEST_F(Session, FtpsRunsPassiveWithALibcurlThatLosesTlsInActiveMode)
{
    const std::tuple<unsigned, const char *, bool> table[] = {
        {0x074A00, "7.74.0", false}, {0x075600, "7.86.0", false}, {0x0756FF, "7.86.255", false},
        {0x075700, "7.87.0", true},  {0x075800, "7.88.0", true},  {0x075801, "7.88.1", true},
        {0x075802, "7.88.2", false}, {0x080000, "8.0.0", false},  {0x080500, "8.5.0", false},
    };
    for (const auto &[version_num, text, loses] : table) {
        system.curl_version_num = version_num;
        system.curl_version_text = text;
        for (const uint32_t protocol : {0u, 1u, 2u, 3u, 6u})
            for (const uint32_t passive_mode : {0u, 1u}) {
                request.protocol = protocol;
                request.passive_mode = passive_mode;
                ASSERT_EQ(set(), 0);
                const bool saved = loses && passive_mode == 0 && (protocol == 1 || protocol == 2);
                EXPECT_EQ(wrapper_.asked_of("ftpport").size(), passive_mode == 0 && !saved ? 1u : 0u)
                    << text << ' ' << protocol;
                const std::string line = "curl_func(1092): libcurl " + std::string(text) +
                                         ": no TLS in active mode, passive mode is used.\n";
                EXPECT_EQ(logged(), saved ? lines{line} : lines{});
            }
    }
}
