/* Hands file-transfer jobs to the daemon ftp_clientd. C11 and C++; needs libc alone.
 *
 * Link with libftpclient, or copy ftpclient.h and ftpclient.c into your project: they include nothing else.
 *
 * What holds for every function
 * - Result: FTPCLIENT_OK (0); a negative ftpclient_error when this side failed; where it is said so, a
 * positive ftpclient_result, with which the daemon refused. ftpclient_strerror() puts any of them into words.
 * After FTPCLIENT_ERR_SYSTEM errno says what the system refused. A call that fails leaves its outputs alone,
 *   but for pointers to new objects, which become NULL.
 * - Deadline: timeout_ms is the longest that the whole call takes, in milliseconds; negative is for ever, 0
 * does not wait at all. The daemon serves a call every 100 ms and gives a client 10 s: FTPCLIENT_TIMEOUT_MS
 * is a good value. A signal ends no wait, and none is raised (no SIGPIPE).
 * - Threads: there is no global state. A client may be used by many threads at once, each call is a
 * connection of its own. A request and a notice receiver belong to one thread at a time.
 * - Strings are NUL-terminated and copied. One that does not fit its field is refused, never cut. A setter
 * that refuses leaves the request as it was.
 * - Structures that are filled may get further members at their end: pass their sizeof. A program built
 *   against an older header is given what it knows, one built against a newer header zeros for the rest; less
 * than the size in this header's first version is FTPCLIENT_ERR_ARGUMENT.
 * - NULL where an object or output is needed is FTPCLIENT_ERR_ARGUMENT.
 */
#ifndef FTPCLIENT_H
#define FTPCLIENT_H

#include <stddef.h>
#include <stdint.h>

#define FTPCLIENT_VERSION_MAJOR 0
#define FTPCLIENT_VERSION_MINOR 1
#define FTPCLIENT_VERSION_PATCH 0

#define FTPCLIENT_CONTROL_SOCKET "/var/run/ftp.sock"
#define FTPCLIENT_NOTICE_SOCKET "/var/run/marlox_nm.sock"
#define FTPCLIENT_TIMEOUT_MS 10000
#define FTPCLIENT_UNKNOWN (-1) /* in ftpclient_file_info_t: the server did not say */

#if defined(__GNUC__)
#define FTPCLIENT_API __attribute__((visibility("default")))
#else
#define FTPCLIENT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What went wrong on this side. */
enum ftpclient_error {
    FTPCLIENT_OK = 0,
    FTPCLIENT_ERR_ARGUMENT = -1,     /* NULL, a number out of range, or what this protocol does not know */
    FTPCLIENT_ERR_TOO_LONG = -2,     /* the string does not fit its field */
    FTPCLIENT_ERR_CHARACTER = -3,    /* the string holds what would change its meaning on the way */
    FTPCLIENT_ERR_INCOMPLETE = -4,   /* host, remote path or local path was not set */
    FTPCLIENT_ERR_NO_MEMORY = -5,    /* out of memory */
    FTPCLIENT_ERR_SYSTEM = -6,       /* a system call failed: see errno */
    FTPCLIENT_ERR_NO_DAEMON = -7,    /* nobody listens at the control socket */
    FTPCLIENT_ERR_TIMEOUT = -8,      /* timeout_ms has passed */
    FTPCLIENT_ERR_DISCONNECTED = -9, /* the daemon broke off; what was asked for may have happened */
    FTPCLIENT_ERR_PROTOCOL = -10,    /* an answer or a notice that makes no sense */
    FTPCLIENT_ERR_UNREAD = -11,      /* the daemon could not read the request; nothing has happened */
    FTPCLIENT_ERR_IN_USE = -12,      /* another program receives the notices */
};

