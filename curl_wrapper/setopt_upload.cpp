#include "curl_wrapper/set_option.h"

#include <sys/stat.h>

// Bytes still to be sent of a file of `size` bytes.
static curl_off_t rest_of(const curl_e_handle_t *rec, curl_off_t size)
{
    return rec->resume != 0 && rec->resume_offset >= 1 ? size - rec->resume_offset : size;
}

void curl_e_setopt_upload(curl_e_handle_t *rec, const char *file)
{
    if (!SET(rec, "curl_wrapper(1013)", CURLOPT_UPLOAD, 1L) ||
        !SET(rec, "curl_wrapper(1019)", CURLOPT_FTP_CREATE_MISSING_DIRS,
             static_cast<long>(CURLFTP_CREATE_DIR)))
        return;
    struct stat status;
    static_assert(sizeof status.st_size == sizeof(curl_off_t), "large files need a 64-bit off_t");
    if (stat(file, &status) == -1) {
        log_errno("curl_wrapper(1024)");
        rec->error = FTPCD_ERR_LOCAL_READ;
        return;
    }
    SET(rec, "curl_wrapper(1035)", CURLOPT_INFILESIZE_LARGE, rest_of(rec, status.st_size));
}
