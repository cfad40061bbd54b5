/* Result codes: `detail` of every reply and notice, `result` in a job's status. */
#ifndef WIRE_RESULT_CODES_H
#define WIRE_RESULT_CODES_H

enum ftpcd_err {
    FTPCD_ERR_NONE = 0,                /* success */
    FTPCD_ERR_CANCELED = 1,            /* cancelled by command 4 */
    FTPCD_ERR_NOT_RUNNING = 2,         /* nothing to cancel; never a job's result */
    FTPCD_ERR_BUSY = 3,                /* a job is running; the new request was discarded */
    FTPCD_ERR_AUTH_UNSUPPORTED = 4,    /* the requested identity check is not supported */
    FTPCD_ERR_INTERNAL = 5,            /* a parameter was refused or the set-up failed */
    FTPCD_ERR_RESPONSE_CODE = 6,       /* the server's response code could not be read */
    FTPCD_ERR_URL_RESTORE = 7,         /* the URL could not be restored after a listing or an SFTP transfer */
    FTPCD_ERR_SECURE_DATA = 8,         /* certificate or key unreadable, or a bad argument to its check */
    FTPCD_ERR_LOCAL_WRITE = 9,         /* the local file cannot be created or written */
    FTPCD_ERR_LOCAL_READ = 10,         /* the local file cannot be opened, positioned or read */
    FTPCD_ERR_NO_MEMORY = 11,          /* out of memory */
    FTPCD_ERR_SIZE_LIMIT = 12,         /* a download of more than 4096 bytes */
    FTPCD_ERR_TIMEOUT = 14,            /* nothing moved for longer than the inactivity limit */
    FTPCD_ERR_NOT_SUPPORTED = 15,      /* this operation, or this proxy, is not supported */
    FTPCD_ERR_NETWORK = 16,            /* the transfer failed, or ended short */
    FTPCD_ERR_SECURE_7 = 17,           /* libsecure 7: the digest failed */
    FTPCD_ERR_SECURE_UNKNOWN = 18,     /* libsecure returned an unknown result */
    FTPCD_ERR_SECURE_6 = 19,           /* libsecure 6: certificate or key could not be written to its file */
    FTPCD_ERR_SECURE_5 = 20,           /* libsecure 5: its file could not be created */
    FTPCD_ERR_CERT_MISMATCH = 21,      /* the server's certificate is not the pinned one */
    FTPCD_ERR_HOSTKEY_MISMATCH = 22,   /* the server's host key is not the pinned one */
    FTPCD_ERR_REMOTE_FILE_EXISTS = 23, /* Zixi: the remote file exists and was not to be replaced */
};

#endif