/* What became of a job or a call, as the daemon says it. A later daemon may know more. */
enum ftpclient_result {
    FTPCLIENT_RESULT_NONE = 0, /* success */
    FTPCLIENT_RESULT_CANCELED = 1,
    FTPCLIENT_RESULT_NOT_RUNNING = 2,
    FTPCLIENT_RESULT_BUSY = 3,
    FTPCLIENT_RESULT_AUTH_UNSUPPORTED = 4,
    FTPCLIENT_RESULT_INTERNAL = 5,
    FTPCLIENT_RESULT_RESPONSE_CODE = 6,
    FTPCLIENT_RESULT_URL_RESTORE = 7,
    FTPCLIENT_RESULT_SECURE_DATA = 8,
    FTPCLIENT_RESULT_LOCAL_WRITE = 9,
    FTPCLIENT_RESULT_LOCAL_READ = 10,
    FTPCLIENT_RESULT_NO_MEMORY = 11,
    FTPCLIENT_RESULT_SIZE_LIMIT = 12,
    FTPCLIENT_RESULT_TIMEOUT = 14,
    FTPCLIENT_RESULT_NOT_SUPPORTED = 15,
    FTPCLIENT_RESULT_NETWORK = 16,
    FTPCLIENT_RESULT_SECURE_7 = 17,
    FTPCLIENT_RESULT_SECURE_UNKNOWN = 18,
    FTPCLIENT_RESULT_SECURE_6 = 19,
    FTPCLIENT_RESULT_SECURE_5 = 20,
    FTPCLIENT_RESULT_CERT_MISMATCH = 21,
    FTPCLIENT_RESULT_HOSTKEY_MISMATCH = 22,
    FTPCLIENT_RESULT_REMOTE_FILE_EXISTS = 23,
};

enum ftpclient_protocol {
    FTPCLIENT_FTP = 0,
    FTPCLIENT_FTPS_IMPLICIT = 1, /* TLS from the first byte */
    FTPCLIENT_FTPS_EXPLICIT = 2, /* TLS on request */
    FTPCLIENT_SFTP = 3,
    FTPCLIENT_ZIXI_4 = 4, /* uploads only, as the next */
    FTPCLIENT_ZIXI_5 = 5,
};

enum ftpclient_job {
    FTPCLIENT_NO_JOB = 0,
    FTPCLIENT_DOWNLOAD = 1,
    FTPCLIENT_UPLOAD = 2,
    FTPCLIENT_FILE_INFO = 3
};

enum ftpclient_pin {
    FTPCLIENT_PIN_NONE = 0, /* any server */
    FTPCLIENT_PIN_MD5 = 1,  /* SFTP: MD5 of the host key, 16 bytes */
    FTPCLIENT_PIN_SHA1 = 2, /* FTPS: SHA-1 of the certificate, 20 bytes */
};

enum ftpclient_notice_code {
    FTPCLIENT_NOTICE_DOWNLOAD_DONE = 0,
    FTPCLIENT_NOTICE_UPLOAD_DONE = 1,
    FTPCLIENT_NOTICE_FILE_INFO_DONE = 2,
    FTPCLIENT_NOTICE_STARTED = 3, /* the daemon: `result` is 0, or it could not start; no progress */
};

typedef struct ftpclient ftpclient_t;                 /* a daemon */
typedef struct ftpclient_request ftpclient_request_t; /* a job to be */
typedef struct ftpclient_notices ftpclient_notices_t; /* a receiver of notices */

/* How far a job came. 48 bytes; never grows. */
typedef struct ftpclient_progress {
    int64_t total_bytes; /* 0 while unknown */
    int64_t transferred_bytes;
    int64_t elapsed_ms;
    int32_t curl_code;     /* libcurl's result; not for Zixi jobs */
    int32_t zixi_error;    /* Zixi jobs: the library's last error, 0 for none; else meaningless */
    int32_t response_type; /* of response_code: 1 FTP, 2 HTTP, others none */
    int32_t response_code; /* the server's last */
    int32_t retries;
    int32_t unused;
} ftpclient_progress_t;

/* The job that runs, or the last one. 64 bytes so far. */
typedef struct ftpclient_state {
    int32_t running;   /* 1 while it runs */
    int32_t job;       /* ftpclient_job; FTPCLIENT_NO_JOB when the daemon has run none */
    int32_t result;    /* ftpclient_result; counts when it no longer runs */
    int32_t cancelled; /* 1 = it was asked to stop; such a job is not announced by a notice */
    ftpclient_progress_t progress;
} ftpclient_state_t;

/* What the last file-information job found. 56 bytes so far. Unknown numbers are FTPCLIENT_UNKNOWN. */
typedef struct ftpclient_file_info {
    int64_t size_bytes;
    int64_t modified_s; /* since 1970-01-01 00:00, the server's clock taken for UTC; needs year, month and
                           day, an unknown time of day counts as 00:00 */
    int32_t looked_up;  /* 1 = the server was asked with success */
    int32_t exists;     /* 1 = the file is there and all below is about it */
    int32_t year;       /* four digits; a Unix listing shows the year or the time of day, not both */
    int32_t month;      /* 1 to 12 */
    int32_t day;        /* 1 to 31 */
    int32_t hour;
    int32_t minute;
    int32_t attributes; /* permissions as hexadecimal digits: rwxr-xr-x is 0x755 */
    int32_t is_link;
    int32_t unused;
} ftpclient_file_info_t;

