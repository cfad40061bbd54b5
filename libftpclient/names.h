/* The rules about names and other strings: what the daemon would refuse, or another file or server be meant
 * by, is refused here, in words. */
#ifndef FTPC_NAMES_H
#define FTPC_NAMES_H

#include "libftpclient/request.h"

/* Stores the sentence that ftpclient_request_complaint() gives, and returns `error`. */
FTPC int ftpc_refuse(ftpclient_request_t *request, int error, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/* Each returns FTPCLIENT_OK, or the error after a complaint that begins with `what`. `size` is the field's,
 * with the byte for the terminator. */
FTPC int ftpc_check_text(ftpclient_request_t *request, const char *what, const char *text, size_t size,
                         const char *taboos);
FTPC int ftpc_check_host(ftpclient_request_t *request, const char *what, const char *host, uint32_t port);
FTPC int ftpc_check_remote_path(ftpclient_request_t *request, const char *path);
FTPC int ftpc_check_local_path(ftpclient_request_t *request, const char *what, const char *path, size_t size);

/* Fills a field; `text` has passed a check. Nothing of a longer one before it stays. */
FTPC void ftpc_put(char *field, size_t size, const char *text);

#endif
