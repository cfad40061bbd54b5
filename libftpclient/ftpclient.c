/* Everything about the interface stands in ftpclient.h. This is one file, so that it can be copied. */
#ifndef _GNU_SOURCE
#define _GNU_SOURCE /* accept4, explicit_bzero */
#endif
#ifndef _FILE_OFFSET_BITS
#define _FILE_OFFSET_BITS 64 /* lstat, on 32-bit machines */
#endif

#include "ftpclient.h"

#include <assert.h>
#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#define FIELD(name, at, size) AT_##name = (at), SIZE_##name = (size)

/* What travels: places and widths in bytes. All integers are little-endian. */
enum {
    COMMAND_NONE = 0,
    COMMAND_DOWNLOAD = 1,
    COMMAND_UPLOAD = 2,
    COMMAND_GET_STATE = 3,
    COMMAND_CANCEL = 4,
    COMMAND_DL_FILE_INFO = 5,
    COMMAND_GET_FILE_INFO = 6,

    SIZE_HEADER = 8, /* command, length of the body */
    SIZE_REPLY = 8,  /* result, detail; every reply begins so */
    SIZE_STATE_REPLY = 72,
    SIZE_CANCEL_REPLY = 12,
    SIZE_FILE_INFO_REPLY = 56,
    SIZE_REQUEST = 2080,

    FIELD(REMOTE_PATH, 0, 512),
    FIELD(LOCAL_PATH, 512, 256),
    FIELD(HOST, 768, 256),
    FIELD(PORT, 1024, 4),
    FIELD(USERNAME, 1028, 32),
    FIELD(PASSWORD, 1060, 224),
    FIELD(ZIXI_USER, 1092, 64), /* Zixi jobs carry their login inside the span of the password */
    FIELD(ZIXI_PASSWORD, 1156, 128),
    FIELD(PASSIVE_MODE, 1284, 4),
    FIELD(PROTOCOL, 1288, 4),
    FIELD(PROXY_HOST, 1292, 256),
    FIELD(PROXY_PORT, 1548, 4),
    FIELD(PROXY_TYPE, 1552, 4),
    FIELD(AUTH_TYPE, 1556, 4),
    FIELD(DIGEST_LENGTH, 1560, 1),
    FIELD(DIGEST, 1561, 256),
    FIELD(SAVE_PATH, 1817, 259),
    FIELD(RESUME, 2076, 4),

    AT_MODULE_INFO = 8, /* in a state reply; after it the progress */
    AT_STATE_PROGRESS = 24,
    AT_REMOTE_FILE = 8, /* in a file-information reply */

    NOTICE_SENDER = 10,
    NOTICE_KIND = 1,
    SIZE_NOTICE_HEADER = 12, /* sender, code, kind, -, length (16 bits), -, 0 */
    AT_NOTICE_LENGTH = 4,
    SIZE_COMPLETION = 56, /* result, detail, progress */
    SIZE_NOTICE = 512     /* the longest */
};

enum {
    JOB_POLL_MS = 100, /* the daemon's own rhythm */
    SENDER_S = 10,
    NOTICE_BACKLOG = 16,
    UNKNOWN_YEAR = 65535,
    UNKNOWN_ATTRIBUTES = 65535, /* of Zixi jobs */
    UNKNOWN_SMALL = 255,
    PROXY_HTTP = 1
};

static_assert(sizeof(ftpclient_progress_t) == 48, "part of the binary interface");
static_assert(sizeof(ftpclient_state_t) == 64, "grow it only by new members at its end");
static_assert(sizeof(ftpclient_file_info_t) == 56, "grow it only by new members at its end");
static_assert(sizeof(ftpclient_notice_t) == 56, "grow it only by new members at its end");
enum { FIRST_STATE_SIZE = 64, FIRST_FILE_INFO_SIZE = 56, FIRST_NOTICE_SIZE = 56 };

struct ftpclient {
    struct sockaddr_un address;
};

struct ftpclient_request {
    uint8_t bytes[SIZE_REQUEST];
};

struct ftpclient_notices {
    struct sockaddr_un address;
    struct stat socket; /* the file that bind made */
    int epoll;
    int listening;
    int timer;      /* runs while there is a sender */
    int connection; /* the sender, or -1 */
    size_t received;
    uint8_t bytes[SIZE_NOTICE];
};

/* ---- Bytes ---- */

static void put_u32(uint8_t *at, uint32_t value)
{
    for (int i = 0; i < 4; i++)
        at[i] = (uint8_t)(value >> (8 * i));
}

static uint64_t get_number(const uint8_t *at, int width)
{
    uint64_t value = 0;
    for (int i = 0; i < width; i++)
        value |= (uint64_t)at[i] << (8 * i);
    return value;
}

static uint32_t get_u32(const uint8_t *at) { return (uint32_t)get_number(at, 4); }

static int32_t get_i32(const uint8_t *at) { return (int32_t)get_u32(at); }