/* The end of a job, or the start of the daemon. 56 bytes so far. */
typedef struct ftpclient_notice {
    int32_t code;   /* ftpclient_notice_code */
    int32_t result; /* ftpclient_result */
    ftpclient_progress_t progress;
} ftpclient_notice_t;

/* ---- The daemon ---- */

/* Makes *client for the daemon at `socket_path` (NULL: FTPCLIENT_CONTROL_SOCKET) and pings it once. No
 * connection is kept: the client outlives a restart of the daemon. Give it back by ftpclient_close(). Also
 * ERR_TOO_LONG for the path, ERR_NO_MEMORY, and what ftpclient_ping() fails with. */
FTPCLIENT_API int ftpclient_connect(const char *socket_path, int timeout_ms, ftpclient_t **client);

/* Frees the client. NULL is let be. A job goes on. */
FTPCLIENT_API void ftpclient_close(ftpclient_t *client);

/* Does the daemon answer? *last_result (may be NULL) becomes the ftpclient_result of its last start of a job.
 * Fails as every exchange with the daemon does: ERR_NO_DAEMON, ERR_TIMEOUT, ERR_DISCONNECTED, ERR_PROTOCOL,
 * ERR_UNREAD, ERR_SYSTEM. */
FTPCLIENT_API int ftpclient_ping(const ftpclient_t *client, int32_t *last_result, int timeout_ms);

/* Hands over a job (ftpclient_job) and returns when the daemon has taken it; its end comes as a notice and
 * shows in ftpclient_poll(). The request stays the caller's and may be used again. Asks for the state first
 * and tries once more when the daemon had yet to forget an earlier job: up to 0.3 s. Returns
 * FTPCLIENT_RESULT_BUSY while another job runs, or the daemon's other refusal; ERR_INCOMPLETE without host,
 * remote path or (but for file information) local path; ERR_ARGUMENT for a Zixi job that is no upload; else
 * as ftpclient_ping(). */
FTPCLIENT_API int ftpclient_start(const ftpclient_t *client, int job, const ftpclient_request_t *request,
                                  int timeout_ms);

/* The state now. Fails as ftpclient_ping(). */
FTPCLIENT_API int ftpclient_poll(const ftpclient_t *client, ftpclient_state_t *state, size_t state_size,
                                 int timeout_ms);

/* Waits until no job runs, asking every 100 ms, and gives the state in which the last one ended; whether it
 * went well is `result`. ERR_TIMEOUT when it still runs: the job goes on and *state is the last seen. Else as
 * ftpclient_poll(). */
FTPCLIENT_API int ftpclient_wait(const ftpclient_t *client, ftpclient_state_t *state, size_t state_size,
                                 int timeout_ms);

/* Stops the job and returns when it has stopped, which may take seconds. Returns FTPCLIENT_RESULT_NOT_RUNNING
 * when there is none. After ERR_TIMEOUT the daemon goes on stopping it. Else as ftpclient_ping(). */
FTPCLIENT_API int ftpclient_cancel(const ftpclient_t *client, int timeout_ms);

/* What the last file-information job found: call it when that job has ended. Fails as ftpclient_ping(). */
FTPCLIENT_API int ftpclient_get_file_info(const ftpclient_t *client, ftpclient_file_info_t *info,
                                          size_t info_size, int timeout_ms);

/* ---- Requests. None of these functions blocks. ---- */

/* Makes an empty *request for an ftpclient_protocol: port 0, passive, no proxy, any server accepted, no
 * resume, Zixi overwrites. ERR_NO_MEMORY. Give it back by ftpclient_request_free(). */
FTPCLIENT_API int ftpclient_request_new(int protocol, ftpclient_request_t **request);

/* Overwrites the request, password and all, then frees it. NULL is let be. */
FTPCLIENT_API void ftpclient_request_free(ftpclient_request_t *request);

/* host: a name or address of at most 255 bytes, an IPv6 address in brackets; ERR_CHARACTER for blanks,
 * control characters, any of / @ # ? \ and, outside of brackets, ':' and '%'. port: 0 (the protocol's own) to
 * 65535. */
FTPCLIENT_API int ftpclient_request_set_server(ftpclient_request_t *request, const char *host, uint32_t port);

/* At most 31 and 223 bytes, for Zixi 63 and 127; both may be empty. ERR_CHARACTER for CR and LF. Neither is
 * set when one is refused. The caller's own copy of the password is the caller's to wipe. */
