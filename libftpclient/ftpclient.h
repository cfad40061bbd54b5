/* Client library of the file-transfer daemon ftp_clientd. C11 and C++; needs only libc.
 *
 * Link with libftpclient, or copy the two files that `scripts/single-file` writes into your project.
 *
 * Rules for every function
 * - Results: FTPCLIENT_OK (0); a negative ftpclient_error for a failure in the library; where documented, a
 *   positive ftpclient_result from the daemon. ftpclient_strerror() returns a text for each. After
 *   FTPCLIENT_ERR_SYSTEM, errno has the system's error. A failed call does not change its outputs, except
 *   that pointers to new objects become NULL.
 * - Time: timeout_ms limits the whole call, in milliseconds; a negative value means no limit, 0 does not
 *   wait. The daemon serves one request every 100 ms and gives a client 10 s: FTPCLIENT_TIMEOUT_MS is a good
 *   value. Signals do not interrupt a wait, and SIGPIPE is never raised. Only these functions block:
 *   ftpclient_connect(), _ping(), _poll(), _cancel(), _run(), _start() and ftpclient_notices_receive().
 * - Threads: there is no global state. Several threads may use a client at once; a request, a call and a
 *   notice receiver only one at a time.
 * - Strings are NUL-terminated and copied. A string that does not fit its field is refused, never truncated.
 *   A setter that refuses does not change the request; ftpclient_request_complaint() says why.
 * - Output structures may get new members at their end: pass their sizeof. A program built against an older
 *   header gets the members it knows, one built against a newer header gets zeros for the rest; a size below
 *   that of the header's first version is FTPCLIENT_ERR_ARGUMENT.
 * - NULL instead of a required object or output is FTPCLIENT_ERR_ARGUMENT; functions without a result
 *   document what NULL does.
 * - ERR_... below stands for FTPCLIENT_ERR_...
 *
 * Turns
 *
 * The daemon runs one job at a time, and its replies do not say whose job they are about. So programs take
 * turns: the library holds an exclusive lock on the file "<control socket>.turn" from before it starts a job
 * until it has read the outcome. Waiting programs get their turn in the order of their arrival. A program
 * that takes no turns can still interfere; the library detects this, runs the job again if that is safe, and
 * otherwise returns FTPCLIENT_ERR_UNKNOWN_OUTCOME. It never reports another program's success as its own.
 */
#ifndef FTPCLIENT_H
#define FTPCLIENT_H

#include <stddef.h>
#include <stdint.h>

#define FTPCLIENT_VERSION_MAJOR 0
#define FTPCLIENT_VERSION_MINOR 2
#define FTPCLIENT_VERSION_PATCH 0

#define FTPCLIENT_CONTROL_SOCKET "/var/run/ftp.sock"
#define FTPCLIENT_NOTICE_SOCKET "/var/run/marlox_nm.sock"
#define FTPCLIENT_TURN_SUFFIX ".turn" /* appended to the control socket's path: the file that is locked */
#define FTPCLIENT_TIMEOUT_MS 10000
#define FTPCLIENT_UNKNOWN (-1) /* an unknown number */

