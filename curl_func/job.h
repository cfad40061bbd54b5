// This engine's job: the common job slot, and the sockets of its transfer.
#pragma once

#include "job_slot/job_slot.h"

#include <curl/curl.h>
#include <sys/types.h>

// A socket of libcurl. libcurl may close it without the callback; the inode shows whether its
// number was reused.
struct noted_socket_t {
    bool is_open;
    curl_socket_t fd;
    ino_t inode;
};

struct curl_job_t : job_slot_t {
    noted_socket_t sockets[8] = {}; // a control and a data connection, and attempts at further addresses
    noted_socket_t newest = {};     // the last one added
};
