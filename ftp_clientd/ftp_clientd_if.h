// The control channel: the socket for local clients, the framing of their requests, and the notices to the
// network manager. For the main thread only. Failures are logged here; each function says how its result
// shows them.
// In channel.cpp, framing.cpp, network_manager.cpp and transfer_all.cpp, as marked below.
#pragma once

#include "wire/wire.h"

// The first fields of every reply and notice, for an action that ended with `code`, an ftpcd_err.
inline reply_t reply_for(uint32_t code)
{
    return {.result = code != FTPCD_ERR_NONE ? 1u : 0u, .detail = code};
}

// --- channel.cpp: the socket and its connections

// Creates the listening socket, replacing one left by an earlier run. 0, or -1 when it cannot be bound or
// listened on. Also 0 when socket() fails: the daemon then runs without ever receiving a request.
int ftp_clientd_if_init();

// Closes the listening socket; its file stays.
void ftp_clientd_if_destory();

// The connection of a waiting client, to be closed with ftp_clientd_if_close_received_channel; -1 when there
// is none or it cannot be accepted. Waits for a client only if poll itself fails.
int ftp_clientd_if_open_received_channel();

// Closes a connection; sent data is still delivered. Does not wait.
void ftp_clientd_if_close_received_channel(int connection);

// --- framing.cpp: a header and its body

// Reads one request: 8 header bytes, then as many body bytes as the header announces. Returns the body,
// malloc'ed and now the caller's; NULL when there is none or the read failed. A failure leaves *header all
// zero. Of a body above 1 MiB only the first MiB is kept; the rest is read, and its content in the buffer is
// undefined. Blocks until 10 s after the connection was accepted at most.
void *ftp_clientd_if_receive(int connection, message_header_t *header);

// Sends the header, then header->length bytes of body. Returns the body bytes sent (8 when length is 0) or
// -1. Blocks until 10 s after the connection was accepted at most. After that, it still sends what the socket
// accepts without waiting, so a slow cancel gets its reply.
int ftp_clientd_if_send(int connection, const message_header_t *header, const void *body);

// --- network_manager.cpp: notices

// Sends one notice over a connection of its own: code is a notice_code, body has `length` bytes, at most
// NOTICE_BODY_MAX. Returns length or -1; a lost notice is not sent again. Blocks for at most 2 s when the
// network manager does not accept connections, and 10 s when it does not read.
int ftp_clientd_if_notify(int code, const void *body, int length);

// --- transfer_all.cpp: exact numbers of bytes

// Receives exactly len bytes within the same 10 s (other descriptors: 10 s from the call). Returns len;
// less when the peer closed; len + 1 after an error; 0 at once when len < 1. With MSG_PEEK in flags: len
// when everything has arrived; 0 when the peer closed; the count so far when nothing more arrived in ten
// checks 100 ms apart.
int recvn(int fd, void *buffer, int len, int flags);

// Sends exactly len bytes, blocking as long as ftp_clientd_if_send does. Returns the count sent, len + 1
// after an error, 0 at once when len < 1.
int sendn(int fd, const void *buffer, int len, int flags);