/* A double that counts something, times `factor`; 0 for what no count is. */
static int64_t get_count(const uint8_t *at, double factor)
{
    const uint64_t bits = get_number(at, 8);
    double value = 0;
    memcpy(&value, &bits, sizeof value);
    value *= factor;
    return value > 0 && value < 9.2e18 ? (int64_t)value : 0;
}

static ftpclient_progress_t get_progress(const uint8_t *at)
{
    ftpclient_progress_t progress;
    memset(&progress, 0, sizeof progress);
    progress.total_bytes = get_count(at, 1);
    progress.transferred_bytes = get_count(at + 8, 1);
    progress.elapsed_ms = get_count(at + 16, 1000);
    progress.curl_code = get_i32(at + 24);
    progress.zixi_error = get_i32(at + 28);
    progress.response_type = get_i32(at + 32);
    progress.response_code = get_i32(at + 36);
    progress.retries = get_i32(at + 40);
    return progress;
}

/* Fills a caller's structure whose header may be older or newer than this file. */
static void give(void *out, size_t out_size, const void *record, size_t record_size)
{
    memset(out, 0, out_size);
    memcpy(out, record, out_size < record_size ? out_size : record_size);
}

/* ---- Time: milliseconds of a clock that only goes forward; -1 is never ---- */

static int64_t now_ms(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

/* One more, because now_ms() rounds down. */
static int64_t end_after(int timeout_ms)
{
    return timeout_ms < 0 ? -1 : now_ms() + timeout_ms + (timeout_ms > 0 ? 1 : 0);
}

static int left_ms(int64_t end_ms)
{
    if (end_ms == -1)
        return -1;
    const int64_t left = end_ms - now_ms();
    return left > 0 ? (int)left : 0;
}

/* ---- Sockets ---- */

static int set_address(struct sockaddr_un *address, const char *path)
{
    memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    const size_t length = strlen(path);
    if (length >= sizeof address->sun_path)
        return FTPCLIENT_ERR_TOO_LONG;
    memcpy(address->sun_path, path, length);
    return FTPCLIENT_OK;
}

static void close_keeping_errno(int fd)
{
    const int kept = errno;
    if (fd != -1)
        close(fd);
    errno = kept;
}

static int wait_for(int fd, short events, int64_t end_ms)
{
    struct pollfd waiting = {fd, events, 0};
    for (;;) {
        const int ready = poll(&waiting, 1, left_ms(end_ms));
        if (ready > 0)
            return FTPCLIENT_OK;
        if (ready == 0)
            return FTPCLIENT_ERR_TIMEOUT;
        if (errno != EINTR)
            return FTPCLIENT_ERR_SYSTEM;
    }
}

static int connect_error(void)
{
    switch (errno) {
    case EAGAIN: /* the daemon's queue stayed full */
        return FTPCLIENT_ERR_TIMEOUT;
    case ENOENT:
    case ENOTDIR:
    case ECONNREFUSED:
        return FTPCLIENT_ERR_NO_DAEMON;
    default:
        return FTPCLIENT_ERR_SYSTEM;
    }
}

/* connect() waits while the daemon's queue is full; the socket's time limit for sending is what ends that. */
static int connect_within(int fd, const struct sockaddr_un *address, int64_t end_ms)
{
    do {
        const int left = left_ms(end_ms);
        if (left == 0)
            return FTPCLIENT_ERR_TIMEOUT;
        struct timeval limit = {0, 0}; /* none */
        if (left > 0) {
            limit.tv_sec = left / 1000;
            limit.tv_usec = left % 1000 * 1000L;
        }
        if (setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == -1)
            return FTPCLIENT_ERR_SYSTEM;
        if (connect(fd, (const struct sockaddr *)address, sizeof *address) == 0)
            return FTPCLIENT_OK;
    } while (errno == EINTR);
    return connect_error();
}

/* After a send or recv that moved nothing: is it worth another try? */
static int transfer_error(void)
{
    if (errno == EINTR || errno == EAGAIN)
        return FTPCLIENT_OK;
    return errno == EPIPE || errno == ECONNRESET ? FTPCLIENT_ERR_DISCONNECTED : FTPCLIENT_ERR_SYSTEM;
}

static int send_all(int fd, const uint8_t *bytes, size_t size, int64_t end_ms)
{
    while (size > 0) {
        int error = wait_for(fd, POLLOUT, end_ms);
        if (error != FTPCLIENT_OK)
            return error;
        const ssize_t count = send(fd, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count == -1 && (error = transfer_error()) != FTPCLIENT_OK)
            return error;
        if (count > 0) {
            bytes += count;
            size -= (size_t)count;
        }
    }
    return FTPCLIENT_OK;
}

static int receive_all(int fd, uint8_t *bytes, size_t size, int64_t end_ms)
{
    while (size > 0) {
        int error = wait_for(fd, POLLIN, end_ms);
        if (error != FTPCLIENT_OK)
            return error;
        const ssize_t count = recv(fd, bytes, size, MSG_DONTWAIT);
        if (count == 0)
            return FTPCLIENT_ERR_DISCONNECTED;
        if (count == -1 && (error = transfer_error()) != FTPCLIENT_OK)
            return error;
        if (count > 0) {
            bytes += count;
            size -= (size_t)count;
        }
    }
    return FTPCLIENT_OK;
}

/* ---- Exchanges with the daemon ---- */

static int converse(int fd, uint32_t command, const ftpclient_request_t *request, uint8_t *reply,
                    size_t reply_size, int64_t end_ms)
{
    uint8_t header[SIZE_HEADER];
    put_u32(header, command);
    put_u32(header + 4, request ? SIZE_REQUEST : 0);
    int error = send_all(fd, header, sizeof header, end_ms);
    if (error == FTPCLIENT_OK && request)
        error = send_all(fd, request->bytes, SIZE_REQUEST, end_ms);
    if (error == FTPCLIENT_OK)
        error = receive_all(fd, header, sizeof header, end_ms);
    if (error != FTPCLIENT_OK)
        return error;
    if (get_u32(header) == COMMAND_NONE && command != COMMAND_NONE)
        return FTPCLIENT_ERR_UNREAD;
    if (get_u32(header) != command || get_u32(header + 4) != reply_size)
        return FTPCLIENT_ERR_PROTOCOL;
    return receive_all(fd, reply, reply_size, end_ms);
}

static int exchange(const ftpclient_t *client, uint32_t command, const ftpclient_request_t *request,
                    uint8_t *reply, size_t reply_size, int64_t end_ms)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd == -1)
        return FTPCLIENT_ERR_SYSTEM;
    int error = connect_within(fd, &client->address, end_ms);
    if (error == FTPCLIENT_OK)
        error = converse(fd, command, request, reply, reply_size, end_ms);
    close_keeping_errno(fd);
    return error;
}

