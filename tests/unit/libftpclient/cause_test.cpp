// Why a job failed, from the result, libcurl's code and the server's reply. The rows are libcurl's values in
// each situation.
#include "libftpclient/ftpclient.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

static ftpclient_progress_t progress_of(int curl_code, int type, int reply)
{
    return {0, 0, 0, curl_code, 0, type, reply, 0, 0};
}

enum { NO_REPLY = 0, FTP = 1, HTTP = 2, ZIXI = 3 };

struct row_t {
    const char *situation;
    int curl_code;
    int type;
    int reply;
    int cause;
};

static const row_t FAILED_IN_THE_NETWORK[] = {
    {"wrong password over FTP", CURLE_LOGIN_DENIED, FTP, 530, FTPCLIENT_CAUSE_LOGIN},
    {"wrong password over SFTP", CURLE_LOGIN_DENIED, NO_REPLY, 0, FTPCLIENT_CAUSE_LOGIN},
    {"no such file over FTP", CURLE_REMOTE_FILE_NOT_FOUND, FTP, 550, FTPCLIENT_CAUSE_NO_FILE},
    {"no such file over SFTP", CURLE_REMOTE_FILE_NOT_FOUND, NO_REPLY, 0, FTPCLIENT_CAUSE_NO_FILE},
    {"no such folder over FTP", CURLE_REMOTE_ACCESS_DENIED, FTP, 550, FTPCLIENT_CAUSE_NO_FILE},
    {"no such folder in a listing", CURLE_FTP_COULDNT_RETR_FILE, FTP, 550, FTPCLIENT_CAUSE_NO_FILE},
    {"permission denied over SFTP", CURLE_REMOTE_ACCESS_DENIED, NO_REPLY, 0, FTPCLIENT_CAUSE_DENIED},
    {"file busy", CURLE_FTP_COULDNT_RETR_FILE, FTP, 450, FTPCLIENT_CAUSE_DENIED},
    {"upload refused", CURLE_UPLOAD_FAILED, FTP, 550, FTPCLIENT_CAUSE_DENIED},
    {"upload refused by name", CURLE_UPLOAD_FAILED, FTP, 553, FTPCLIENT_CAUSE_DENIED},
    {"unknown host", CURLE_COULDNT_RESOLVE_HOST, NO_REPLY, 0, FTPCLIENT_CAUSE_NO_NAME},
    {"unknown proxy", CURLE_COULDNT_RESOLVE_PROXY, NO_REPLY, 0, FTPCLIENT_CAUSE_NO_NAME},
    {"connection refused", CURLE_COULDNT_CONNECT, NO_REPLY, 0, FTPCLIENT_CAUSE_NOBODY},
    {"TLS failed", CURLE_SSL_CONNECT_ERROR, NO_REPLY, 0, FTPCLIENT_CAUSE_HANDSHAKE},
    {"server without TLS", CURLE_USE_SSL_FAILED, FTP, 500, FTPCLIENT_CAUSE_HANDSHAKE},
    {"no cipher in common", CURLE_SSL_CIPHER, NO_REPLY, 0, FTPCLIENT_CAUSE_HANDSHAKE},
    {"no host key in common over SFTP", CURLE_FAILED_INIT, NO_REPLY, 0, FTPCLIENT_CAUSE_HANDSHAKE},
    {"disk full, as STOR is refused", CURLE_UPLOAD_FAILED, FTP, 452, FTPCLIENT_CAUSE_SERVER_FULL},
    {"disk full, in the middle", CURLE_SEND_ERROR, FTP, 452, FTPCLIENT_CAUSE_SERVER_FULL},
    {"quota used up, at the end", CURLE_PARTIAL_FILE, FTP, 552, FTPCLIENT_CAUSE_SERVER_FULL},
    {"disk full over SFTP", CURLE_REMOTE_DISK_FULL, NO_REPLY, 0, FTPCLIENT_CAUSE_SERVER_FULL},
    {"proxy wants a login", CURLE_HTTP_RETURNED_ERROR, HTTP, 407, FTPCLIENT_CAUSE_PROXY_LOGIN},
    {"proxy wants a login for its tunnel", CURLE_RECV_ERROR, HTTP, 407, FTPCLIENT_CAUSE_PROXY_LOGIN},
    {"login refused behind a proxy", CURLE_HTTP_RETURNED_ERROR, HTTP, 401, FTPCLIENT_CAUSE_LOGIN},
    {"forbidden by a proxy", CURLE_HTTP_RETURNED_ERROR, HTTP, 403, FTPCLIENT_CAUSE_DENIED},
    {"no such file behind a proxy", CURLE_HTTP_RETURNED_ERROR, HTTP, 404, FTPCLIENT_CAUSE_NO_FILE},
    {"server gone behind a proxy", CURLE_HTTP_RETURNED_ERROR, HTTP, 503, FTPCLIENT_CAUSE_UNREACHABLE},
    {"server silent behind a proxy", CURLE_HTTP_RETURNED_ERROR, HTTP, 504, FTPCLIENT_CAUSE_UNREACHABLE},
    {"control connection closed", CURLE_RECV_ERROR, NO_REPLY, 0, FTPCLIENT_CAUSE_BROKEN},
    {"connection reset while sending", CURLE_SEND_ERROR, FTP, 150, FTPCLIENT_CAUSE_BROKEN},
    {"ended short", CURLE_PARTIAL_FILE, FTP, 426, FTPCLIENT_CAUSE_BROKEN},
    {"SFTP failed, it is not told why", CURLE_SSH, NO_REPLY, 0, FTPCLIENT_CAUSE_SFTP},
    {"the proxy opened no tunnel, FTPS", CURLE_HTTP_RETURNED_ERROR, HTTP, 0, FTPCLIENT_CAUSE_PROXY_REFUSED},
    {"the proxy opened no tunnel, SFTP", CURLE_HTTP_RETURNED_ERROR, NO_REPLY, 0,
     FTPCLIENT_CAUSE_PROXY_REFUSED},
    {"server went away by 421", CURLE_OPERATION_TIMEDOUT, FTP, 421, FTPCLIENT_CAUSE_BROKEN},
    {"active connection never came", CURLE_FTP_ACCEPT_TIMEOUT, FTP, 150, FTPCLIENT_CAUSE_STALLED},
    {"server answers no connection", CURLE_OPERATION_TIMEDOUT, NO_REPLY, 0, FTPCLIENT_CAUSE_UNREACHABLE},
    {"server says nothing more", CURLE_OPERATION_TIMEDOUT, FTP, 150, FTPCLIENT_CAUSE_STALLED},
    {"a bad URL", CURLE_URL_MALFORMAT, NO_REPLY, 0, FTPCLIENT_CAUSE_OTHER},
    {"no passive mode", CURLE_FTP_WEIRD_PASV_REPLY, FTP, 500, FTPCLIENT_CAUSE_OTHER},
};

