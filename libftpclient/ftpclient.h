/* Hands file-transfer jobs to the daemon ftp_clientd. C11 and C++; needs libc alone.
 *
 * Link with libftpclient, or copy the two files that `scripts/single-file` writes into your project.
 *
 * What holds for every function
 * - Result: FTPCLIENT_OK (0); a negative ftpclient_error when this side failed; where it says so, a positive
 *   ftpclient_result of the daemon. ftpclient_strerror() puts any of them into words. After
 *   FTPCLIENT_ERR_SYSTEM, errno says what the system refused. A call that fails leaves its outputs alone, but
 *   pointers to new objects become NULL.
 * - Time: timeout_ms limits the whole call, in milliseconds; a negative one never ends it, 0 does not wait at
 *   all. The daemon serves one request every 100 ms and gives a client 10 s: FTPCLIENT_TIMEOUT_MS is a good
 *   value. A signal ends no wait, and none is raised (no SIGPIPE). Only these functions block:
 *   ftpclient_connect(), _ping(), _poll(), _cancel(), _run(), _start() and ftpclient_notices_receive().
 * - Threads: there is no global state. A client may be used by many threads at once. A request, a call and a
 *   notice receiver belong to one thread at a time.
 * - Strings are NUL-terminated and copied. One that does not fit its field is refused, never cut. A setter
 *   that refuses leaves the request as it was; ftpclient_request_complaint() says why.
 * - Structures that are filled may get further members at their end: pass their sizeof. A program built
 *   against an older header gets what it knows, one built against a newer header gets zeros for the rest; a
 *   size below that of the header's first version is FTPCLIENT_ERR_ARGUMENT.
 * - NULL where an object or output is needed is FTPCLIENT_ERR_ARGUMENT; a function that returns no result
 * says what it makes of NULL.
 *
 * Turns
 *   The daemon runs one job at a time, and its answers do not say whose. So programs take turns: the library
 *   holds an exclusive lock on the file "<control socket>.turn" from before it starts a job until it has read
 *   the outcome. Programs that wait get their turn in the order in which they came. A program that takes no
 *   turns can still come between; the library notices, runs the job again when that does no harm, and
 *   otherwise answers FTPCLIENT_ERR_UNKNOWN_OUTCOME. It never takes another program's success for its own.
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
#define FTPCLIENT_TURN_SUFFIX ".turn" /* behind the control socket's path: the file of the turn */
#define FTPCLIENT_TIMEOUT_MS 10000
#define FTPCLIENT_UNKNOWN (-1) /* a number that nobody told */

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
    FTPCLIENT_ERR_ARGUMENT = -1,     /* NULL, a number out of range, or not for this protocol or job */
    FTPCLIENT_ERR_TOO_LONG = -2,     /* the string does not fit its field */
    FTPCLIENT_ERR_CHARACTER = -3,    /* the string holds what would change its meaning on the way */
    FTPCLIENT_ERR_INCOMPLETE = -4,   /* host, remote path or local path was not set */
    FTPCLIENT_ERR_NO_MEMORY = -5,    /* out of memory */
    FTPCLIENT_ERR_SYSTEM = -6,       /* a system call failed: see errno */
    FTPCLIENT_ERR_NO_DAEMON = -7,    /* nobody listens at the control socket */
    FTPCLIENT_ERR_TIMEOUT = -8,      /* timeout_ms has passed; a job of this call was cancelled */
    FTPCLIENT_ERR_DISCONNECTED = -9, /* the daemon hung up; the request may have been carried out */
    FTPCLIENT_ERR_PROTOCOL = -10,    /* an answer or a notice that makes no sense */
    FTPCLIENT_ERR_UNREAD = -11,      /* the daemon could not read the request; nothing has happened */
    FTPCLIENT_ERR_IN_USE = -12,      /* another program receives the notices */
    FTPCLIENT_PENDING = -13,         /* no failure: not finished yet, wait for the descriptor */
    FTPCLIENT_ERR_DENIED = -14,      /* this user may not use the control socket */
    FTPCLIENT_ERR_NO_ANSWER = -15,   /* the daemon did not answer a request for 10 s */
    FTPCLIENT_ERR_TURN = -16,        /* other programs kept the daemon busy beyond the turn's time limit */
    FTPCLIENT_ERR_UNKNOWN_OUTCOME = -17, /* another program interfered: how this job ended is not known */
    FTPCLIENT_ERR_SILENT = -18,          /* nothing moved for the silence limit; the job was cancelled */
    FTPCLIENT_ERR_NO_RESUME = -19,       /* the remote file is not a prefix of the local one */
    FTPCLIENT_ERR_DIFFERENT = -20,       /* the upload has ended, but the remote file has another size */
    FTPCLIENT_ERR_OUT_OF_SIGHT = -21,    /* at the local path the daemon finds another file, or none */
    FTPCLIENT_ERR_READ_ONLY = -22,       /* the daemon cannot write to the folder of the local path */
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