/* 0, or why the daemon refused. */
static int verdict(const uint8_t *reply)
{
    const int32_t detail = get_i32(reply + 4);
    if (get_u32(reply) == 0)
        return FTPCLIENT_OK;
    return detail > 0 ? detail : FTPCLIENT_ERR_PROTOCOL;
}

int ftpclient_connect(const char *socket_path, int timeout_ms, ftpclient_t **client)
{
    if (!client)
        return FTPCLIENT_ERR_ARGUMENT;
    *client = NULL;
    ftpclient_t *made = (ftpclient_t *)malloc(sizeof *made);
    if (!made)
        return FTPCLIENT_ERR_NO_MEMORY;
    int error = set_address(&made->address, socket_path ? socket_path : FTPCLIENT_CONTROL_SOCKET);
    if (error == FTPCLIENT_OK)
        error = ftpclient_ping(made, NULL, timeout_ms);
    if (error == FTPCLIENT_OK)
        *client = made;
    else
        ftpclient_close(made);
    return error;
}

void ftpclient_close(ftpclient_t *client)
{
    const int kept = errno;
    free(client);
    errno = kept;
}

int ftpclient_ping(const ftpclient_t *client, int32_t *last_result, int timeout_ms)
{
    if (!client)
        return FTPCLIENT_ERR_ARGUMENT;
    uint8_t reply[SIZE_REPLY];
    const int error = exchange(client, COMMAND_NONE, NULL, reply, sizeof reply, end_after(timeout_ms));
    if (error == FTPCLIENT_OK && last_result)
        *last_result = get_i32(reply + 4);
    return error;
}

static int get_state(const ftpclient_t *client, ftpclient_state_t *state, int64_t end_ms)
{
    uint8_t reply[SIZE_STATE_REPLY];
    const int error = exchange(client, COMMAND_GET_STATE, NULL, reply, sizeof reply, end_ms);
    if (error != FTPCLIENT_OK)
        return error;
    state->running = get_i32(reply + AT_MODULE_INFO);
    state->job = get_i32(reply + AT_MODULE_INFO + 4);
    state->result = get_i32(reply + AT_MODULE_INFO + 8);
    state->cancelled = get_i32(reply + AT_MODULE_INFO + 12);
    state->progress = get_progress(reply + AT_STATE_PROGRESS);
    return FTPCLIENT_OK;
}

int ftpclient_poll(const ftpclient_t *client, ftpclient_state_t *state, size_t state_size, int timeout_ms)
{
    if (!client || !state || state_size < FIRST_STATE_SIZE)
        return FTPCLIENT_ERR_ARGUMENT;
    ftpclient_state_t now;
    const int error = get_state(client, &now, end_after(timeout_ms));
    if (error == FTPCLIENT_OK)
        give(state, state_size, &now, sizeof now);
    return error;
}

int ftpclient_wait(const ftpclient_t *client, ftpclient_state_t *state, size_t state_size, int timeout_ms)
{
    if (!client || !state || state_size < FIRST_STATE_SIZE)
        return FTPCLIENT_ERR_ARGUMENT;
    const int64_t end_ms = end_after(timeout_ms);
    for (;;) {
        ftpclient_state_t now;
        const int error = get_state(client, &now, end_ms);
        if (error != FTPCLIENT_OK)
            return error;
        give(state, state_size, &now, sizeof now);
        if (!now.running)
            return FTPCLIENT_OK;
        const int left = left_ms(end_ms);
        const struct timespec pause = {0, (left >= 0 && left < JOB_POLL_MS ? left : JOB_POLL_MS) * 1000000L};
        nanosleep(&pause, NULL); /* shorter by a signal: asks earlier */
    }
}

