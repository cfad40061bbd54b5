// How the sockets of an upload are closed.
#pragma once

#include <curl/curl.h>

// libcurl's CURLOPT_CLOSESOCKETFUNCTION; the context is a curl_job_t. Ends sending, then reads and drops
// what the server still sends until it closes as well: a socket that is closed at once answers a late byte
// with a reset, which discards what is not delivered yet. Blocks until the server has closed or the job is
// cancelled; at most until nothing was delivered for 5 s, then 1 s more. In a proxy's tunnel it waits as long
// once before, for the server to close by itself. What is not delivered by then is lost, and nobody is told.
// Forgets the socket (sockets_forget). Returns what close() returns.
int cb_close_socket(void *context, curl_socket_t fd);