/* Why a job failed, from all that the daemon told of it. */
enum ftpclient_cause {
    FTPCLIENT_CAUSE_NONE = 0,           /* it did not fail */
    FTPCLIENT_CAUSE_OTHER = 1,          /* the result alone tells */
    FTPCLIENT_CAUSE_LOGIN = 2,          /* the server refused user or password */
    FTPCLIENT_CAUSE_NO_FILE = 3,        /* no such file or folder on the server */
    FTPCLIENT_CAUSE_DENIED = 4,         /* the server forbids it */
    FTPCLIENT_CAUSE_NO_NAME = 5,        /* the server's or proxy's name was not found */
    FTPCLIENT_CAUSE_NOBODY = 6,         /* nobody listens at this address and port, or there is no route */
    FTPCLIENT_CAUSE_UNREACHABLE = 7,    /* no way to the server, or it does not answer */
    FTPCLIENT_CAUSE_HANDSHAKE = 8,      /* TLS or the SSH key exchange failed */
    FTPCLIENT_CAUSE_SERVER_FULL = 9,    /* the server has no space left, or no more for this user */
    FTPCLIENT_CAUSE_LOCAL_FULL = 10,    /* the local disk is full */
    FTPCLIENT_CAUSE_NO_LOCAL_FILE = 11, /* the local file does not exist */
    FTPCLIENT_CAUSE_PROXY_LOGIN = 12,   /* the proxy wants a login, or another one (407) */
    FTPCLIENT_CAUSE_BROKEN = 13,        /* the connection broke, or ended short */
    FTPCLIENT_CAUSE_STALLED = 14,       /* nothing moved for too long */
    FTPCLIENT_CAUSE_SFTP = 15, /* the SFTP server gave no reason: a full disk, a broken connection, ... */
    FTPCLIENT_CAUSE_PROXY_REFUSED =
        16, /* the proxy opens no tunnel: login, port, no way; it is not told which */
};

typedef struct ftpclient ftpclient_t;                 /* a daemon */
typedef struct ftpclient_request ftpclient_request_t; /* a job to be */
typedef struct ftpclient_call ftpclient_call_t;       /* a call that was begun and not yet finished */
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

/* What a file-information job found. 56 bytes; never grows. Unknown numbers are FTPCLIENT_UNKNOWN. */
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

/* What a whole job came to. 152 bytes so far. */
typedef struct ftpclient_outcome {
    int32_t result;        /* ftpclient_result of the job that decided */
    int32_t cause;         /* ftpclient_cause */
    int32_t jobs;          /* jobs that were run for it, look-ups and repetitions included */
    int32_t upload;        /* ftpclient_upload: what an upload sent; 0 for other jobs */
    int64_t local_bytes;   /* uploads: size of the local file at the start, or FTPCLIENT_UNKNOWN */
    int64_t resumed_bytes; /* resumed uploads: what the server had before; else 0 */
    int64_t remote_bytes; /* what the server has, after resumed and verified uploads, and where it can be told
                             after FTPCLIENT_CAUSE_SFTP; else FTPCLIENT_UNKNOWN */
    ftpclient_progress_t progress;
    ftpclient_file_info_t file; /* file-information jobs, and the first look of a resumed upload */
    int32_t verified;           /* 1 = remote_bytes was read after the upload, and is right */
    int32_t may_be_spoiled;     /* 1 = upload the whole file, without resume: see ftpclient_run() */
} ftpclient_outcome_t;

enum ftpclient_upload {
    FTPCLIENT_UPLOAD_WHOLE = 1,   /* the whole file */
    FTPCLIENT_UPLOAD_REST = 2,    /* what the remote file lacked */
    FTPCLIENT_UPLOAD_NOTHING = 3, /* all was there already */
    FTPCLIENT_UPLOAD_MENDED = 4,  /* the rest, which spoiled the remote file; then the whole file anew */
};