int ftpclient_cancel(const ftpclient_t *client, int timeout_ms)
{
    if (!client)
        return FTPCLIENT_ERR_ARGUMENT;
    uint8_t reply[SIZE_CANCEL_REPLY];
    const int error = exchange(client, COMMAND_CANCEL, NULL, reply, sizeof reply, end_after(timeout_ms));
    return error == FTPCLIENT_OK ? verdict(reply) : error;
}

static int has(const ftpclient_request_t *request, size_t at) { return request->bytes[at] != 0; }

static uint32_t protocol_of(const ftpclient_request_t *request)
{
    return get_u32(request->bytes + AT_PROTOCOL);
}

static int is_zixi(const ftpclient_request_t *request) { return protocol_of(request) >= FTPCLIENT_ZIXI_4; }

static int start_error(int job, const ftpclient_request_t *request)
{
    if (job < FTPCLIENT_DOWNLOAD || job > FTPCLIENT_FILE_INFO ||
        (is_zixi(request) && job != FTPCLIENT_UPLOAD))
        return FTPCLIENT_ERR_ARGUMENT;
    if (!has(request, AT_HOST) || !has(request, AT_REMOTE_PATH) ||
        (job != FTPCLIENT_FILE_INFO && !has(request, AT_LOCAL_PATH)))
        return FTPCLIENT_ERR_INCOMPLETE;
    return FTPCLIENT_OK;
}

/* The state is asked for first: the daemon would let a job of its other engine run on unseen, and it takes
 * note of the end of an earlier job in the pass that answers. */
int ftpclient_start(const ftpclient_t *client, int job, const ftpclient_request_t *request, int timeout_ms)
{
    static const uint32_t COMMANDS[] = {COMMAND_NONE, COMMAND_DOWNLOAD, COMMAND_UPLOAD, COMMAND_DL_FILE_INFO};
    if (!client || !request)
        return FTPCLIENT_ERR_ARGUMENT;
    int error = start_error(job, request);
    if (error != FTPCLIENT_OK)
        return error;
    const int64_t end_ms = end_after(timeout_ms);
    ftpclient_state_t state;
    error = get_state(client, &state, end_ms);
    if (error != FTPCLIENT_OK || state.running)
        return error != FTPCLIENT_OK ? error : FTPCLIENT_RESULT_BUSY;
    for (int try_number = 1;; try_number++) {
        uint8_t reply[SIZE_REPLY];
        error = exchange(client, COMMANDS[job], request, reply, sizeof reply, end_ms);
        if (error == FTPCLIENT_OK)
            error = verdict(reply);
        /* An ended job of the other engine: the refusal has made the daemon forget it. */
        if (error != FTPCLIENT_RESULT_INTERNAL || try_number == 2)
            return error;
    }
}

/* ---- File information ---- */

static int32_t known(int32_t value, int32_t unknown)
{
    return value < 0 || value == unknown ? FTPCLIENT_UNKNOWN : value;
}

/* Seconds since 1970; the calendar repeats every 400 years and its years begin in March. */
static int64_t seconds_of(const ftpclient_file_info_t *info)
{
    if (info->year < 0 || info->month < 1 || info->month > 12 || info->day < 1)
        return FTPCLIENT_UNKNOWN;
    const int64_t year = info->year - (info->month <= 2 ? 1 : 0) + 400;
    const int64_t month = (info->month + 9) % 12;
    const int64_t days =
        year * 365 + year / 4 - year / 100 + year / 400 + (153 * month + 2) / 5 + info->day - 1;
    const int64_t hours = (days - 719468 - 146097) * 24 + (info->hour > 0 ? info->hour : 0);
    return (hours * 60 + (info->minute > 0 ? info->minute : 0)) * 60;
}

int ftpclient_get_file_info(const ftpclient_t *client, ftpclient_file_info_t *info, size_t info_size,
                            int timeout_ms)
{
    if (!client || !info || info_size < FIRST_FILE_INFO_SIZE)
        return FTPCLIENT_ERR_ARGUMENT;
    uint8_t reply[SIZE_FILE_INFO_REPLY];
    const int error =
        exchange(client, COMMAND_GET_FILE_INFO, NULL, reply, sizeof reply, end_after(timeout_ms));
    if (error != FTPCLIENT_OK)
        return error;
    const uint8_t *file = reply + AT_REMOTE_FILE;
    const int64_t size_bytes = (int64_t)get_number(file + 8, 8);
    ftpclient_file_info_t found;
    memset(&found, 0, sizeof found);
    found.looked_up = get_i32(file);
    found.exists = get_i32(file + 4);
    found.size_bytes = size_bytes < 0 ? FTPCLIENT_UNKNOWN : size_bytes;
    found.year = known(get_i32(file + 16), UNKNOWN_YEAR);
    found.month = known(get_i32(file + 20), UNKNOWN_SMALL);
    found.day = known(get_i32(file + 24), UNKNOWN_SMALL);
    found.hour = known(get_i32(file + 28), UNKNOWN_SMALL);
    found.minute = known(get_i32(file + 32), UNKNOWN_SMALL);
    found.attributes = known(get_i32(file + 36), UNKNOWN_ATTRIBUTES);
    found.is_link = get_i32(file + 40);
    found.modified_s = seconds_of(&found);
    give(info, info_size, &found, sizeof found);
    return FTPCLIENT_OK;
}