#if defined(__GNUC__)
#define FTPCLIENT_API __attribute__((visibility("default")))
#else
#define FTPCLIENT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Failures in the library. */
enum ftpclient_error {
    FTPCLIENT_OK = 0,
    FTPCLIENT_ERR_ARGUMENT = -1,         /* NULL, a number out of range, or not for this protocol or job */
    FTPCLIENT_ERR_TOO_LONG = -2,         /* the string does not fit its field */
    FTPCLIENT_ERR_CHARACTER = -3,        /* the string contains something that would change its meaning */
    FTPCLIENT_ERR_INCOMPLETE = -4,       /* host, remote path or local path was not set */
    FTPCLIENT_ERR_NO_MEMORY = -5,        /* out of memory */
    FTPCLIENT_ERR_SYSTEM = -6,           /* a system call failed: see errno */
    FTPCLIENT_ERR_NO_DAEMON = -7,        /* nobody listens at the control socket */
    FTPCLIENT_ERR_TIMEOUT = -8,          /* timeout_ms has passed; a job of this call was cancelled */
    FTPCLIENT_ERR_DISCONNECTED = -9,     /* the daemon hung up; the request may have been carried out */
    FTPCLIENT_ERR_PROTOCOL = -10,        /* an answer or a notice that makes no sense */
    FTPCLIENT_ERR_UNREAD = -11,          /* the daemon could not read the request; nothing has happened */
    FTPCLIENT_ERR_IN_USE = -12,          /* another program receives the notices */
    FTPCLIENT_PENDING = -13,             /* no failure: not finished yet, wait for the descriptor */
    FTPCLIENT_ERR_DENIED = -14,          /* this user may not use the control socket */
    FTPCLIENT_ERR_NO_ANSWER = -15,       /* the daemon did not answer a request for 21 s */
    FTPCLIENT_ERR_TURN = -16,            /* other programs kept the daemon busy beyond the turn's limit */
    FTPCLIENT_ERR_UNKNOWN_OUTCOME = -17, /* another program interfered: how this job ended is not known */
    FTPCLIENT_ERR_SILENT = -18,          /* nothing moved for the silence limit; the job was cancelled */
    FTPCLIENT_ERR_NO_RESUME = -19,       /* the remote file is not a prefix of the local one */
    FTPCLIENT_ERR_DIFFERENT = -20,       /* the upload has ended, but the remote file has another size */
    FTPCLIENT_ERR_OUT_OF_SIGHT = -21,    /* at the local path the daemon finds another file, or none */
    FTPCLIENT_ERR_READ_ONLY = -22,       /* the daemon cannot write to the folder of the local path */
};

/* The daemon's result of a job or a call. A later daemon may have more values. */
enum ftpclient_result {
    FTPCLIENT_RESULT_NONE = 0,                /* success */
    FTPCLIENT_RESULT_CANCELED = 1,            /* cancelled, by whichever program */
    FTPCLIENT_RESULT_NOT_RUNNING = 2,         /* nothing to cancel; never a job's result */
    FTPCLIENT_RESULT_BUSY = 3,                /* a job is running; the new one was not started */
    FTPCLIENT_RESULT_AUTH_UNSUPPORTED = 4,    /* the requested identity check is not supported */
    FTPCLIENT_RESULT_INTERNAL = 5,            /* a parameter was refused or the set-up failed */
    FTPCLIENT_RESULT_RESPONSE_CODE = 6,       /* the server's response code could not be read */
    FTPCLIENT_RESULT_URL_RESTORE = 7,         /* the URL could not be restored (listings and SFTP) */
    FTPCLIENT_RESULT_SECURE_DATA = 8,         /* the certificate or host key is unreadable */
    FTPCLIENT_RESULT_LOCAL_WRITE = 9,         /* the local file cannot be created or written */
    FTPCLIENT_RESULT_LOCAL_READ = 10,         /* the local file cannot be opened or read */
    FTPCLIENT_RESULT_NO_MEMORY = 11,          /* the daemon is out of memory */
    FTPCLIENT_RESULT_SIZE_LIMIT = 12,         /* a download of more than 4096 bytes */
    FTPCLIENT_RESULT_TIMEOUT = 14,            /* nothing moved for longer than the daemon allows */
    FTPCLIENT_RESULT_NOT_SUPPORTED = 15,      /* this job, or this proxy, is not supported */
    FTPCLIENT_RESULT_NETWORK = 16,            /* the transfer failed, or ended short */
    FTPCLIENT_RESULT_SECURE_7 = 17,           /* the digest of the server's identity failed */
    FTPCLIENT_RESULT_SECURE_UNKNOWN = 18,     /* the identity check failed for an unknown reason */
    FTPCLIENT_RESULT_SECURE_6 = 19,           /* the file for the identity cannot be written */
    FTPCLIENT_RESULT_SECURE_5 = 20,           /* the file for the identity cannot be created */
    FTPCLIENT_RESULT_CERT_MISMATCH = 21,      /* the server's certificate is not the pinned one */
    FTPCLIENT_RESULT_HOSTKEY_MISMATCH = 22,   /* the server's host key is not the pinned one */
    FTPCLIENT_RESULT_REMOTE_FILE_EXISTS = 23, /* Zixi: the remote file exists and is not replaced */
};

enum ftpclient_protocol {
    FTPCLIENT_FTP = 0,
    FTPCLIENT_FTPS_IMPLICIT = 1, /* TLS from the first byte */
    FTPCLIENT_FTPS_EXPLICIT = 2, /* TLS on request */
    FTPCLIENT_SFTP = 3,
    FTPCLIENT_ZIXI_4 = 4, /* only uploads */
    FTPCLIENT_ZIXI_5 = 5, /* only uploads */
};

