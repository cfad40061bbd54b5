/* Why a job failed, from libcurl's result and the server's reply. */
#include "libftpclient/records.h"

/* libcurl's results used here (CURLcode, curl/curl.h). */
enum {
    CURL_FAILED_INIT = 2,
    CURL_COULDNT_RESOLVE_PROXY = 5,
    CURL_COULDNT_RESOLVE_HOST = 6,
    CURL_COULDNT_CONNECT = 7,
    CURL_REMOTE_ACCESS_DENIED = 9,
    CURL_ACCEPT_TIMEOUT = 12,
    CURL_PARTIAL_FILE = 18,
    CURL_FTP_COULDNT_RETR = 19,
    CURL_HTTP_RETURNED_ERROR = 22,
    CURL_UPLOAD_FAILED = 25,
    CURL_TIMED_OUT = 28,
    CURL_SSL_CONNECT = 35,
    CURL_GOT_NOTHING = 52,
    CURL_SEND_ERROR = 55,
    CURL_RECV_ERROR = 56,
    CURL_SSL_CIPHER = 59,
    CURL_USE_SSL_FAILED = 64,
    CURL_LOGIN_DENIED = 67,
    CURL_REMOTE_DISK_FULL = 70,
    CURL_REMOTE_FILE_NOT_FOUND = 78,
    CURL_SSH = 79,
    CURL_SSL_SHUTDOWN = 80
};

enum { ANY = -1 };

/* The first matching row decides. Reply codes of FTP: RFC 959, section 4.2; of HTTP: RFC 9110. */
static const struct {
    int curl_code;
    int response_type; /* response_code_type, or ANY */
    int response_code; /* or ANY */
    int cause;
} ROWS[] = {
    {ANY, RESPONSE_CODE_HTTP, 407, FTPCLIENT_CAUSE_PROXY_LOGIN},
    {ANY, RESPONSE_CODE_FTP, 452, FTPCLIENT_CAUSE_SERVER_FULL},
    {ANY, RESPONSE_CODE_FTP, 552, FTPCLIENT_CAUSE_SERVER_FULL},
    {CURL_REMOTE_DISK_FULL, ANY, ANY, FTPCLIENT_CAUSE_SERVER_FULL},
    {CURL_HTTP_RETURNED_ERROR, ANY, 0, FTPCLIENT_CAUSE_PROXY_REFUSED}, /* CONNECT: libcurl hides its status */
    {CURL_HTTP_RETURNED_ERROR, ANY, 401, FTPCLIENT_CAUSE_LOGIN},
    {CURL_HTTP_RETURNED_ERROR, ANY, 403, FTPCLIENT_CAUSE_DENIED},
    {CURL_HTTP_RETURNED_ERROR, ANY, 404, FTPCLIENT_CAUSE_NO_FILE},
    {CURL_HTTP_RETURNED_ERROR, ANY, 502, FTPCLIENT_CAUSE_UNREACHABLE},
    {CURL_HTTP_RETURNED_ERROR, ANY, 503, FTPCLIENT_CAUSE_UNREACHABLE},
    {CURL_HTTP_RETURNED_ERROR, ANY, 504, FTPCLIENT_CAUSE_UNREACHABLE},
    {CURL_HTTP_RETURNED_ERROR, ANY, 507, FTPCLIENT_CAUSE_SERVER_FULL},
    {CURL_LOGIN_DENIED, ANY, ANY, FTPCLIENT_CAUSE_LOGIN},
    {CURL_COULDNT_RESOLVE_PROXY, ANY, ANY, FTPCLIENT_CAUSE_NO_NAME},
    {CURL_COULDNT_RESOLVE_HOST, ANY, ANY, FTPCLIENT_CAUSE_NO_NAME},
    {CURL_REMOTE_FILE_NOT_FOUND, ANY, ANY, FTPCLIENT_CAUSE_NO_FILE},
    /* The reply to CWD: there is no such folder. */
    {CURL_REMOTE_ACCESS_DENIED, RESPONSE_CODE_FTP, 550, FTPCLIENT_CAUSE_NO_FILE},
    {CURL_REMOTE_ACCESS_DENIED, ANY, ANY, FTPCLIENT_CAUSE_DENIED},
    {CURL_FTP_COULDNT_RETR, RESPONSE_CODE_FTP, 550, FTPCLIENT_CAUSE_NO_FILE}, /* the same for LIST */
    {CURL_FTP_COULDNT_RETR, ANY, ANY, FTPCLIENT_CAUSE_DENIED},
    {CURL_UPLOAD_FAILED, ANY, ANY, FTPCLIENT_CAUSE_DENIED},
    {CURL_FAILED_INIT, ANY, ANY, FTPCLIENT_CAUSE_HANDSHAKE}, /* the SSH key exchange failed */
    {CURL_SSL_CONNECT, ANY, ANY, FTPCLIENT_CAUSE_HANDSHAKE},
    {CURL_SSL_CIPHER, ANY, ANY, FTPCLIENT_CAUSE_HANDSHAKE},
    {CURL_USE_SSL_FAILED, ANY, ANY, FTPCLIENT_CAUSE_HANDSHAKE},
    {CURL_SSL_SHUTDOWN, ANY, ANY, FTPCLIENT_CAUSE_HANDSHAKE},
    {CURL_ACCEPT_TIMEOUT, ANY, ANY, FTPCLIENT_CAUSE_STALLED},
    {CURL_PARTIAL_FILE, ANY, ANY, FTPCLIENT_CAUSE_BROKEN},
    {CURL_GOT_NOTHING, ANY, ANY, FTPCLIENT_CAUSE_BROKEN},
    {CURL_SEND_ERROR, ANY, ANY, FTPCLIENT_CAUSE_BROKEN},
    {CURL_RECV_ERROR, ANY, ANY, FTPCLIENT_CAUSE_BROKEN},
    {CURL_SSH, ANY, ANY, FTPCLIENT_CAUSE_SFTP},
};

