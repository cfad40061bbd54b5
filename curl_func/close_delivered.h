// How the sockets of an upload are closed.
#pragma once

#include <curl/curl.h>

// libcurl's CURLOPT_CLOSESOCKETFUNCTION; the context is a curl_job_t. Shuts down sending, then reads and
// discards incoming data until the server closes too. A socket closed at once would answer late data with a
// reset, which discards what is not yet delivered. Blocks until the server has closed or the job is
// cancelled. Gives up after 5 s without a byte delivered; once all is delivered, waits 1 s for the server to
// close. In a proxy's tunnel it first waits as long for the server to close by itself. Data not delivered by
// then is lost without an error. Forgets the socket (sockets_forget). Returns what close() returns.
int cb_close_socket(void *context, curl_socket_t fd);