enum ftpclient_job {
    FTPCLIENT_NO_JOB = 0,
    FTPCLIENT_DOWNLOAD = 1,
    FTPCLIENT_UPLOAD = 2,
    FTPCLIENT_FILE_INFO = 3
};

/* The protocol of a response code. */
enum ftpclient_response {
    FTPCLIENT_RESPONSE_OTHER = 0, /* there is no response code */
    FTPCLIENT_RESPONSE_FTP = 1,
    FTPCLIENT_RESPONSE_HTTP = 2, /* an HTTP proxy's */
    FTPCLIENT_RESPONSE_ZIXI = 3, /* a Zixi job: see zixi_error, there is no response code */
};

enum ftpclient_pin {
    FTPCLIENT_PIN_NONE = 0, /* any server */
    FTPCLIENT_PIN_MD5 = 1,  /* SFTP: MD5 of the host key */
    FTPCLIENT_PIN_SHA1 = 2, /* FTPS: SHA-1 of the certificate */
};

/* In bytes: fingerprints, and the largest download; a larger one ends with FTPCLIENT_RESULT_SIZE_LIMIT. */
enum ftpclient_size { FTPCLIENT_MD5_SIZE = 16, FTPCLIENT_SHA1_SIZE = 20, FTPCLIENT_DOWNLOAD_MAX = 4096 };

enum ftpclient_notice_code {
    FTPCLIENT_NOTICE_DOWNLOAD_DONE = 0,
    FTPCLIENT_NOTICE_UPLOAD_DONE = 1,
    FTPCLIENT_NOTICE_FILE_INFO_DONE = 2,
    FTPCLIENT_NOTICE_STARTED = 3, /* the daemon's start, failed if `result` is not 0; no progress */
};

/* Why a job failed, derived from everything that the daemon reported. */
enum ftpclient_cause {
    FTPCLIENT_CAUSE_NONE = 0,           /* it did not fail */
    FTPCLIENT_CAUSE_OTHER = 1,          /* unknown: see the result */
    FTPCLIENT_CAUSE_LOGIN = 2,          /* the server refused user or password */
    FTPCLIENT_CAUSE_NO_FILE = 3,        /* no such file or folder on the server */
    FTPCLIENT_CAUSE_DENIED = 4,         /* the server forbids it */
    FTPCLIENT_CAUSE_NO_NAME = 5,        /* the server's or proxy's name was not found */
    FTPCLIENT_CAUSE_NOBODY = 6,         /* no connection, reported at once: nobody listens, or no route */
    FTPCLIENT_CAUSE_UNREACHABLE = 7,    /* no connection within seconds, or no answer */
    FTPCLIENT_CAUSE_HANDSHAKE = 8,      /* TLS or the SSH key exchange failed */
    FTPCLIENT_CAUSE_SERVER_FULL = 9,    /* the server has no space left, or no more for this user */
    FTPCLIENT_CAUSE_LOCAL_FULL = 10,    /* the local disk is full */
    FTPCLIENT_CAUSE_NO_LOCAL_FILE = 11, /* the local file does not exist */
    FTPCLIENT_CAUSE_PROXY_LOGIN = 12,   /* the proxy requires a login, or rejected this one (407) */
    FTPCLIENT_CAUSE_BROKEN = 13,        /* the connection broke, or the transfer ended early */
    FTPCLIENT_CAUSE_STALLED = 14,       /* nothing moved for too long */
    FTPCLIENT_CAUSE_SFTP = 15,          /* the SFTP server gave no reason, as when its disk is full */
    FTPCLIENT_CAUSE_PROXY_REFUSED = 16, /* the proxy opens no tunnel; its reason is not known */
};

typedef struct ftpclient ftpclient_t;                 /* a daemon */
typedef struct ftpclient_request ftpclient_request_t; /* a job to run */
typedef struct ftpclient_call ftpclient_call_t;       /* a non-blocking call */
typedef struct ftpclient_notices ftpclient_notices_t; /* a receiver of notices */

