// How the sockets of an upload are closed.
#pragma once

#include <curl/curl.h>

// libcurl's CURLOPT_CLOSESOCKETFUNCTION; the context is a curl_job_t. Ends sending, then reads and drops
// what the server still sends until it closes as well: a socket that is closed at once answers a late byte
// with a reset, which discards what is not delivered yet. Blocks until the server has closed or the job is
// cancelled; at most until nothing more was delivered for 5 s, and 1 s longer than the delivery. In a
// proxy's tunnel the server first gets as long to close by itself. What close() returns.
int cb_close_socket(void *context, curl_socket_t fd);
