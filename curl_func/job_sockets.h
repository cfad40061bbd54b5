// The sockets of the running transfer, to break them where libcurl waits for a silent server without asking
// anybody: in the TLS handshake of explicit FTPS for up to 60 s, and at the end of an SFTP session. Every
// call takes the job's lock and waits for nothing else; any thread may call; none fails.
#pragma once

#include "curl_func/job.h"

// libcurl's CURLOPT_SOCKOPTFUNCTION, context a curl_job_t: notes the socket, unless eight are noted
// already. Always returns CURL_SOCKOPT_OK.
int cb_note_socket(void *context, curl_socket_t fd, curlsocktype purpose);

// libcurl's CURLOPT_CLOSESOCKETFUNCTION, context a curl_job_t: forgets the socket and closes it. Returns
// what close() returns.
int cb_close_noted(void *context, curl_socket_t fd);

// To be called before a socket is closed: its number may come back as another descriptor's.
void sockets_forget(curl_job_t *job, curl_socket_t fd);
void sockets_forget_all(curl_job_t *job);

// Ends sending and receiving on all that are noted: whoever waits for one of them goes on, and sees it
// broken.
void sockets_break(curl_job_t *job);

// The same for the one that was noted last, the running transfer's own.
void sockets_break_newest(curl_job_t *job);