/* The progress of a job. 48 bytes; never grows. Bytes that a resumed upload skips do not count. */
typedef struct ftpclient_progress {
    int64_t total_bytes;       /* 0 while unknown */
    int64_t transferred_bytes; /* the most that one try has moved */
    int64_t elapsed_ms;        /* of the current try */
    int32_t curl_code;         /* libcurl's result; not for Zixi jobs */
    int32_t zixi_error;        /* Zixi jobs: the library's last error, 0 for none; undefined for other jobs */
    int32_t response_type;     /* ftpclient_response: of response_code */
    int32_t response_code;     /* the server's last response code */
    int32_t retries;           /* made so far; not for Zixi jobs */
    int32_t unused;
} ftpclient_progress_t;

/* The running or last job. 64 bytes so far. */
typedef struct ftpclient_state {
    int32_t running;   /* 1 while it runs */
    int32_t job;       /* ftpclient_job; FTPCLIENT_NO_JOB when the daemon has run none */
    int32_t result;    /* ftpclient_result; valid when the job no longer runs */
    int32_t cancelled; /* 1 = the job was asked to stop; it is not announced by a notice */
    ftpclient_progress_t progress;
} ftpclient_state_t;

/* The result of a file-information job. 56 bytes; never grows. Unknown numbers are FTPCLIENT_UNKNOWN. */
typedef struct ftpclient_file_info {
    int64_t size_bytes;
    int64_t modified_s; /* seconds since 1970-01-01 00:00, treating the server's clock as UTC; requires year,
                           month and day; an unknown time of day counts as 00:00 */
    int32_t looked_up;  /* 1 = the look-up succeeded */
    int32_t exists;     /* 1 = the file exists, and the members below describe it */
    int32_t year;       /* four digits; a Unix listing shows the year or the time of day, not both */
    int32_t month;      /* 1 to 12 */
    int32_t day;        /* 1 to 31 */
    int32_t hour;       /* as the server lists it: 24 and more occur */
    int32_t minute;     /* as the server lists it */
    int32_t attributes; /* permissions as hexadecimal digits: rwxr-xr-x is 0x755 */
    int32_t is_link;    /* 1 = marked as a link in the listing */
    int32_t unused;
} ftpclient_file_info_t;

/* The outcome of ftpclient_run(). 152 bytes so far. */
typedef struct ftpclient_outcome {
    int32_t result;        /* ftpclient_result of the decisive job */
    int32_t cause;         /* ftpclient_cause */
    int32_t jobs;          /* number of jobs run, including look-ups and repetitions */
    int32_t upload;        /* ftpclient_upload: what an upload sent; 0 for other jobs */
    int64_t local_bytes;   /* uploads: size of the local file at the start, or FTPCLIENT_UNKNOWN */
    int64_t resumed_bytes; /* resumed uploads: the remote size before; otherwise 0 */
    int64_t remote_bytes;  /* the remote size after resumed and verified uploads and, if it can be found out,
                              after FTPCLIENT_CAUSE_SFTP; otherwise FTPCLIENT_UNKNOWN */
    ftpclient_progress_t progress;
    ftpclient_file_info_t file; /* file-information jobs, and the first look-up of a resumed upload */
    int32_t verified;           /* 1 = remote_bytes was read after the upload and is correct */
    int32_t may_be_spoiled;     /* 1 = upload the whole file, without resume: see ftpclient_run() */
} ftpclient_outcome_t;

enum ftpclient_upload {
    FTPCLIENT_UPLOAD_WHOLE = 1,   /* the whole file */
    FTPCLIENT_UPLOAD_REST = 2,    /* the part that was missing */
    FTPCLIENT_UPLOAD_NOTHING = 3, /* the remote file was complete */
    FTPCLIENT_UPLOAD_MENDED = 4,  /* the rest, which spoiled the remote file; then the whole file again */
};

/* What a call is doing. */
enum ftpclient_phase {
    FTPCLIENT_PHASE_ASKING = 0,     /* waiting for the daemon's reply */
    FTPCLIENT_PHASE_TURN = 1,       /* waiting for its turn */
    FTPCLIENT_PHASE_BUSY = 2,       /* has its turn, but a job of a program that takes no turns runs */
    FTPCLIENT_PHASE_LOOKING_UP = 3, /* a file-information job runs, perhaps to resume or verify an upload */
    FTPCLIENT_PHASE_TRANSFER = 4,   /* the download or upload runs */
    FTPCLIENT_PHASE_STOPPING = 5,   /* the job is being cancelled */
    FTPCLIENT_PHASE_DONE = 6,       /* finished: it has its result */
};