FTPCLIENT_API int ftpclient_request_set_login(ftpclient_request_t *request, const char *user,
                                              const char *password);

/* At most 511 bytes: relative to the login directory, or absolute with a '/' in front. ERR_CHARACTER for '#',
 * '?', CR and LF, and for ";type=" over FTP and FTPS; Zixi takes all. */
FTPCLIENT_API int ftpclient_request_set_remote_path(ftpclient_request_t *request, const char *path);

/* At most 255 bytes: written by a download, read by an upload, by the daemon, which runs in "/". Hence
 * ERR_ARGUMENT when it does not begin with '/'. */
FTPCLIENT_API int ftpclient_request_set_local_path(ftpclient_request_t *request, const char *path);

/* FTP and FTPS: 0 = the server connects to the device for data. */
FTPCLIENT_API int ftpclient_request_set_passive(ftpclient_request_t *request, int passive);

/* An HTTP proxy; host and port as in ftpclient_request_set_server(), at most 255 bytes. An empty host: none.
 * ERR_ARGUMENT for Zixi. */
FTPCLIENT_API int ftpclient_request_set_proxy(ftpclient_request_t *request, const char *host, uint32_t port);

/* The server must have this fingerprint, `size` raw bytes, else the job fails. ERR_ARGUMENT for a kind
 * (ftpclient_pin) that is not the protocol's or a size that is not the kind's. FTPCLIENT_PIN_NONE takes NULL
 * and 0. */
FTPCLIENT_API int ftpclient_request_set_pin(ftpclient_request_t *request, int pin, const uint8_t *digest,
                                            size_t size);

/* FTPS and SFTP: the server's certificate or host key is saved there before it is judged. At most 258 bytes,
 * absolute; empty: not saved. ERR_ARGUMENT for other protocols. */
FTPCLIENT_API int ftpclient_request_set_save_path(ftpclient_request_t *request, const char *path);

/* Uploads: not 0 = append what the remote file lacks. Run a file-information job for it first. ERR_ARGUMENT
 * for Zixi. */
FTPCLIENT_API int ftpclient_request_set_resume(ftpclient_request_t *request, int resume);

/* Zixi: 0 = fail with FTPCLIENT_RESULT_REMOTE_FILE_EXISTS when the remote file exists. ERR_ARGUMENT for
 * others. */
FTPCLIENT_API int ftpclient_request_set_overwrite(ftpclient_request_t *request, int overwrite);

/* ---- Notices: one program at a time receives them, in the place of the network manager ---- */

/* Listens at `socket_path` (NULL: FTPCLIENT_NOTICE_SOCKET); does not block. A socket left behind by a program
 * that is gone is replaced; ERR_IN_USE when somebody listens there. Also ERR_TOO_LONG, ERR_NO_MEMORY,
 * ERR_SYSTEM. */
FTPCLIENT_API int ftpclient_notices_open(const char *socket_path, ftpclient_notices_t **notices);

/* A descriptor that becomes readable (poll, select, epoll) when ftpclient_notices_receive() has something to
 * do. It stays the receiver's: do not read or close it. -1 for NULL. */
FTPCLIENT_API int ftpclient_notices_fd(const ftpclient_notices_t *notices);

/* Takes the next notice. In an event loop call it with timeout_ms 0 when the descriptor is readable:
 * ERR_TIMEOUT then means "none is whole yet". ERR_PROTOCOL: something else came, it is dropped; call again. A
 * sender is given 10 s. ERR_SYSTEM. */
FTPCLIENT_API int ftpclient_notices_receive(ftpclient_notices_t *notices, ftpclient_notice_t *notice,
                                            size_t notice_size, int timeout_ms);

/* Stops listening, removes the socket unless it has been replaced, frees. NULL is let be. */
FTPCLIENT_API void ftpclient_notices_close(ftpclient_notices_t *notices);

/* ---- Words. Both never return NULL; the texts are constant. ---- */

/* A sentence's worth for an ftpclient_error or an ftpclient_result. */
FTPCLIENT_API const char *ftpclient_strerror(int code);

/* The name that documentation and logs use for an ftpclient_result, e.g. "FTPCD_ERR_BUSY"; "unknown result".
 */
FTPCLIENT_API const char *ftpclient_result_name(int result);

/* "0.1.0": of the library that runs, where FTPCLIENT_VERSION_... is of the header. */
FTPCLIENT_API const char *ftpclient_version(void);

#ifdef __cplusplus
}
#endif

#endif
