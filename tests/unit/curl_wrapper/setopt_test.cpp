#include "setter.h"
#include "wire/result_codes.h"

#include <gtest/gtest.h>

TEST(Setopt, SetsItsOptionsInOrderAndEndsAtTheFirstRefusal)
{
    using rec_t = curl_e_handle_t;
    const setter_t setters[] = {
        {[](rec_t *r) { curl_e_setopt_interface(r, "eth0"); }, {{"INTERFACE", "'eth0'", 741}}},
        {[](rec_t *r) { curl_e_setopt_port(r, 2121); }, {{"PORT", "2121", 832}}},
        {[](rec_t *r) { curl_e_setopt_username_password(r, "joe", "p@ss"); },
         {{"USERNAME", "'joe'", 856}, {"PASSWORD", "'p@ss'", 866}}},
        {[](rec_t *r) { curl_e_setopt_username_password(r, nullptr, nullptr); },
         {{"USERNAME", "''", 856}, {"PASSWORD", "''", 866}}},
        {[](rec_t *r) { curl_e_setopt_ftpport(r); }, {{"FTPPORT", "'-'", 979}}},
        {[](rec_t *r) { curl_e_setopt_append(r, 7); }, {{"APPEND", "7", 994, "7"}}},
        {[](rec_t *r) { curl_e_setopt_upload_buffersize(r, 2097152); },
         {{"UPLOAD_BUFFERSIZE", "2097152", 1045}}},
        {[](rec_t *r) { curl_e_setopt_nosignal(r, 1); }, {{"NOSIGNAL", "1", 552}}},
        {[](rec_t *r) { curl_e_setopt_path_as_is(r, 1); }, {{"PATH_AS_IS", "1", 776}}},
        {[](rec_t *r) { curl_e_setopt_failonerror(r, 1); }, {{"FAILONERROR", "1", 1054}}},
        {[](rec_t *r) { curl_e_setopt_http_version(r, 1); }, {{"HTTP_VERSION", "1", 1070}}},
        {[](rec_t *r) { curl_e_setopt_operation_timeout(r, 180); }, {{"TIMEOUT", "180", 1090}}},
        {[](rec_t *r) { curl_e_setopt_operation_timeout(r, -1); }, {{"TIMEOUT", "0", 1090}}},
        {[](rec_t *r) { curl_e_setopt_connect_timeout(r, 30); },
         {{"CONNECTTIMEOUT", "30", 1110}, {"ACCEPTTIMEOUT_MS", "30000", 1116}}},
        {[](rec_t *r) { curl_e_setopt_connect_timeout(r, -5); },
         {{"CONNECTTIMEOUT", "0", 1110}, {"ACCEPTTIMEOUT_MS", "0", 1116}}},
        {[](rec_t *r) { curl_e_setopt_curlopt_connect_only(r, 1); }, {{"CONNECT_ONLY", "1", 1133}}},
        {[](rec_t *r) { curl_e_setopt_curlopt_fresh_connect(r, 1); }, {{"FRESH_CONNECT", "1", 1152}}},
        {[](rec_t *r) { curl_e_setopt_curlopt_maxconnects(r, 1); }, {{"MAXCONNECTS", "1", 1168}}},
        {[](rec_t *r) { curl_e_setopt_curlopt_wildcardmatch(r, 1); }, {{"WILDCARDMATCH", "1", 1184}}},
        {[](rec_t *r) { curl_e_setopt_curlopt_ftp_use_eprt_epsv(r, 0); },
         {{"FTP_USE_EPRT", "0", 1200}, {"FTP_USE_EPSV", "0", 1206}}},
        {[](rec_t *r) { curl_e_setopt_tcp_keepalive(r, 5, 60, 61); },
         {{"TCP_KEEPALIVE", "1", 1225}, {"TCP_KEEPIDLE", "60", 1232}, {"TCP_KEEPINTVL", "61", 1238}}},
        {[](rec_t *r) { curl_e_setopt_tcp_keepalive(r, 0, 60, 61); }, {{"TCP_KEEPALIVE", "0", 1225}}},
        {[](rec_t *r) { curl_e_setopt_ssh_knownhosts(r, ""); }, {{"SSH_KNOWNHOSTS", "''", 1257}}},
        {[](rec_t *r) { curl_e_setopt_ssh_auth_types(r, 2); }, {{"SSH_AUTH_TYPES", "2", 1279}}},
        {[](rec_t *r) { curl_e_setopt_ssh_keyfile(r, "/k.pub", "/k", "open"); },
         {{"SSH_PUBLIC_KEYFILE", "'/k.pub'", 1303},
          {"SSH_PRIVATE_KEYFILE", "'/k'", 1312},
          {"KEYPASSWD", "'open'", 1321}}},
        {[](rec_t *r) { curl_e_setopt_ssh_keyfile(r, nullptr, nullptr, nullptr); },
         {{"SSH_PUBLIC_KEYFILE", "''", 1303},
          {"SSH_PRIVATE_KEYFILE", "''", 1312},
          {"KEYPASSWD", "''", 1321}}},
        {[](rec_t *r) { curl_e_setopt_use_ssl(r, 3, 2); },
         {{"USE_SSL", "3", 1348}, {"FTPSSLAUTH", "2", 1355}, {"SSLVERSION", "0", 1362}}},
        {[](rec_t *r) { curl_e_setopt_ftp_skip_pasv_ip(r, 1); }, {{"FTP_SKIP_PASV_IP", "1", 1380}}},
        {[](rec_t *r) { curl_e_setopt_ftp_ssl_ccc(r, 2); }, {{"FTP_SSL_CCC", "2", 1399}}},
        {[](rec_t *r) { curl_e_setopt_cainfo(r, "/ca.pem"); }, {{"CAINFO", "'/ca.pem'", 1416}}},
        {[](rec_t *r) { curl_e_setopt_cainfo(r, nullptr); }, {{"CAINFO", "NULL", 1416}}},
        {[](rec_t *r) { curl_e_setopt_capath(r, "/ca"); }, {{"CAPATH", "'/ca'", 1433}}},
        {[](rec_t *r) { curl_e_setopt_capath(r, nullptr); }, {{"CAPATH", "NULL", 1433}}},
        {[](rec_t *r) { curl_e_setopt_ssl_verify(r, 1, 0); },
         {{"SSL_VERIFYPEER", "1", 1453}, {"SSL_VERIFYHOST", "0", 1462}}},
        {[](rec_t *r) { curl_e_setopt_ssl_verify(r, 0, 1); },
         {{"SSL_VERIFYPEER", "0", 1453}, {"SSL_VERIFYHOST", "2", 1462}}},
    };
    for (const setter_t &setter : setters)
        check_setter(setter);
#if LIBCURL_VERSION_NUM >= 0x075700 // missing in older releases
    check_setter({[](rec_t *r) { curl_e_setopt_quick_exit(r, 1); }, {{"QUICK_EXIT", "1", 545}}});
#endif
}