/* The end of a job, or the start of the daemon. 56 bytes so far. */
typedef struct ftpclient_notice {
    int32_t code;   /* ftpclient_notice_code */
    int32_t result; /* ftpclient_result */
    ftpclient_progress_t progress;
} ftpclient_notice_t;

/* ---- The daemon ---- */

/* Creates *client for the daemon at `socket_path` (NULL: FTPCLIENT_CONTROL_SOCKET). Does not connect and does
 * not block. No connection is kept, so the client outlives a restart of the daemon. Free it with
 * ftpclient_close(). ERR_TOO_LONG for the path, ERR_NO_MEMORY. */
FTPCLIENT_API int ftpclient_open(const char *socket_path, ftpclient_t **client);

/* ftpclient_open(), then ftpclient_ping(): fails as either does. Free *client with ftpclient_close(). */
FTPCLIENT_API int ftpclient_connect(const char *socket_path, int timeout_ms, ftpclient_t **client);

/* Frees the client; its pending calls stay valid. NULL is a no-op. A running job continues. */
FTPCLIENT_API void ftpclient_close(ftpclient_t *client);

/* Checks that the daemon answers. *last_result (may be NULL) becomes the ftpclient_result of its last start
 * of a job. Fails as every exchange with the daemon can: ERR_NO_DAEMON, ERR_DENIED, ERR_TIMEOUT,
 * ERR_DISCONNECTED, ERR_PROTOCOL, ERR_UNREAD, ERR_SYSTEM. Needs no turn. */
FTPCLIENT_API int ftpclient_ping(const ftpclient_t *client, int32_t *last_result, int timeout_ms);

/* Gets the state of the running or last job, whoever started it. Fails as ftpclient_ping(). Needs no turn. */
FTPCLIENT_API int ftpclient_poll(const ftpclient_t *client, ftpclient_state_t *state, size_t state_size,
                                 int timeout_ms);

/* Stops the running job, regardless of who started it, and returns when it has stopped, which may take
 * seconds. Returns FTPCLIENT_RESULT_NOT_RUNNING when there is none. After ERR_TIMEOUT the daemon continues to
 * stop it. Otherwise fails as ftpclient_ping(). Needs no turn. */
FTPCLIENT_API int ftpclient_cancel(const ftpclient_t *client, int timeout_ms);

/* Runs a whole job (ftpclient_job): waits for its turn, starts the job, waits for its end, reads the outcome
 * and releases the turn. The caller keeps the request and may use it again.
 *
 * Returns FTPCLIENT_OK on success; the job's ftpclient_result if it failed, which includes
 * FTPCLIENT_RESULT_CANCELED; otherwise ERR_INCOMPLETE without host, remote path or (except for file
 * information) local path; ERR_ARGUMENT for a Zixi job other than an upload, and through a proxy for file
 * information, resume, verify, and an upload to a path that ends in '/'; ERR_TURN; ERR_TIMEOUT and ERR_SILENT
 * if the job was cancelled for this reason, which may take another 10 s; ERR_UNKNOWN_OUTCOME; ERR_NO_ANSWER;
 * or as ftpclient_ping(). For a file-information job a missing file is not a failure: see
 * outcome->file.exists. *outcome (may be NULL) is filled in, as far as known, in all these cases except
 * ERR_ARGUMENT and ERR_INCOMPLETE.
 *
 * A resumed upload is one turn: it looks up the remote file, appends what is missing, and reads the size
 * again. If the size differs, because the server wrote the rest elsewhere or a retry appended too much, the
 * whole file is uploaded and looked up again (FTPCLIENT_UPLOAD_MENDED). A size that still differs, or one
 * that differs after a verified upload, is ERR_DIFFERENT. If the remote file cannot be a prefix of the local
 * one, the result is ERR_NO_RESUME and nothing was sent; outcome->file shows why.
 *
 * A resumed upload that failed or was stopped can usually be resumed again. The exception is an upload that
 * the daemon had retried, or whose end was not observed: the beginning of the file may then be repeated after
 * outcome->resumed_bytes, and a later resume would continue there. outcome->may_be_spoiled is 1 then; upload
 * the whole file.
 *
 * Before a download or upload starts, the daemon's mounts are compared with those of this program, as far as
 * /proc shows them. ERR_OUT_OF_SIGHT and ERR_READ_ONLY mean that the job was not started. If they are hidden,
 * such a job fails with FTPCLIENT_RESULT_LOCAL_READ or LOCAL_WRITE, or uses a file that only the daemon sees.
 */
