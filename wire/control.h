/* The control socket: one request and one reply per connection, each an 8-byte header and a body.
 *
 * The client connects, sends its request, reads the reply and closes. The daemon serves one connection in
 * each pass of its main loop, every 100 ms, and gives it 10 s. */
#ifndef WIRE_CONTROL_H
#define WIRE_CONTROL_H

#include "wire/job_status.h"

#define CONTROL_SOCKET_PATH "/var/run/ftp.sock"
/* Clients take turns with an exclusive flock(2) on this empty file; the daemon ignores it. */
#define CONTROL_TURN_PATH CONTROL_SOCKET_PATH ".turn"

enum control_timing {
    CONTROL_PASS_MS = 100,   /* the daemon's pause between two looks for a request */
    CONTROL_TALK_MS = 10000, /* how long it gives a client, from accept to the end of the reply */
};

enum control_command {
    COMMAND_NONE = 0,     /* returns result 0 and the detail of the last command 1, 2 or 5 */
    COMMAND_DOWNLOAD = 1, /* body: transfer_request_t */
    COMMAND_UPLOAD = 2,   /* body: transfer_request_t */
    COMMAND_GET_STATE = 3,
    COMMAND_CANCEL = 4,       /* answered when the job has stopped */
    COMMAND_DL_FILE_INFO = 5, /* body: transfer_request_t */
    COMMAND_GET_FILE_INFO = 6,
};

/* Header of every request and reply; `length` bytes of body follow. */
typedef struct message_header_t {
    uint32_t command; /* control_command; a reply echoes it, 0 for a request that could not be read */
    uint32_t length;  /* bytes of body */
} message_header_t;

WIRE_FIELD(message_header_t, command, 0, 4);
WIRE_FIELD(message_header_t, length, 4, 4);
WIRE_SIZE(message_header_t, 8);

/* Reply to commands 0, 1, 2 and 5, and the start of every other reply. */
typedef struct reply_t {
    uint32_t result; /* 0 = success, 1 = failure */
    uint32_t detail; /* ftpcd_err */
} reply_t;

WIRE_FIELD(reply_t, result, 0, 4);
WIRE_FIELD(reply_t, detail, 4, 4);
WIRE_SIZE(reply_t, 8);

/* Reply to command 3. */
typedef struct state_reply_t {
    reply_t reply; /* always 0, 0 */
    module_info_t module_info;
    exec_info_t exec_info;
} state_reply_t;

WIRE_FIELD(state_reply_t, reply, 0, 8);
WIRE_FIELD(state_reply_t, module_info, 8, 16);
WIRE_FIELD(state_reply_t, exec_info, 24, 48);
WIRE_SIZE(state_reply_t, 72);

/* Reply to command 4. */
typedef struct cancel_reply_t {
    reply_t reply;
    uint32_t exec; /* job_kind of the job that was stopped, or of the last one */
} cancel_reply_t;

WIRE_FIELD(cancel_reply_t, reply, 0, 8);
WIRE_FIELD(cancel_reply_t, exec, 8, 4);
WIRE_SIZE(cancel_reply_t, 12);

/* Reply to command 6. */
typedef struct file_info_reply_t {
    reply_t reply; /* always 0, 0 */
    remote_file_t remote_file;
} file_info_reply_t;

WIRE_FIELD(file_info_reply_t, reply, 0, 8);
WIRE_FIELD(file_info_reply_t, remote_file, 8, 48);
WIRE_SIZE(file_info_reply_t, 56);

/* Bytes of the body of the reply to this command. */
static inline uint32_t control_reply_size(uint32_t command)
{
    switch (command) {
    case COMMAND_GET_STATE:
        return sizeof(state_reply_t);
    case COMMAND_CANCEL:
        return sizeof(cancel_reply_t);
    case COMMAND_GET_FILE_INFO:
        return sizeof(file_info_reply_t);
    default:
        return sizeof(reply_t);
    }
}

#endif
