/* Notices to the network manager: one connection each, no answer expected. A lost notice is not repeated. */
#ifndef WIRE_NOTICE_H
#define WIRE_NOTICE_H

#include "wire/control.h"

#define NETWORK_MANAGER_SOCKET_PATH "/var/run/marlox_nm.sock"

enum notice_code {
    NOTICE_DOWNLOAD_DONE = 0,  /* body: completion_notice_t */
    NOTICE_UPLOAD_DONE = 1,    /* body: completion_notice_t */
    NOTICE_FILE_INFO_DONE = 2, /* body: completion_notice_t */
    NOTICE_STARTED = 3,        /* body: reply_t */
};

enum notice_constant {
    NOTICE_SENDER = 10, /* the network manager's number for the daemon */
    NOTICE_KIND = 1,
    NOTICE_BODY_MAX = 500, /* bytes */
};

/* Header of every notice; `length` bytes of body follow. */
typedef struct notice_header_t {
    uint8_t sender;   /* NOTICE_SENDER */
    uint8_t code;     /* notice_code */
    uint8_t kind;     /* NOTICE_KIND */
    uint8_t unused1;  /* receivers ignore it */
    uint16_t length;  /* bytes of body, at most NOTICE_BODY_MAX */
    uint16_t unused2; /* receivers ignore it */
    uint32_t zero;
} notice_header_t;

WIRE_FIELD(notice_header_t, sender, 0, 1);
WIRE_FIELD(notice_header_t, code, 1, 1);
WIRE_FIELD(notice_header_t, kind, 2, 1);
WIRE_FIELD(notice_header_t, unused1, 3, 1);
WIRE_FIELD(notice_header_t, length, 4, 2);
WIRE_FIELD(notice_header_t, unused2, 6, 2);
WIRE_FIELD(notice_header_t, zero, 8, 4);
WIRE_SIZE(notice_header_t, 12);

/* The end of a job that was not cancelled. */
typedef struct completion_notice_t {
    reply_t reply; /* result 1 when the job failed; detail = the job's ftpcd_err */
    exec_info_t exec_info;
} completion_notice_t;

WIRE_FIELD(completion_notice_t, reply, 0, 8);
WIRE_FIELD(completion_notice_t, exec_info, 8, 48);
WIRE_SIZE(completion_notice_t, 56);

#endif