FTPCLIENT_API int ftpclient_run(const ftpclient_t *client, int job, const ftpclient_request_t *request,
                                ftpclient_outcome_t *outcome, size_t outcome_size, int timeout_ms);

/* Starts a job without waiting for its end: waits for its turn, starts the job, and releases the turn. Only a
 * notice can report the outcome; no later call can tell whose outcome it reads. Ignores the request's resume
 * and verify. Fails as ftpclient_run() up to the start, or with the daemon's refusal. */
FTPCLIENT_API int ftpclient_start(const ftpclient_t *client, int job, const ftpclient_request_t *request,
                                  int timeout_ms);

/* ---- Non-blocking forms, for event loops: begin, wait for the descriptor, finish ----
 *
 *   ftpclient_begin_run(client, job, request, timeout_ms, &call);
 *   whenever poll(2) or epoll(7) reports ftpclient_call_fd(call) as readable:
 *       code = ftpclient_call_finish(call);      FTPCLIENT_PENDING: call it again later
 *   ftpclient_call_outcome(call, &outcome, sizeof outcome);
 *   ftpclient_call_free(call);
 *
 * None of these functions blocks. A call copies what it needs: client and request may be freed.
 */

/* Begin the call of the blocking function of the same name. They return only its immediate failures:
 * ERR_ARGUMENT, ERR_INCOMPLETE, ERR_NO_MEMORY, ERR_SYSTEM; ftpclient_call_finish() returns all others. */
FTPCLIENT_API int ftpclient_begin_ping(const ftpclient_t *client, int timeout_ms, ftpclient_call_t **call);
FTPCLIENT_API int ftpclient_begin_poll(const ftpclient_t *client, int timeout_ms, ftpclient_call_t **call);
FTPCLIENT_API int ftpclient_begin_cancel(const ftpclient_t *client, int timeout_ms, ftpclient_call_t **call);
FTPCLIENT_API int ftpclient_begin_start(const ftpclient_t *client, int job,
                                        const ftpclient_request_t *request, int timeout_ms,
                                        ftpclient_call_t **call);
FTPCLIENT_API int ftpclient_begin_run(const ftpclient_t *client, int job, const ftpclient_request_t *request,
                                      int timeout_ms, ftpclient_call_t **call);

/* A descriptor that becomes readable (poll, select, epoll) when ftpclient_call_finish() has something to do;
 * the same one for the whole life of the call. The call owns it: do not read or close it. -1 for NULL. */
FTPCLIENT_API int ftpclient_call_fd(const ftpclient_call_t *call);

/* Continues the call as far as possible without waiting. Returns FTPCLIENT_PENDING, or, once the call is
 * finished and on every later call, the result that the blocking function would return. */
FTPCLIENT_API int ftpclient_call_finish(ftpclient_call_t *call);

/* Ends the call early: at once while it waits for its turn, otherwise by cancelling its job. It is finished
 * when ftpclient_call_finish() says so, usually with FTPCLIENT_RESULT_CANCELED. Returns FTPCLIENT_OK, also
 * for a finished call. */
FTPCLIENT_API int ftpclient_call_stop(ftpclient_call_t *call);

/* What the call is doing, an ftpclient_phase; FTPCLIENT_PHASE_DONE for NULL. */
FTPCLIENT_API int ftpclient_call_phase(const ftpclient_call_t *call);

/* 0, or the errno that made this call continue without a turn: ERR_UNKNOWN_OUTCOME is then more likely. Known
 * after FTPCLIENT_PHASE_TURN; 0 for NULL. */
FTPCLIENT_API int ftpclient_call_turn_error(const ftpclient_call_t *call);

/* The last known state: what ftpclient_begin_poll() got, or the progress of a run; before that, all zero. */
FTPCLIENT_API int ftpclient_call_state(const ftpclient_call_t *call, ftpclient_state_t *state,
                                       size_t state_size);

/* The result of ftpclient_begin_ping(): that of the daemon's last start. 0 before the call is finished. */
FTPCLIENT_API int ftpclient_call_last_result(const ftpclient_call_t *call, int32_t *last_result);

