// The sockets of the running transfer, to break them where libcurl waits for a server that stays silent:
// without asking anybody, in the TLS handshake of explicit FTPS for up to 60 s; or when it takes leave over
// SFTP.
#pragma once

#include <curl/curl.h>

// libcurl's CURLOPT_SOCKOPTFUNCTION: the socket is noted. Always CURL_SOCKOPT_OK.
int cb_note_socket(void *context, curl_socket_t fd, curlsocktype purpose);

// libcurl's CURLOPT_CLOSESOCKETFUNCTION: the socket is forgotten and closed. What close() returns.
int cb_close_noted(void *context, curl_socket_t fd);

// It is about to be closed: its number may come back as another descriptor's.
void sockets_forget(curl_socket_t fd);
void sockets_forget_all();

// Ends sending and receiving on all that are noted. Who waits for one of them goes on, and sees it broken.
void sockets_break();