/* ---- Requests ---- */

int ftpclient_request_new(int protocol, ftpclient_request_t **request)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    *request = NULL;
    if (protocol < FTPCLIENT_FTP || protocol > FTPCLIENT_ZIXI_5)
        return FTPCLIENT_ERR_ARGUMENT;
    ftpclient_request_t *made = (ftpclient_request_t *)calloc(1, sizeof *made);
    if (!made)
        return FTPCLIENT_ERR_NO_MEMORY;
    put_u32(made->bytes + AT_PROTOCOL, (uint32_t)protocol);
    put_u32(made->bytes + AT_PASSIVE_MODE, 1);
    *request = made;
    return FTPCLIENT_OK;
}

void ftpclient_request_free(ftpclient_request_t *request)
{
    if (request)
        explicit_bzero(request, sizeof *request);
    free(request);
}

static int text_error(const char *text, size_t size, const char *forbidden)
{
    if (!text)
        return FTPCLIENT_ERR_ARGUMENT;
    if (strnlen(text, size) == size)
        return FTPCLIENT_ERR_TOO_LONG;
    return strpbrk(text, forbidden) ? FTPCLIENT_ERR_CHARACTER : FTPCLIENT_OK;
}

/* `text` has passed text_error(). Nothing of a longer one before it stays. */
static void put_text(ftpclient_request_t *request, size_t at, size_t size, const char *text)
{
    explicit_bzero(request->bytes + at, size);
    memcpy(request->bytes + at, text, strlen(text));
}

static int put_number(ftpclient_request_t *request, size_t at, uint32_t value, int is_allowed)
{
    if (!request || !is_allowed)
        return FTPCLIENT_ERR_ARGUMENT;
    put_u32(request->bytes + at, value);
    return FTPCLIENT_OK;
}

static int host_error(const char *host, uint32_t port)
{
    const int error = text_error(host, SIZE_HOST, " /@#?\\\x7f");
    if (error != FTPCLIENT_OK)
        return error;
    for (const char *c = host; *c; c++) {
        if ((unsigned char)*c < ' ' || (host[0] != '[' && (*c == ':' || *c == '%')))
            return FTPCLIENT_ERR_CHARACTER;
    }
    return port > 65535 ? FTPCLIENT_ERR_ARGUMENT : FTPCLIENT_OK;
}

int ftpclient_request_set_server(ftpclient_request_t *request, const char *host, uint32_t port)
{
    const int error = request ? host_error(host, port) : FTPCLIENT_ERR_ARGUMENT;
    if (error != FTPCLIENT_OK)
        return error;
    put_text(request, AT_HOST, SIZE_HOST, host);
    return put_number(request, AT_PORT, port, 1);
}

int ftpclient_request_set_login(ftpclient_request_t *request, const char *user, const char *password)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    const int zixi = is_zixi(request);
    const size_t user_size = zixi ? SIZE_ZIXI_USER : SIZE_USERNAME;
    const size_t password_size = zixi ? SIZE_ZIXI_PASSWORD : SIZE_PASSWORD;
    int error = text_error(user, user_size, zixi ? "" : "\r\n");
    if (error == FTPCLIENT_OK)
        error = text_error(password, password_size, zixi ? "" : "\r\n");
    if (error != FTPCLIENT_OK)
        return error;
    put_text(request, zixi ? AT_ZIXI_USER : AT_USERNAME, user_size, user);
    put_text(request, zixi ? AT_ZIXI_PASSWORD : AT_PASSWORD, password_size, password);
    return FTPCLIENT_OK;
}

int ftpclient_request_set_remote_path(ftpclient_request_t *request, const char *path)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    const int error = text_error(path, SIZE_REMOTE_PATH, is_zixi(request) ? "" : "#?\r\n");
    if (error != FTPCLIENT_OK)
        return error;
    /* libcurl would take it off the end of the path and mean another file. */
    if (protocol_of(request) <= FTPCLIENT_FTPS_EXPLICIT && strstr(path, ";type="))
        return FTPCLIENT_ERR_CHARACTER;
    put_text(request, AT_REMOTE_PATH, SIZE_REMOTE_PATH, path);
    return FTPCLIENT_OK;
}

static int put_local_path(ftpclient_request_t *request, size_t at, size_t size, const char *path)
{
    const int error = text_error(path, size, "");
    if (error != FTPCLIENT_OK)
        return error;
    if (path[0] != '/' && path[0] != '\0')
        return FTPCLIENT_ERR_ARGUMENT;
    put_text(request, at, size, path);
    return FTPCLIENT_OK;
}

