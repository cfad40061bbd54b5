// The control channel: the socket that local clients ask at, the framing of what they say, and the notices to
// the network manager. For the main thread only. Every failure is logged here and shows in the result.
#pragma once

#include "wire/wire.h"

// Creates the listening socket, replacing one left by an earlier run. 0, or -1 when it cannot be bound or
// listened on. A failed socket() is 0 as well: the daemon then runs without ever hearing a request.
int ftp_clientd_if_init();

// Closes the listening socket; its file stays.
void ftp_clientd_if_destory();

// The connection of a waiting client, for ftp_clientd_if_close_received_channel; -1 when there is none or it
// cannot be accepted. Does not wait; only when poll itself fails is a client waited for.
int ftp_clientd_if_open_received_channel();

// Closes a connection; what was sent is still delivered. Does not wait.
void ftp_clientd_if_close_received_channel(int connection);

// Reads one request: 8 header bytes, then as many body bytes as the header announces.
// Returns the body, malloc'ed and now the caller's; NULL when there is none or the read failed. A failure
// leaves *header all zero. Of a body above 1 MiB the first MiB is kept; what follows is read and has no
// defined content. Blocks until 10 s after the connection was accepted at most.
void *ftp_clientd_if_receive(int connection, message_header_t *header);

// Sends the header, then header->length bytes of body. Returns the body bytes sent (8 when length is 0) or
// -1. Blocks until 10 s after the connection was accepted at most; past that, what the socket takes at once
// is still sent: a slow cancel gets its answer.
int ftp_clientd_if_send(int connection, const message_header_t *header, const void *body);

// Sends one notice over a connection of its own: code is a notice_code, body has `length` bytes, at most
// NOTICE_BODY_MAX. Returns length or -1; a lost notice is not sent again. Blocks for 2 s at most when the
// network manager does not take connections, for 10 s when it does not take what is sent.
int ftp_clientd_if_notify(int code, const void *body, int length);

// Receives exactly len bytes, within the same 10 s (any other descriptor has 10 s from the call). Returns
// len; less when the peer closed; len + 1 after an error; 0 at once when len < 1. With MSG_PEEK in flags: len
// when all is there; 0 when the peer closed; what has come so far when nothing more came for ten looks 100 ms
// apart.
int recvn(int fd, void *buffer, int len, int flags);

// Sends exactly len bytes, blocking as long as ftp_clientd_if_send does. Returns the count sent, len + 1
// after an error, 0 at once when len < 1.
int sendn(int fd, const void *buffer, int len, int flags);