/* What a call is doing. */
enum ftpclient_phase {
    FTPCLIENT_PHASE_ASKING = 0, /* it waits for the daemon's answer */
    FTPCLIENT_PHASE_TURN = 1,   /* other programs have their turn first */
    FTPCLIENT_PHASE_BUSY = 2,   /* it is its turn, but a job of a program that takes no turns runs */
    FTPCLIENT_PHASE_LOOKING_UP =
        3, /* a file-information job runs: for itself, or to resume or verify an upload */
    FTPCLIENT_PHASE_TRANSFER = 4, /* the download or upload runs */
    FTPCLIENT_PHASE_STOPPING = 5, /* its job is being cancelled */
    FTPCLIENT_PHASE_DONE = 6,
};

/* The end of a job, or the start of the daemon. 56 bytes so far. */
typedef struct ftpclient_notice {
    int32_t code;   /* ftpclient_notice_code */
    int32_t result; /* ftpclient_result */
    ftpclient_progress_t progress;
} ftpclient_notice_t;

/* ---- The daemon ---- */

/* Makes *client for the daemon at `socket_path` (NULL: FTPCLIENT_CONTROL_SOCKET). Does not block: nobody is
 * asked yet. No connection is kept, so the client outlives a restart of the daemon. Free it with
 * ftpclient_close(). ERR_TOO_LONG for the path, ERR_NO_MEMORY. */
FTPCLIENT_API int ftpclient_open(const char *socket_path, ftpclient_t **client);

/* ftpclient_open(), then ftpclient_ping(): fails as either does. Free *client with ftpclient_close(). */
FTPCLIENT_API int ftpclient_connect(const char *socket_path, int timeout_ms, ftpclient_t **client);

/* Frees the client; calls that it began live on. NULL is a no-op. A running job continues. */
FTPCLIENT_API void ftpclient_close(ftpclient_t *client);

/* Does the daemon answer? *last_result (may be NULL) becomes the ftpclient_result of its last start of a job.
 * Fails as every exchange with the daemon can: ERR_NO_DAEMON, ERR_DENIED, ERR_TIMEOUT, ERR_DISCONNECTED,
 * ERR_PROTOCOL, ERR_UNREAD, ERR_SYSTEM. Needs no turn. */
FTPCLIENT_API int ftpclient_ping(const ftpclient_t *client, int32_t *last_result, int timeout_ms);

/* The state now: of the job that runs, or of the last one, whosever it is. Fails as ftpclient_ping(). Needs
 * no turn. */
FTPCLIENT_API int ftpclient_poll(const ftpclient_t *client, ftpclient_state_t *state, size_t state_size,
                                 int timeout_ms);

/* Stops the running job, whosever it is, and returns when it has stopped, which may take seconds. Returns
 * FTPCLIENT_RESULT_NOT_RUNNING when there is none. After ERR_TIMEOUT the daemon goes on stopping it. Else as
 * ftpclient_ping(). Needs no turn. */
FTPCLIENT_API int ftpclient_cancel(const ftpclient_t *client, int timeout_ms);

/* Runs a whole job (ftpclient_job): waits for its turn, starts the job, waits for its end, reads the outcome
 * and gives the turn back. The request stays the caller's and may be used again.
 *
 * Returns FTPCLIENT_OK when all went well; the job's ftpclient_result when it failed,
 * FTPCLIENT_RESULT_CANCELED among them; else ERR_INCOMPLETE without host, remote path or (but for file
 * information) local path; ERR_ARGUMENT for a Zixi job that is no upload, for asking a remote file's size
 * through a proxy, or for an upload through one to a path that ends in '/'; ERR_TURN; ERR_TIMEOUT and
 * ERR_SILENT when the job was cancelled for that, which may take another 10 s; ERR_UNKNOWN_OUTCOME;
 * ERR_NO_ANSWER; or as ftpclient_ping(). A file that does not exist is no failure of a file-information job:
 * see outcome->file.exists. *outcome (may be NULL) is filled in each of these cases but ERR_ARGUMENT and
 * ERR_INCOMPLETE, with what was known by then.
 *
 * A resumed upload is one turn: it looks the remote file up, appends what it lacks, and reads its size again.
 * When that differs, because a server wrote the rest elsewhere or a retry appended too much, the whole file
 * is uploaded anew and looked up once more (FTPCLIENT_UPLOAD_MENDED). A difference that stays, or one after a
 * verified upload, is ERR_DIFFERENT; a remote file that cannot be a beginning of the local one is
 * ERR_NO_RESUME, and nothing was sent: outcome->file tells why.
 *
 * When a resumed upload fails or is stopped, another one can go on as a rule. Not so when the daemon had
 * tried it again, or its end was not seen: the file's beginning may then stand a second time behind
 * outcome->resumed_bytes, which a later resume would take for the file. outcome->may_be_spoiled says so; only
 * the upload of the whole file mends it.
 *
 * Before a download or upload starts, the mounts of the daemon are compared with those of this program, as
 * far as /proc shows them: ERR_OUT_OF_SIGHT and ERR_READ_ONLY, and nothing was sent. Where they are hidden,
 * the job fails with FTPCLIENT_RESULT_LOCAL_READ or LOCAL_WRITE, or deals with a file that only the daemon
 * sees.
 */
