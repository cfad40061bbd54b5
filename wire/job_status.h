/* The state of a job in replies and notices. */
#ifndef WIRE_JOB_STATUS_H
#define WIRE_JOB_STATUS_H

#include "wire/pin.h"

enum job_kind { JOB_NONE = 0, JOB_DOWNLOAD = 1, JOB_UPLOAD = 2, JOB_DL_FILE_INFO = 3 };

/* Status of the running or last job; all zero before the first one. */
typedef struct module_info_t {
    uint32_t running; /* 1 while a job runs; a new one is accepted only while it is 0 */
    uint32_t exec;    /* job_kind of the last job started */
    uint32_t result;  /* ftpcd_err of the last job */
    uint32_t cancel;  /* 1 = asked to stop; such a job is not announced */
} module_info_t;

WIRE_FIELD(module_info_t, running, 0, 4);
WIRE_FIELD(module_info_t, exec, 4, 4);
WIRE_FIELD(module_info_t, result, 8, 4);
WIRE_FIELD(module_info_t, cancel, 12, 4);
WIRE_SIZE(module_info_t, 16);

enum response_code_type {
    RESPONSE_CODE_OTHER = 0,
    RESPONSE_CODE_FTP = 1,
    RESPONSE_CODE_HTTP = 2,
    RESPONSE_CODE_ZIXI = 3, /* a Zixi job: see zixi_error, there is no response code */
};

/* Progress and outcome of the running or last job. The start of a job clears all but zixi_error. */
typedef struct exec_info_t {
    double total_size;       /* bytes; 0 while unknown */
    double transferred_size; /* bytes */
    double elapsed_time;     /* seconds */
    uint32_t curl_code;      /* libcurl jobs: the transfer's CURLcode */
    uint32_t zixi_error; /* Zixi jobs: the library's last error, an int32_t; libcurl jobs do not change it */
    uint32_t response_code_type; /* enum response_code_type */
    uint32_t response_code;      /* libcurl jobs: the server's last reply code */
    uint32_t retry_count;        /* libcurl jobs: retries made */
    uint32_t unused;             /* receivers ignore it */
} exec_info_t;

WIRE_FIELD(exec_info_t, total_size, 0, 8);
WIRE_FIELD(exec_info_t, transferred_size, 8, 8);
WIRE_FIELD(exec_info_t, elapsed_time, 16, 8);
WIRE_FIELD(exec_info_t, curl_code, 24, 4);
WIRE_FIELD(exec_info_t, zixi_error, 28, 4);
WIRE_FIELD(exec_info_t, response_code_type, 32, 4);
WIRE_FIELD(exec_info_t, response_code, 36, 4);
WIRE_FIELD(exec_info_t, retry_count, 40, 4);
WIRE_FIELD(exec_info_t, unused, 44, 4);
WIRE_SIZE(exec_info_t, 48);

/* Values in a remote_file_t for what the listing does not contain. */
enum remote_file_unknown {
    REMOTE_FILE_YEAR_UNKNOWN = 65535,
    REMOTE_FILE_UNKNOWN = 255,              /* month to minute */
    REMOTE_FILE_ATTRIBUTES_UNKNOWN = 65535, /* after a Zixi job; else -1 */
};

/* The result of a file-information job. Only files count: for a directory or link of the wanted name
 * both flags stay 0. A libcurl upload overwrites the first byte of looked_up; after a Zixi job year to
 * minute are -1. */
typedef struct remote_file_t {
    uint32_t looked_up; /* 1 = a listing was read, or the file's absence was accepted */
    uint32_t exists;    /* 1 = the file was found */
    int64_t size;       /* bytes; -1 when the listing has none */
    int32_t year;       /* REMOTE_FILE_YEAR_UNKNOWN when the listing has none */
    int32_t month;      /* month to minute: REMOTE_FILE_UNKNOWN when the listing has none */
    int32_t day;
    int32_t hour;
    int32_t minute;
    int32_t attributes; /* permissions as hexadecimal digits: rwxr-xr-x is 0x755; -1 when there are none */
    int32_t is_link;
    uint32_t unused; /* receivers ignore it */
} remote_file_t;

WIRE_FIELD(remote_file_t, looked_up, 0, 4);
WIRE_FIELD(remote_file_t, exists, 4, 4);
WIRE_FIELD(remote_file_t, size, 8, 8);
WIRE_FIELD(remote_file_t, year, 16, 4);
WIRE_FIELD(remote_file_t, month, 20, 4);
WIRE_FIELD(remote_file_t, day, 24, 4);
WIRE_FIELD(remote_file_t, hour, 28, 4);
WIRE_FIELD(remote_file_t, minute, 32, 4);
WIRE_FIELD(remote_file_t, attributes, 36, 4);
WIRE_FIELD(remote_file_t, is_link, 40, 4);
WIRE_FIELD(remote_file_t, unused, 44, 4);
WIRE_SIZE(remote_file_t, 48);

#endif