/* The outcome of a run, as from ftpclient_run(); before the end, what is known so far. */
FTPCLIENT_API int ftpclient_call_outcome(const ftpclient_call_t *call, ftpclient_outcome_t *outcome,
                                         size_t outcome_size);

/* Frees the call and erases the password in it. An unfinished call is abandoned: its turn is released, and a
 * running job continues. NULL is a no-op. */
FTPCLIENT_API void ftpclient_call_free(ftpclient_call_t *call);

/* ---- Requests. None of these functions blocks. ---- */

/* Creates an empty *request for an ftpclient_protocol. Defaults: port 0, passive mode, no proxy, any server
 * accepted, no resume, not verified, Zixi overwrites, no time limits. ERR_ARGUMENT for an unknown protocol,
 * ERR_NO_MEMORY. Free it with ftpclient_request_free(). */
FTPCLIENT_API int ftpclient_request_new(int protocol, ftpclient_request_t **request);

/* Erases the request, including the password, and frees it. NULL is a no-op. */
FTPCLIENT_API void ftpclient_request_free(ftpclient_request_t *request);

/* Why a setter last refused a value, such as "remote path: must not hold '#'"; "" if none has, and for NULL.
 * The request owns the text; the next refusal changes it. */
FTPCLIENT_API const char *ftpclient_request_complaint(const ftpclient_request_t *request);

/* host: a name or address of at most 255 bytes, an IPv6 address in brackets; ERR_CHARACTER for blanks,
 * control characters, any of / @ # ? \ and, outside brackets, ':' and '%'. port: 0 (the protocol's default;
 * Zixi has none) to 65535. */
FTPCLIENT_API int ftpclient_request_set_server(ftpclient_request_t *request, const char *host, uint32_t port);

/* User and password: at most 31 and 223 bytes, for Zixi 63 and 127; both may be empty. ERR_CHARACTER for CR
 * and LF. If one is refused, neither is set. The caller should erase its own copy of the password. */
FTPCLIENT_API int ftpclient_request_set_login(ftpclient_request_t *request, const char *user,
                                              const char *password);

/* At most 511 bytes, relative to the login directory or, over FTP and FTPS, absolute with a leading '/'.
 * ERR_CHARACTER for '#', '?', CR and LF, and over FTP and FTPS for ";type=" in any case and the byte 255.
 * Zixi accepts all bytes and uses only the folder of the path: the file keeps its local name. */
FTPCLIENT_API int ftpclient_request_set_remote_path(ftpclient_request_t *request, const char *path);

/* The file that the daemon writes in a download or reads in an upload, at most 255 bytes. The daemon runs in
 * "/", so a path that does not begin with '/' is ERR_ARGUMENT. */
FTPCLIENT_API int ftpclient_request_set_local_path(ftpclient_request_t *request, const char *path);

/* FTP and FTPS: 0 = active, the server opens data connections; not 0 = passive, the device does (default). */
FTPCLIENT_API int ftpclient_request_set_passive(ftpclient_request_t *request, int passive);

/* An HTTP proxy; host and port as in ftpclient_request_set_server(), at most 255 bytes. An empty host means
 * none. ERR_ARGUMENT for Zixi. */
FTPCLIENT_API int ftpclient_request_set_proxy(ftpclient_request_t *request, const char *host, uint32_t port);

/* The login of the HTTP proxy; two empty strings mean none. ERR_TOO_LONG if host and login together exceed
 * 255 bytes, where each byte other than letters, digits and "-._~" counts as three. ERR_ARGUMENT for Zixi. */
FTPCLIENT_API int ftpclient_request_set_proxy_login(ftpclient_request_t *request, const char *user,
                                                    const char *password);

/* The fingerprint that the server must have, `size` raw bytes; otherwise the job fails before the login.
 * ERR_ARGUMENT for a kind (ftpclient_pin) that does not belong to the protocol or a size that is neither the
 * kind's nor 0. A fingerprint of size 0 matches no server: with a save path, such a job saves the server's
 * identity without logging in. */
FTPCLIENT_API int ftpclient_request_set_pin(ftpclient_request_t *request, int pin, const uint8_t *digest,
                                            size_t size);

/* FTPS and SFTP: the file to which the server's certificate or host key is saved before it is checked. At
 * most 258 bytes, absolute; empty = not saved. ERR_ARGUMENT for other protocols. */