int ftpclient_request_set_local_path(ftpclient_request_t *request, const char *path)
{
    if (!request || !path || !path[0])
        return FTPCLIENT_ERR_ARGUMENT;
    return put_local_path(request, AT_LOCAL_PATH, SIZE_LOCAL_PATH, path);
}

int ftpclient_request_set_passive(ftpclient_request_t *request, int passive)
{
    return put_number(request, AT_PASSIVE_MODE, passive ? 1 : 0, 1);
}

int ftpclient_request_set_proxy(ftpclient_request_t *request, const char *host, uint32_t port)
{
    const int error = !request || is_zixi(request) ? FTPCLIENT_ERR_ARGUMENT : host_error(host, port);
    if (error != FTPCLIENT_OK)
        return error;
    put_text(request, AT_PROXY_HOST, SIZE_PROXY_HOST, host);
    put_u32(request->bytes + AT_PROXY_PORT, port);
    return put_number(request, AT_PROXY_TYPE, host[0] ? PROXY_HTTP : 0, 1);
}

static int has_tls(const ftpclient_request_t *request)
{
    const uint32_t protocol = protocol_of(request);
    return protocol == FTPCLIENT_FTPS_IMPLICIT || protocol == FTPCLIENT_FTPS_EXPLICIT;
}

static int is_pin_allowed(const ftpclient_request_t *request, int pin, const uint8_t *digest, size_t size)
{
    switch (pin) {
    case FTPCLIENT_PIN_NONE:
        return size == 0;
    case FTPCLIENT_PIN_MD5:
        return digest && size == 16 && protocol_of(request) == FTPCLIENT_SFTP;
    case FTPCLIENT_PIN_SHA1:
        return digest && size == 20 && has_tls(request);
    default:
        return 0;
    }
}

int ftpclient_request_set_pin(ftpclient_request_t *request, int pin, const uint8_t *digest, size_t size)
{
    if (!request || !is_pin_allowed(request, pin, digest, size))
        return FTPCLIENT_ERR_ARGUMENT;
    memset(request->bytes + AT_DIGEST, 0, SIZE_DIGEST);
    if (size > 0)
        memcpy(request->bytes + AT_DIGEST, digest, size);
    request->bytes[AT_DIGEST_LENGTH] = (uint8_t)size;
    return put_number(request, AT_AUTH_TYPE, (uint32_t)pin, 1);
}

int ftpclient_request_set_save_path(ftpclient_request_t *request, const char *path)
{
    if (!request || !(has_tls(request) || protocol_of(request) == FTPCLIENT_SFTP))
        return FTPCLIENT_ERR_ARGUMENT;
    return put_local_path(request, AT_SAVE_PATH, SIZE_SAVE_PATH, path);
}

int ftpclient_request_set_resume(ftpclient_request_t *request, int resume)
{
    return put_number(request, AT_RESUME, resume ? 1 : 0, request && !is_zixi(request));
}

int ftpclient_request_set_overwrite(ftpclient_request_t *request, int overwrite)
{
    return put_number(request, AT_RESUME, overwrite ? 0 : 1, request && is_zixi(request));
}

/* ---- Notices ---- */

/* A socket that nobody listens on any more. Asking with a datagram socket disturbs no listener: it is
 * answered EPROTOTYPE where there is one. */
static int is_abandoned(const struct sockaddr_un *address)
{
    struct stat status;
    if (lstat(address->sun_path, &status) == -1 || !S_ISSOCK(status.st_mode))
        return 0;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int refused =
        connect(fd, (const struct sockaddr *)address, sizeof *address) == -1 && errno == ECONNREFUSED;
    close_keeping_errno(fd);
    return refused;
}

static int watch(const ftpclient_notices_t *notices, int operation, int fd, uint32_t events)
{
    struct epoll_event event;
    memset(&event, 0, sizeof event);
    event.events = events;
    return epoll_ctl(notices->epoll, operation, fd, &event);
}

static int listen_at(ftpclient_notices_t *notices)
{
    const struct sockaddr_un *address = &notices->address;
    if (is_abandoned(address))
        unlink(address->sun_path);
    if (bind(notices->listening, (const struct sockaddr *)address, sizeof *address) == -1)
        return errno == EADDRINUSE ? FTPCLIENT_ERR_IN_USE : FTPCLIENT_ERR_SYSTEM;
    if (lstat(address->sun_path, &notices->socket) == -1 ||
        listen(notices->listening, NOTICE_BACKLOG) == -1 ||
        watch(notices, EPOLL_CTL_ADD, notices->listening, EPOLLIN) == -1 ||
        watch(notices, EPOLL_CTL_ADD, notices->timer, EPOLLIN) == -1)
        return FTPCLIENT_ERR_SYSTEM;
    return FTPCLIENT_OK;
}