FTPCLIENT_API int ftpclient_run(const ftpclient_t *client, int job, const ftpclient_request_t *request,
                                ftpclient_outcome_t *outcome, size_t outcome_size, int timeout_ms);

/* Starts a job and leaves it alone: waits for its turn, starts the job, and gives the turn back. How the job
 * ends is told by a notice at best; no later call can say whose outcome it reads. Takes no notice of the
 * request's resume and verify. Returns as ftpclient_run() up to the start, or with the daemon's refusal. */
FTPCLIENT_API int ftpclient_start(const ftpclient_t *client, int job, const ftpclient_request_t *request,
                                  int timeout_ms);

/* ---- The same in pieces, for event loops: begin, wait for the descriptor, finish ----
 *
 *   ftpclient_begin_run(client, job, request, timeout_ms, &call);
 *   for each time that poll(2) or epoll(7) finds ftpclient_call_fd(call) readable:
 *       code = ftpclient_call_finish(call);      FTPCLIENT_PENDING: later again
 *   ftpclient_call_outcome(call, &outcome, sizeof outcome);
 *   ftpclient_call_free(call);
 *
 * None of these functions blocks. A call that was begun keeps what it needs: client and request may be freed.
 */

/* Begin what the function of the same name does. Fail as that does before it waits: ERR_ARGUMENT,
 * ERR_INCOMPLETE, ERR_NO_MEMORY, ERR_SYSTEM; all other failures come from ftpclient_call_finish(). */
FTPCLIENT_API int ftpclient_begin_ping(const ftpclient_t *client, int timeout_ms, ftpclient_call_t **call);
FTPCLIENT_API int ftpclient_begin_poll(const ftpclient_t *client, int timeout_ms, ftpclient_call_t **call);
FTPCLIENT_API int ftpclient_begin_cancel(const ftpclient_t *client, int timeout_ms, ftpclient_call_t **call);
FTPCLIENT_API int ftpclient_begin_start(const ftpclient_t *client, int job,
                                        const ftpclient_request_t *request, int timeout_ms,
                                        ftpclient_call_t **call);
FTPCLIENT_API int ftpclient_begin_run(const ftpclient_t *client, int job, const ftpclient_request_t *request,
                                      int timeout_ms, ftpclient_call_t **call);

/* A descriptor that becomes readable (poll, select, epoll) when ftpclient_call_finish() has something to do;
 * the same one for the whole life of the call. It stays the call's: do not read or close it. -1 for NULL. */
FTPCLIENT_API int ftpclient_call_fd(const ftpclient_call_t *call);

/* Goes on as far as it can: FTPCLIENT_PENDING, or what the call has come to, each time again: a result as the
 * function of the same name returns it. */
FTPCLIENT_API int ftpclient_call_finish(ftpclient_call_t *call);

/* Ends the call early: while it waits for its turn at once, while its job runs by cancelling that. It is over
 * when ftpclient_call_finish() says so, as a rule with FTPCLIENT_RESULT_CANCELED. FTPCLIENT_OK, also for a
 * call that is over. */
FTPCLIENT_API int ftpclient_call_stop(ftpclient_call_t *call);

/* What the call is doing, an ftpclient_phase; FTPCLIENT_PHASE_DONE for NULL. */
FTPCLIENT_API int ftpclient_call_phase(const ftpclient_call_t *call);

/* 0, or the errno for which this call goes on without a turn: it may have to give ERR_UNKNOWN_OUTCOME more
 * often. Known when the call has left FTPCLIENT_PHASE_TURN; 0 for NULL. */
FTPCLIENT_API int ftpclient_call_turn_error(const ftpclient_call_t *call);

/* The state that was last seen: the answer of ftpclient_begin_poll(), the progress of a run. All zero before.
 */
