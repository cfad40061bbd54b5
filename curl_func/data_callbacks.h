// Callbacks that move data between libcurl and the local file, on the worker thread. They block as long as
// the disk does. A failed read or write is logged and stored as the handle's error; a NULL pointer is only
// logged, and counts as 0 items.
#pragma once

#include "curl_wrapper/curl_wrapper.h"

#include <cstdio>

// Context of all of them; lives as long as the handle.
struct cb_file_info_t {
    curl_e_handle_t *handle;
    FILE *file;
};

// Writes to the local file. Fewer than `count` items = failed (FTPCD_ERR_LOCAL_WRITE).
size_t cb_write(char *data, size_t size, size_t count, void *context);

// Accepts and discards everything.
size_t cb_write_null(char *data, size_t size, size_t count, void *context);

// Reads from the local file; 0 at its end, CURL_READFUNC_ABORT when it cannot be read (FTPCD_ERR_LOCAL_READ).
size_t cb_read(char *buffer, size_t size, size_t count, void *context);

// Rewind the local file for a retry; arg is a cb_file_info_t. 0, or -1 (logged, not stored). A resumed upload
// is also rewound to byte 0.
int curl_download_reset(void *arg);
int curl_upload_reset(void *arg);

// Empties the local file, so that a shorter second body does not keep the end of the first. 0, or -1 with
// errno (not logged) for a file that cannot be truncated, such as a device: it is unchanged.
int curl_download_empty(void *arg);