int ftpclient_notices_open(const char *socket_path, ftpclient_notices_t **notices)
{
    if (!notices)
        return FTPCLIENT_ERR_ARGUMENT;
    *notices = NULL;
    ftpclient_notices_t *made = (ftpclient_notices_t *)calloc(1, sizeof *made);
    if (!made)
        return FTPCLIENT_ERR_NO_MEMORY;
    made->connection = -1;
    made->epoll = epoll_create1(EPOLL_CLOEXEC);
    made->listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    made->timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    int error = set_address(&made->address, socket_path ? socket_path : FTPCLIENT_NOTICE_SOCKET);
    if (error == FTPCLIENT_OK && (made->epoll == -1 || made->listening == -1 || made->timer == -1))
        error = FTPCLIENT_ERR_SYSTEM;
    if (error == FTPCLIENT_OK)
        error = listen_at(made);
    if (error == FTPCLIENT_OK)
        *notices = made;
    else
        ftpclient_notices_close(made);
    return error;
}

int ftpclient_notices_fd(const ftpclient_notices_t *notices) { return notices ? notices->epoll : -1; }

static void set_timer(const ftpclient_notices_t *notices, int seconds)
{
    const struct itimerspec limit = {{0, 0}, {seconds, 0}}; /* 0 stops it */
    timerfd_settime(notices->timer, 0, &limit, NULL);
}