TEST(Cause, FollowsFromTheNetworkFailure)
{
    for (const row_t &row : FAILED_IN_THE_NETWORK) {
        const ftpclient_progress_t progress = progress_of(row.curl_code, row.type, row.reply);
        EXPECT_EQ(ftpclient_cause_of(FTPCLIENT_RESULT_NETWORK, &progress), row.cause) << row.situation;
    }
}

TEST(Cause, AConnectionThatFailsLateMeansAnUnreachableHost)
{
    ftpclient_progress_t progress = progress_of(CURLE_COULDNT_CONNECT, NO_REPLY, 0);
    progress.elapsed_ms = 3100; // no route: the kernel gives up after about 3 s
    EXPECT_EQ(ftpclient_cause_of(FTPCLIENT_RESULT_NETWORK, &progress), FTPCLIENT_CAUSE_UNREACHABLE);
}

TEST(Cause, ATimeoutBelongsToTheConnectionOrToTheTransfer)
{
    ftpclient_progress_t progress = progress_of(CURLE_ABORTED_BY_CALLBACK, NO_REPLY, 0);
    EXPECT_EQ(ftpclient_cause_of(FTPCLIENT_RESULT_TIMEOUT, &progress), FTPCLIENT_CAUSE_UNREACHABLE);
    progress.transferred_bytes = 1; // SFTP has no reply code
    EXPECT_EQ(ftpclient_cause_of(FTPCLIENT_RESULT_TIMEOUT, &progress), FTPCLIENT_CAUSE_STALLED);
    progress = progress_of(CURLE_ABORTED_BY_CALLBACK, FTP, 150);
    EXPECT_EQ(ftpclient_cause_of(FTPCLIENT_RESULT_TIMEOUT, &progress), FTPCLIENT_CAUSE_STALLED);
}

TEST(Cause, OtherResultsHaveTheCauseOther)
{
    const ftpclient_progress_t misleading = progress_of(CURLE_LOGIN_DENIED, FTP, 530);
    EXPECT_EQ(ftpclient_cause_of(FTPCLIENT_RESULT_NONE, &misleading), FTPCLIENT_CAUSE_NONE);
    EXPECT_EQ(ftpclient_cause_of(FTPCLIENT_RESULT_NONE, nullptr), FTPCLIENT_CAUSE_NONE);
    for (const int result : {FTPCLIENT_RESULT_CANCELED, FTPCLIENT_RESULT_BUSY, FTPCLIENT_RESULT_INTERNAL,
                             FTPCLIENT_RESULT_LOCAL_READ, FTPCLIENT_RESULT_LOCAL_WRITE,
                             FTPCLIENT_RESULT_CERT_MISMATCH, FTPCLIENT_RESULT_HOSTKEY_MISMATCH})
        EXPECT_EQ(ftpclient_cause_of(result, &misleading), FTPCLIENT_CAUSE_OTHER) << result;
    EXPECT_EQ(ftpclient_cause_of(FTPCLIENT_RESULT_NETWORK, nullptr), FTPCLIENT_CAUSE_OTHER);
    EXPECT_EQ(ftpclient_cause_of(99, &misleading), FTPCLIENT_CAUSE_OTHER);
}

// A Zixi job keeps the curl code of an earlier job.
TEST(Cause, OfAZixiJobIsNotReadFromLibcurl)
{
    const ftpclient_progress_t progress = progress_of(CURLE_LOGIN_DENIED, ZIXI, 530);
    EXPECT_EQ(ftpclient_cause_of(FTPCLIENT_RESULT_NETWORK, &progress), FTPCLIENT_CAUSE_OTHER);
    EXPECT_EQ(ftpclient_cause_of(FTPCLIENT_RESULT_TIMEOUT, &progress), FTPCLIENT_CAUSE_OTHER);
}