FTPCLIENT_API int ftpclient_call_state(const ftpclient_call_t *call, ftpclient_state_t *state,
                                       size_t state_size);

/* The answer of ftpclient_begin_ping(): the ftpclient_result of the daemon's last start of a job; 0 before.
 */
FTPCLIENT_API int ftpclient_call_last_result(const ftpclient_call_t *call, int32_t *last_result);

/* The outcome of a run, as ftpclient_run() gives it; before the end, what is known so far. */
FTPCLIENT_API int ftpclient_call_outcome(const ftpclient_call_t *call, ftpclient_outcome_t *outcome,
                                         size_t outcome_size);

/* Frees the call and wipes the password in it. One that was not finished is given up: its turn is given back,
 * and a job that runs goes on. NULL is a no-op. */
FTPCLIENT_API void ftpclient_call_free(ftpclient_call_t *call);

/* ---- Requests. None of these functions blocks. ---- */

/* Makes an empty *request for an ftpclient_protocol: port 0, passive, no proxy, any server accepted, no
 * resume, not verified, Zixi overwrites, no limits of its own. ERR_NO_MEMORY. Free it with
 * ftpclient_request_free(). */
FTPCLIENT_API int ftpclient_request_new(int protocol, ftpclient_request_t **request);

/* Overwrites the request, password and all, then frees it. NULL is a no-op. */
FTPCLIENT_API void ftpclient_request_free(ftpclient_request_t *request);

/* Why the last setter that refused did so, one sentence such as "remote path: must not hold '#'"; "" before
 * one has, and for NULL. The text is the request's and changes with the next refusal. */
FTPCLIENT_API const char *ftpclient_request_complaint(const ftpclient_request_t *request);

/* host: a name or address of at most 255 bytes, an IPv6 address in brackets; ERR_CHARACTER for blanks,
 * control characters, any of / @ # ? \ and, outside of brackets, ':' and '%'. port: 0 (the protocol's own) to
 * 65535. */
FTPCLIENT_API int ftpclient_request_set_server(ftpclient_request_t *request, const char *host, uint32_t port);

/* User and password: at most 31 and 223 bytes, for Zixi 63 and 127; both may be empty. ERR_CHARACTER for CR
 * and LF. Neither is set when one is refused. The caller's own copy of the password is the caller's to wipe.
 */
FTPCLIENT_API int ftpclient_request_set_login(ftpclient_request_t *request, const char *user,
                                              const char *password);

/* At most 511 bytes: relative to the login directory; over FTP and FTPS a '/' in front makes it absolute,
 * over SFTP it stays below the login directory. ERR_CHARACTER for '#', '?', CR and LF, and over FTP and FTPS
 * for ";type=" in any case and the byte 255; Zixi takes all. */
FTPCLIENT_API int ftpclient_request_set_remote_path(ftpclient_request_t *request, const char *path);

/* At most 255 bytes: written by a download, read by an upload, by the daemon, which runs in "/". Hence
 * ERR_ARGUMENT when it does not begin with '/'. */
FTPCLIENT_API int ftpclient_request_set_local_path(ftpclient_request_t *request, const char *path);

/* FTP and FTPS: 0 = the server connects to the device for data; not 0, as it begins: the device connects. */
FTPCLIENT_API int ftpclient_request_set_passive(ftpclient_request_t *request, int passive);

/* An HTTP proxy; host and port as in ftpclient_request_set_server(), at most 255 bytes. An empty host: none.
 * ERR_ARGUMENT for Zixi. */
FTPCLIENT_API int ftpclient_request_set_proxy(ftpclient_request_t *request, const char *host, uint32_t port);

/* The login of the HTTP proxy; two empty strings: none. ERR_TOO_LONG when host and login together do not fit
 * into 255 bytes: all but letters, digits and "-._~" counts for three. ERR_ARGUMENT for Zixi. */
FTPCLIENT_API int ftpclient_request_set_proxy_login(ftpclient_request_t *request, const char *user,
                                                    const char *password);

/* The server must have this fingerprint, `size` raw bytes, else the job fails before the login. ERR_ARGUMENT
 * for a kind (ftpclient_pin) that is not the protocol's or a size that is neither the kind's nor 0. A
 * fingerprint of size 0 fits no server: with a save path that learns an identity and tells the server
 * nothing. */
FTPCLIENT_API int ftpclient_request_set_pin(ftpclient_request_t *request, int pin, const uint8_t *digest,
                                            size_t size);

