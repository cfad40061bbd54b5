// The sockets of the running transfer. A cancel shuts them down where libcurl waits for a silent server
// without calling back: in the TLS handshake of explicit FTPS for up to 60 s, and at the end of an SFTP
// session. Every call holds the job's lock and waits for nothing else; any thread may call; none fails.
#pragma once

#include "curl_func/job.h"

// libcurl's CURLOPT_SOCKOPTFUNCTION, context a curl_job_t: records the socket, unless eight are recorded
// already. Always returns CURL_SOCKOPT_OK. Without a context, which libcurl may have refused after it took
// the function, records nothing.
int cb_note_socket(void *context, curl_socket_t fd, curlsocktype purpose);

// libcurl's CURLOPT_CLOSESOCKETFUNCTION, context a curl_job_t: forgets the socket and closes it. Returns what
// close() returns.
int cb_close_noted(void *context, curl_socket_t fd);

// To be called before a socket is closed: its number may be reused for another descriptor.
void sockets_forget(curl_job_t *job, curl_socket_t fd);

// Forgets the sockets of the last job; for the start of a job.
void sockets_forget_all(curl_job_t *job);

// Shuts down all recorded sockets: a thread that waits for one of them wakes up and finds it broken.
void sockets_break(curl_job_t *job);

// The same for the socket recorded last, that of the running transfer.
void sockets_break_newest(curl_job_t *job);