/* A refused connection fails at once; for a host that does not answer, the network reports a failure
 * after about 3 s. */
static int cause_of_connect(const ftpclient_progress_t *progress)
{
    enum { ANSWERED_MS = 2500 };
    return progress->elapsed_ms < ANSWERED_MS ? FTPCLIENT_CAUSE_NOBODY : FTPCLIENT_CAUSE_UNREACHABLE;
}

/* libcurl reports a timeout at once when the server closes the control connection (421). */
static int cause_of_silence(const ftpclient_progress_t *progress)
{
    if (progress->response_type == RESPONSE_CODE_FTP && progress->response_code == 421)
        return FTPCLIENT_CAUSE_BROKEN;
    return progress->response_code == 0 && progress->transferred_bytes == 0 ? FTPCLIENT_CAUSE_UNREACHABLE
                                                                            : FTPCLIENT_CAUSE_STALLED;
}

static int matches(int expected, int value) { return expected == ANY || expected == value; }

int ftpclient_cause_of(int result, const ftpclient_progress_t *progress)
{
    if (result == FTPCLIENT_RESULT_NONE)
        return FTPCLIENT_CAUSE_NONE;
    if (!progress || progress->response_type == RESPONSE_CODE_ZIXI)
        return FTPCLIENT_CAUSE_OTHER;
    if (result == FTPCLIENT_RESULT_TIMEOUT || progress->curl_code == CURL_TIMED_OUT)
        return cause_of_silence(progress);
    if (result != FTPCLIENT_RESULT_NETWORK)
        return FTPCLIENT_CAUSE_OTHER;
    if (progress->curl_code == CURL_COULDNT_CONNECT)
        return cause_of_connect(progress);
    for (size_t i = 0; i < sizeof ROWS / sizeof ROWS[0]; i++) {
        if (matches(ROWS[i].curl_code, progress->curl_code) &&
            matches(ROWS[i].response_type, progress->response_type) &&
            matches(ROWS[i].response_code, progress->response_code))
            return ROWS[i].cause;
    }
    return FTPCLIENT_CAUSE_OTHER;
}

static const struct {
    int cause;
    const char *name;
    const char *text;
} CAUSES[] = {
    {FTPCLIENT_CAUSE_NONE, "none", "it did not fail"},
    {FTPCLIENT_CAUSE_OTHER, "other", "it failed"},
    {FTPCLIENT_CAUSE_LOGIN, "login-refused", "the server refused the user name or the password"},
    {FTPCLIENT_CAUSE_NO_FILE, "no-such-file", "the server has no such file or folder"},
    {FTPCLIENT_CAUSE_DENIED, "denied", "the server does not allow it"},
    {FTPCLIENT_CAUSE_NO_NAME, "name-not-found", "the host name was not found"},
    {FTPCLIENT_CAUSE_NOBODY, "nobody-listens", "nobody listens at this address and port"},
    {FTPCLIENT_CAUSE_UNREACHABLE, "unreachable", "the server cannot be reached, or does not answer"},
    {FTPCLIENT_CAUSE_HANDSHAKE, "handshake-failed", "the TLS or SSH handshake failed"},
    {FTPCLIENT_CAUSE_SERVER_FULL, "server-full", "the server has no space left"},
    {FTPCLIENT_CAUSE_LOCAL_FULL, "local-full", "the local disk is full"},
    {FTPCLIENT_CAUSE_NO_LOCAL_FILE, "no-local-file", "the local file does not exist"},
    {FTPCLIENT_CAUSE_PROXY_LOGIN, "proxy-login", "the proxy requires a login, or refused this one"},
    {FTPCLIENT_CAUSE_BROKEN, "connection-broken", "the connection broke"},
    {FTPCLIENT_CAUSE_STALLED, "stalled", "nothing moved for too long"},
    {FTPCLIENT_CAUSE_SFTP, "sftp-failed",
     "the SFTP server failed without a reason: its disk may be full, or the connection broke"},
    {FTPCLIENT_CAUSE_PROXY_REFUSED, "proxy-refused",
     "the proxy did not connect to the server: it may require a login, forbid the port, or have no route"},
    {ANY, "unknown", "unknown cause"},
};

static size_t row_of(int cause)
{
    size_t row = 0;
    while (CAUSES[row].cause != cause && CAUSES[row].cause != ANY)
        row++;
    return row;
}

const char *ftpclient_cause_text(int cause) { return CAUSES[row_of(cause)].text; }

const char *ftpclient_cause_name(int cause) { return CAUSES[row_of(cause)].name; }
