// This engine's job: what both engines have, and the sockets of its transfer.
#pragma once

#include "job_slot/job_slot.h"

#include <curl/curl.h>
#include <sys/types.h>

// A socket of libcurl's, which may close it without the callback: another inode then shows that the number
// was reused.
struct noted_socket_t {
    bool is_open;
    curl_socket_t fd;
    ino_t inode;
};

struct curl_job_t : job_slot_t {
    noted_socket_t sockets[8] = {}; // a control and a data connection, and attempts at further addresses
    noted_socket_t newest = {};     // the one of them that was noted last
};
