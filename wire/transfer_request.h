/* The body of commands 1 (download), 2 (upload) and 5 (file information): one job, with every setting it
 * needs. Strings are NUL-terminated inside their field; one that fills its field is refused. */
#ifndef WIRE_TRANSFER_REQUEST_H
#define WIRE_TRANSFER_REQUEST_H

#include "wire/pin.h"

enum transfer_protocol {
    PROTOCOL_FTP = 0,
    PROTOCOL_FTPS_IMPLICIT = 1, /* TLS from the first byte */
    PROTOCOL_FTPS_EXPLICIT = 2, /* AUTH TLS on an FTP connection */
    PROTOCOL_SFTP = 3,
    PROTOCOL_ZIXI_4 = 4, /* both values go to the Zixi engine */
    PROTOCOL_ZIXI_5 = 5,
};

/* Properties of a protocol value, 1 or 0; an unknown value is plain FTP. */
static inline int protocol_is_zixi(uint32_t protocol)
{
    return protocol == PROTOCOL_ZIXI_4 || protocol == PROTOCOL_ZIXI_5;
}

static inline int protocol_has_tls(uint32_t protocol)
{
    return protocol == PROTOCOL_FTPS_IMPLICIT || protocol == PROTOCOL_FTPS_EXPLICIT;
}

/* A certificate or a host key, which a job can save and check. */
static inline int protocol_has_identity(uint32_t protocol)
{
    return protocol_has_tls(protocol) || protocol == PROTOCOL_SFTP;
}

/* FTP and FTPS, and any unknown value. */
static inline int protocol_is_ftp(uint32_t protocol)
{
    return protocol != PROTOCOL_SFTP && !protocol_is_zixi(protocol);
}

enum proxy_kind { PROXY_NONE = 0, PROXY_HTTP = 1 };

/* Proxies that libcurl knows and no job may use; matched in any case. */
#define PROXY_SOCKS_PREFIXES "socks4://", "socks4a://", "socks5://", "socks5h://", "socks://"

/* What strings must not hold, for all protocols but Zixi. '#' and '?' end the path of a URL: the job would
 * fetch or overwrite another file. CR and LF end an FTP command: what follows would be a second one. */
#define REFUSED_IN_REMOTE_PATH "#?\r\n"
#define REFUSED_IN_LOGIN "\r\n"
/* Characters that would end the host of a URL and begin its path, and those that no host name contains. */
#define REFUSED_IN_HOST                                                                                      \
    "/?#@\\ \x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10"                                \
    "\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1a\x1b\x1c\x1d\x1e\x1f\x7f"

/* Also refused in remote paths over FTP and FTPS: the byte 255, which begins a TELNET command (RFC 854), so
 * that some servers drop it from names; and ";type=", where libcurl (in lower case) or an HTTP proxy (in any
 * case) ends the path. */
#define REFUSED_IN_FTP_PATH "\xff"
#define REFUSED_IN_FTP_PATH_TEXT ";type="

enum download_limit { DOWNLOAD_LIMIT_BYTES = 4096 }; /* larger files are refused: result 12 */

enum server_auth_type {
    SERVER_AUTH_NONE = 0, /* any certificate or key is accepted */
    SERVER_AUTH_MD5 = 1,  /* SFTP: MD5 of the host key */
    SERVER_AUTH_SHA1 = 2, /* FTPS: SHA-1 of the certificate */
};

enum digest_size { DIGEST_MD5_BYTES = 16, DIGEST_SHA1_BYTES = 20 };

/* The check of the server's identity. */
typedef struct server_auth_t {
    uint32_t auth_type;    /* server_auth_type */
    uint8_t digest_length; /* bytes used of `digest`: digest_size */
    uint8_t digest[256];   /* the expected fingerprint, raw bytes */
    char save_path[259];   /* if not empty, certificate or key is saved there before it is checked */
} server_auth_t;

WIRE_FIELD(server_auth_t, auth_type, 0, 4);
WIRE_FIELD(server_auth_t, digest_length, 4, 1);
WIRE_FIELD(server_auth_t, digest, 5, 256);
WIRE_FIELD(server_auth_t, save_path, 261, 259);
WIRE_SIZE(server_auth_t, 520);

/* One job. Bytes behind the terminator of a string are not read, except in `password` for Zixi. */
typedef struct transfer_request_t {
    char remote_path[512]; /* relative to the login directory, or absolute as the server understands it */
    char local_path[256];  /* written by a download, read by an upload */
    char host[256];        /* server name or address */
    uint32_t port;         /* 0 to 65535; 0 is the protocol's default */
    char username[32];     /* may be empty */
    char password[224];    /* may be empty */
    uint32_t passive_mode; /* 0 = active FTP */
    uint32_t protocol;     /* transfer_protocol; any other value is plain FTP */
    char proxy_host[256];  /* read only when proxy_type is not 0 */
    uint32_t proxy_port;   /* 0 to 65535 */
    uint32_t proxy_type;   /* proxy_kind */
    server_auth_t server_auth;
    /* Upload: low byte not 0 = append the missing part. Zixi: 0 = overwrite. */
    uint32_t resume;
} transfer_request_t;

WIRE_FIELD(transfer_request_t, remote_path, 0, 512);
WIRE_FIELD(transfer_request_t, local_path, 512, 256);
WIRE_FIELD(transfer_request_t, host, 768, 256);
WIRE_FIELD(transfer_request_t, port, 1024, 4);
WIRE_FIELD(transfer_request_t, username, 1028, 32);
WIRE_FIELD(transfer_request_t, password, 1060, 224);
WIRE_FIELD(transfer_request_t, passive_mode, 1284, 4);
WIRE_FIELD(transfer_request_t, protocol, 1288, 4);
WIRE_FIELD(transfer_request_t, proxy_host, 1292, 256);
WIRE_FIELD(transfer_request_t, proxy_port, 1548, 4);
WIRE_FIELD(transfer_request_t, proxy_type, 1552, 4);
WIRE_FIELD(transfer_request_t, server_auth, 1556, 520);
WIRE_FIELD(transfer_request_t, resume, 2076, 4);
WIRE_SIZE(transfer_request_t, 2080);

/* Protocols 4 and 5 have their own user name and password inside `password`. */
enum zixi_credentials {
    ZIXI_USER_OFFSET = 1092, /* from the start of the request */
    ZIXI_USER_SIZE = 64,
    ZIXI_PASSWORD_OFFSET = 1156,
    ZIXI_PASSWORD_SIZE = 128,
};
static_assert(ZIXI_USER_OFFSET + ZIXI_USER_SIZE == ZIXI_PASSWORD_OFFSET, "Zixi user name meets its password");
static_assert(ZIXI_PASSWORD_OFFSET + ZIXI_PASSWORD_SIZE == offsetof(transfer_request_t, passive_mode),
              "the Zixi password ends where `password` ends");

#endif