TEST(Setopt, PortAcceptsFrom0To65535)
{
    for (const long port : {0L, 1L, 65535L}) {
        record_t rec;
        curl_e_setopt_port(&rec, port);
        EXPECT_EQ(rec.fake.calls(), lines{"PORT " + std::to_string(port)});
        EXPECT_EQ(is_curl_error(&rec), 0);
    }
    for (const long port : {65536L, -1L, 2147483647L}) {
        record_t rec;
        curl_e_setopt_port(&rec, port);
        EXPECT_EQ(rec.fake.calls(), lines{});
        EXPECT_EQ(rec.error, FTPCD_ERR_INTERNAL);
        EXPECT_EQ(logged(),
                  lines{"error: curl_wrapper(826): Illegal port number: " + std::to_string(port) + "\n"});
    }
}

TEST(Setopt, ConnectOnlyIsRememberedOnceLibcurlHasTakenIt)
{
    record_t rec;
    curl_e_setopt_curlopt_connect_only(&rec, 5);
    EXPECT_EQ(rec.connect_only, 1);
    rec.fake.refuse(CURLOPT_CONNECT_ONLY, CURLE_UNKNOWN_OPTION);
    curl_e_setopt_curlopt_connect_only(&rec, 0);
    EXPECT_EQ(rec.connect_only, 1);
    curl_e_setopt_curlopt_connect_only(&rec, 0);
    EXPECT_EQ(rec.connect_only, 0);
    logged();
}

TEST(Setopt, ALaterSuccessLeavesTheErrorOfAnEarlierRefusal)
{
    record_t rec;
    rec.fake.refuse(1, CURLE_UNKNOWN_OPTION);
    curl_e_setopt_failonerror(&rec, 1);
    curl_e_setopt_http_version(&rec, 1);
    EXPECT_EQ(rec.curl_code, CURLE_OK);
    EXPECT_EQ(rec.error, FTPCD_ERR_INTERNAL);
    logged();
}