FTPCLIENT_API int ftpclient_request_set_save_path(ftpclient_request_t *request, const char *path);

/* Uploads: not 0 = append what is missing in the remote file, see ftpclient_run(). ERR_ARGUMENT for Zixi. */
FTPCLIENT_API int ftpclient_request_set_resume(ftpclient_request_t *request, int resume);

/* Uploads: not 0 = compare the sizes afterwards; resumed ones always are. ERR_ARGUMENT for Zixi. */
FTPCLIENT_API int ftpclient_request_set_verify(ftpclient_request_t *request, int verify);

/* How many milliseconds the whole call may wait for other programs before it returns ERR_TURN: for its turn,
 * and for jobs of programs that take no turns. 0 = do not wait; negative (the default) = as long as
 * timeout_ms allows. */
FTPCLIENT_API int ftpclient_request_set_turn_timeout(ftpclient_request_t *request, int timeout_ms);

/* A job in which no byte has moved for this many milliseconds is cancelled: ERR_SILENT. Negative (the
 * default) = never; the daemon has its own limits. */
FTPCLIENT_API int ftpclient_request_set_silence(ftpclient_request_t *request, int limit_ms);

/* Zixi: 0 = fail with FTPCLIENT_RESULT_REMOTE_FILE_EXISTS if the remote file exists; not 0 (the default) =
 * replace it. ERR_ARGUMENT for other protocols. */
FTPCLIENT_API int ftpclient_request_set_overwrite(ftpclient_request_t *request, int overwrite);

/* ---- Notices: only one program at a time can receive them, in place of the network manager ---- */

/* Listens on `socket_path` (NULL: FTPCLIENT_NOTICE_SOCKET); does not block. A socket left behind by an ended
 * program is replaced; ERR_IN_USE when another process listens there. Also ERR_TOO_LONG, ERR_NO_MEMORY,
 * ERR_SYSTEM. Close *notices with ftpclient_notices_close(). */
FTPCLIENT_API int ftpclient_notices_open(const char *socket_path, ftpclient_notices_t **notices);

/* A descriptor that becomes readable (poll, select, epoll) when ftpclient_notices_receive() has something to
 * do. The receiver owns it: do not read or close it. -1 for NULL. */
FTPCLIENT_API int ftpclient_notices_fd(const ftpclient_notices_t *notices);

/* Receives the next notice. In an event loop call it with timeout_ms 0 when the descriptor is readable:
 * ERR_TIMEOUT then means that no notice is complete yet. ERR_PROTOCOL: something else arrived and was
 * dropped; call again. A sender has 10 s for its notice. Also ERR_SYSTEM. */
FTPCLIENT_API int ftpclient_notices_receive(ftpclient_notices_t *notices, ftpclient_notice_t *notice,
                                            size_t notice_size, int timeout_ms);

/* Stops listening, removes the socket unless it was replaced, and frees the receiver. NULL is a no-op. */
FTPCLIENT_API void ftpclient_notices_close(ftpclient_notices_t *notices);

/* ---- Texts. None of these returns NULL; the texts are constant. ---- */

/* Why a job failed: the ftpclient_cause for a result and progress from a state or a notice; progress may be
 * NULL if unknown. Causes that depend on the local file are only in an outcome. */
FTPCLIENT_API int ftpclient_cause_of(int result, const ftpclient_progress_t *progress);

/* A sentence for an ftpclient_cause, such as "the connection broke"; for any other number "unknown cause". */
FTPCLIENT_API const char *ftpclient_cause_text(int cause);

/* A short name for an ftpclient_cause, such as "login-refused"; for any other number "unknown". */
FTPCLIENT_API const char *ftpclient_cause_name(int cause);

/* A short text for an ftpclient_error or an ftpclient_result; for any other number "unknown error" or, above
 * 0, "unknown result". */
FTPCLIENT_API const char *ftpclient_strerror(int code);

/* An ftpclient_result's name in documents and logs, e.g. "FTPCD_ERR_BUSY"; otherwise "unknown result". */
FTPCLIENT_API const char *ftpclient_result_name(int result);

/* The version of the loaded library, e.g. "0.2.0"; FTPCLIENT_VERSION_... is that of the header. */
FTPCLIENT_API const char *ftpclient_version(void);

#ifdef __cplusplus
}
#endif

#endif
