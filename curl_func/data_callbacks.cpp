#include "curl_func/data_callbacks.h"

#include "strutil/log.h"
#include "wire/result_codes.h"

#include <unistd.h>

size_t cb_write(char *data, size_t size, size_t count, void *context)
{
    if (log_if_null("curl_func(1442)", "Download data pointer is null.", data) ||
        log_if_null("curl_func(1448)", "CURLOPT_WRITEDATA has not been set.", context))
        return 0;
    const auto *info = static_cast<const cb_file_info_t *>(context);
    const size_t written = fwrite(data, size, count, info->file);
    if (written < count) {
        log_errno("curl_func(1454)");
        info->handle->error = FTPCD_ERR_LOCAL_WRITE;
    }
    return written;
}

size_t cb_write_null(char *, size_t size, size_t count, void *) { return size * count; }

size_t cb_read(char *buffer, size_t size, size_t count, void *context)
{
    if (log_if_null("curl_func(1491)", "Upload data pointer is null.", buffer) ||
        log_if_null("curl_func(1497)", "CURLOPT_READDATA has not been set.", context))
        return 0;
    const auto *info = static_cast<const cb_file_info_t *>(context);
    const size_t got = fread(buffer, size, count, info->file);
    if (got == count || ferror(info->file) == 0)
        return got;
    log_errno("curl_func(1504)");
    info->handle->error = FTPCD_ERR_LOCAL_READ;
    return CURL_READFUNC_ABORT;
}

static int rewind_file(void *arg, const char *id)
{
    const int rc = fseeko(static_cast<cb_file_info_t *>(arg)->file, 0, SEEK_SET);
    if (rc != 0)
        log_errno(id);
    return rc;
}

int curl_download_reset(void *arg) { return rewind_file(arg, "curl_func(688)"); }

int curl_upload_reset(void *arg) { return rewind_file(arg, "curl_func(825)"); }

int curl_download_empty(void *arg) { return ftruncate(fileno(static_cast<cb_file_info_t *>(arg)->file), 0); }