/* Takes the next sender, one at a time: further ones wait in the queue. */
static int take_sender(ftpclient_notices_t *notices)
{
    notices->connection = accept4(notices->listening, NULL, NULL, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (notices->connection == -1)
        return errno == EAGAIN || errno == EINTR || errno == ECONNABORTED ? FTPCLIENT_ERR_TIMEOUT
                                                                          : FTPCLIENT_ERR_SYSTEM;
    notices->received = 0;
    set_timer(notices, SENDER_S);
    watch(notices, EPOLL_CTL_MOD, notices->listening, 0);
    if (watch(notices, EPOLL_CTL_ADD, notices->connection, EPOLLIN) == -1)
        return FTPCLIENT_ERR_SYSTEM;
    return FTPCLIENT_OK;
}

static void leave_sender(ftpclient_notices_t *notices)
{
    watch(notices, EPOLL_CTL_DEL, notices->connection, 0);
    close_keeping_errno(notices->connection);
    notices->connection = -1;
    set_timer(notices, 0);
    watch(notices, EPOLL_CTL_MOD, notices->listening, EPOLLIN);
}

/* OK: the sender has said all that it will. ERR_TIMEOUT: not yet. */
static int hear_sender(ftpclient_notices_t *notices)
{
    while (notices->received < sizeof notices->bytes) {
        const ssize_t count = recv(notices->connection, notices->bytes + notices->received,
                                   sizeof notices->bytes - notices->received, MSG_DONTWAIT);
        if (count > 0)
            notices->received += (size_t)count;
        else if (count == 0 || (errno != EAGAIN && errno != EINTR))
            return FTPCLIENT_OK;
        else if (errno == EAGAIN) {
            uint64_t expirations;
            return read(notices->timer, &expirations, sizeof expirations) == sizeof expirations
                       ? FTPCLIENT_OK
                       : FTPCLIENT_ERR_TIMEOUT;
        }
    }
    return FTPCLIENT_OK;
}

static int read_notice(const uint8_t *bytes, size_t size, ftpclient_notice_t *notice)
{
    const uint8_t *body = bytes + SIZE_NOTICE_HEADER;
    if (size < SIZE_NOTICE_HEADER || bytes[0] != NOTICE_SENDER || bytes[1] > FTPCLIENT_NOTICE_STARTED ||
        bytes[2] != NOTICE_KIND)
        return FTPCLIENT_ERR_PROTOCOL;
    const size_t body_size =
        bytes[1] == FTPCLIENT_NOTICE_STARTED ? (size_t)SIZE_REPLY : (size_t)SIZE_COMPLETION;
    if (get_number(bytes + AT_NOTICE_LENGTH, 2) != body_size || size != SIZE_NOTICE_HEADER + body_size ||
        verdict(body) < 0)
        return FTPCLIENT_ERR_PROTOCOL;
    memset(notice, 0, sizeof *notice);
    notice->code = bytes[1];
    notice->result = verdict(body);
    if (bytes[1] != FTPCLIENT_NOTICE_STARTED)
        notice->progress = get_progress(body + SIZE_REPLY);
    return FTPCLIENT_OK;
}

/* OK or ERR_PROTOCOL: a sender has come to its end. ERR_TIMEOUT: none has yet. */
static int next_notice(ftpclient_notices_t *notices, ftpclient_notice_t *notice)
{
    int error = notices->connection == -1 ? take_sender(notices) : FTPCLIENT_OK;
    if (error == FTPCLIENT_OK)
        error = hear_sender(notices);
    if (error == FTPCLIENT_ERR_TIMEOUT)
        return error;
    if (notices->connection != -1)
        leave_sender(notices);
    return error == FTPCLIENT_OK ? read_notice(notices->bytes, notices->received, notice) : error;
}

int ftpclient_notices_receive(ftpclient_notices_t *notices, ftpclient_notice_t *notice, size_t notice_size,
                              int timeout_ms)
{
    if (!notices || !notice || notice_size < FIRST_NOTICE_SIZE)
        return FTPCLIENT_ERR_ARGUMENT;
    const int64_t end_ms = end_after(timeout_ms);
    for (;;) {
        ftpclient_notice_t next;
        int error = next_notice(notices, &next);
        if (error == FTPCLIENT_OK)
            give(notice, notice_size, &next, sizeof next);
        if (error == FTPCLIENT_ERR_TIMEOUT)
            error = wait_for(notices->epoll, POLLIN, end_ms);
        else
            return error;
        if (error != FTPCLIENT_OK)
            return error;
    }
}

void ftpclient_notices_close(ftpclient_notices_t *notices)
{
    if (!notices)
        return;
    const int kept = errno;
    struct stat now;
    if (notices->socket.st_ino != 0 && lstat(notices->address.sun_path, &now) == 0 &&
        now.st_ino == notices->socket.st_ino && now.st_dev == notices->socket.st_dev)
        unlink(notices->address.sun_path);
    close_keeping_errno(notices->connection);
    close_keeping_errno(notices->timer);
    close_keeping_errno(notices->listening);
    close_keeping_errno(notices->epoll);
    free(notices);
    errno = kept;
}

/* ---- Words ---- */

#define RESULT(name) FTPCLIENT_RESULT_##name, "FTPCD_ERR_" #name
#define ERROR(name) FTPCLIENT_ERR_##name, NULL

static const struct {
    int code;
    const char *name;
    const char *meaning;
} WORDS[] = {
    {RESULT(NONE), "success"},
    {RESULT(CANCELED), "cancelled"},
    {RESULT(NOT_RUNNING), "nothing to cancel"},
    {RESULT(BUSY), "a job is running"},
    {RESULT(AUTH_UNSUPPORTED), "this identity check does not exist for this protocol"},
    {RESULT(INTERNAL), "a parameter was refused or the set-up failed"},
    {RESULT(RESPONSE_CODE), "the server's response code could not be read"},
    {RESULT(URL_RESTORE), "the URL could not be put back"},
    {RESULT(SECURE_DATA), "certificate or key unreadable"},
    {RESULT(LOCAL_WRITE), "the local file cannot be created or written"},
    {RESULT(LOCAL_READ), "the local file cannot be opened, positioned or read"},
    {RESULT(NO_MEMORY), "out of memory"},
    {RESULT(SIZE_LIMIT), "a download of more than 4096 bytes"},
    {RESULT(TIMEOUT), "nothing moved for longer than the inactivity limit"},
    {RESULT(NOT_SUPPORTED), "this operation or this proxy is not supported"},
    {RESULT(NETWORK), "the transfer failed or ended short"},
    {RESULT(SECURE_7), "the certificate's or key's digest failed"},
    {RESULT(SECURE_UNKNOWN), "libsecure gave an unknown result"},
    {RESULT(SECURE_6), "certificate or key could not be written to `save_path`"},
    {RESULT(SECURE_5), "`save_path` could not be created"},
    {RESULT(CERT_MISMATCH), "the server's certificate is not the pinned one"},
    {RESULT(HOSTKEY_MISMATCH), "the server's host key is not the pinned one"},
    {RESULT(REMOTE_FILE_EXISTS), "Zixi: the remote file exists"},
    {ERROR(ARGUMENT), "an argument is out of range or not for this protocol"},
    {ERROR(TOO_LONG), "a string is too long for its field"},
    {ERROR(CHARACTER), "a string holds a character that is not allowed in it"},
    {ERROR(INCOMPLETE), "host, remote path or local path is not set"},
    {ERROR(NO_MEMORY), "out of memory in this program"},
    {ERROR(SYSTEM), "a system call failed, see errno"},
    {ERROR(NO_DAEMON), "no daemon listens"},
    {ERROR(TIMEOUT), "the time is over"},
    {ERROR(DISCONNECTED), "the daemon broke off without an answer"},
    {ERROR(PROTOCOL), "the daemon's answer or a notice makes no sense"},
    {ERROR(UNREAD), "the daemon could not read the request"},
    {ERROR(IN_USE), "another program receives the notices"},
};

const char *ftpclient_strerror(int code)
{
    for (size_t i = 0; i < sizeof WORDS / sizeof WORDS[0]; i++) {
        if (WORDS[i].code == code)
            return WORDS[i].meaning;
    }
    return code > 0 ? "unknown result" : "unknown error";
}

const char *ftpclient_result_name(int result)
{
    for (size_t i = 0; i < sizeof WORDS / sizeof WORDS[0]; i++) {
        if (WORDS[i].code == result && WORDS[i].name)
            return WORDS[i].name;
    }
    return "unknown result";
}

#define TEXT_OF(number) #number
#define TEXT(number) TEXT_OF(number)

const char *ftpclient_version(void)
{
    return TEXT(FTPCLIENT_VERSION_MAJOR) "." TEXT(FTPCLIENT_VERSION_MINOR) "." TEXT(FTPCLIENT_VERSION_PATCH);
}