/* FTPS and SFTP: the server's certificate or host key is saved there before it is judged. At most 258 bytes,
 * absolute; empty: not saved. ERR_ARGUMENT for other protocols. */
FTPCLIENT_API int ftpclient_request_set_save_path(ftpclient_request_t *request, const char *path);

/* Uploads: not 0 = append what the remote file lacks, see ftpclient_run(). ERR_ARGUMENT for Zixi. */
FTPCLIENT_API int ftpclient_request_set_resume(ftpclient_request_t *request, int resume);

/* Uploads: not 0 = read the remote file's size when the upload has ended, and compare; a resumed upload does
 * so in any case. ERR_ARGUMENT for Zixi. */
FTPCLIENT_API int ftpclient_request_set_verify(ftpclient_request_t *request, int verify);

/* How many milliseconds the whole call may wait for other programs before it gives ERR_TURN: for the turn,
 * and for jobs of programs that take none. 0: not at all. Negative, as it begins: as long as its timeout_ms
 * allows. */
FTPCLIENT_API int ftpclient_request_set_turn_timeout(ftpclient_request_t *request, int timeout_ms);

/* A job in which no byte has moved for so many milliseconds is cancelled: ERR_SILENT. Negative, as it begins:
 * never; the daemon has limits of its own. */
FTPCLIENT_API int ftpclient_request_set_silence(ftpclient_request_t *request, int limit_ms);

/* Zixi: 0 = fail with FTPCLIENT_RESULT_REMOTE_FILE_EXISTS when the remote file exists; not 0, as it begins:
 * replace it. ERR_ARGUMENT for others. */
FTPCLIENT_API int ftpclient_request_set_overwrite(ftpclient_request_t *request, int overwrite);

/* ---- Notices: one program at a time receives them, in the place of the network manager ---- */

/* Listens at `socket_path` (NULL: FTPCLIENT_NOTICE_SOCKET); does not block. A socket left behind by a program
 * that is gone is replaced; ERR_IN_USE when somebody listens there. Also ERR_TOO_LONG, ERR_NO_MEMORY,
 * ERR_SYSTEM. Close *notices with ftpclient_notices_close(). */
FTPCLIENT_API int ftpclient_notices_open(const char *socket_path, ftpclient_notices_t **notices);

/* A descriptor that becomes readable (poll, select, epoll) when ftpclient_notices_receive() has something to
 * do. It stays the receiver's: do not read or close it. -1 for NULL. */
FTPCLIENT_API int ftpclient_notices_fd(const ftpclient_notices_t *notices);

/* Takes the next notice. In an event loop call it with timeout_ms 0 when the descriptor is readable:
 * ERR_TIMEOUT then means "none is whole yet". ERR_PROTOCOL: something else came, it is dropped; call again. A
 * sender is given 10 s. ERR_SYSTEM. */
FTPCLIENT_API int ftpclient_notices_receive(ftpclient_notices_t *notices, ftpclient_notice_t *notice,
                                            size_t notice_size, int timeout_ms);

/* Stops listening, removes the socket unless it has been replaced, frees; does not block. NULL is a no-op. */
FTPCLIENT_API void ftpclient_notices_close(ftpclient_notices_t *notices);

/* ---- Words. None of these returns NULL; the texts are constant. ---- */

/* Why a job failed: an ftpclient_cause from its result and progress, as a state or a notice has them;
 * progress may be NULL where it is not known. Local causes that need a look at the local file are known to an
 * outcome alone. */
FTPCLIENT_API int ftpclient_cause_of(int result, const ftpclient_progress_t *progress);

/* A sentence for an ftpclient_cause, such as "the connection broke"; for any other number "unknown cause". */
FTPCLIENT_API const char *ftpclient_cause_text(int cause);

/* A short name for programs, such as "login-refused"; for any other number "unknown". */
FTPCLIENT_API const char *ftpclient_cause_name(int cause);

/* A few words for an ftpclient_error or an ftpclient_result; for any other number "unknown error" or, above
 * 0, "unknown result". */
FTPCLIENT_API const char *ftpclient_strerror(int code);

/* The name that documentation and logs use for an ftpclient_result, e.g. "FTPCD_ERR_BUSY"; "unknown result".
 */
FTPCLIENT_API const char *ftpclient_result_name(int result);

/* "0.2.0": of the library that runs, where FTPCLIENT_VERSION_... is of the header. */
FTPCLIENT_API const char *ftpclient_version(void);

#ifdef __cplusplus
}
#endif

#endif
