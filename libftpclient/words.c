/* Texts for codes. */
#include "libftpclient/ftpc.h"

#include "wire/result_codes.h"

/* Number and name. The number is multiplied by 1, sizeof(char[1]); if the daemon's is another one, the array would have -1
 * elements, and compilation stops. */
#define IS_DAEMONS(name) sizeof(char[(int)FTPCLIENT_RESULT_##name == (int)FTPCD_ERR_##name ? 1 : -1])
#define RESULT(name) FTPCLIENT_RESULT_##name *(int)IS_DAEMONS(name), "FTPCD_ERR_" #name
#define ERROR(name) FTPCLIENT_ERR_##name, NULL

static const struct {
    int code;
    const char *name;
    const char *meaning;
} WORDS[] = {
    {RESULT(NONE), "success"},
    {RESULT(CANCELED), "cancelled"},
    {RESULT(NOT_RUNNING), "nothing to cancel"},
    {RESULT(BUSY), "a job is running"},
    {RESULT(AUTH_UNSUPPORTED), "this identity check does not exist for this protocol"},
    {RESULT(INTERNAL), "a parameter was refused or the set-up failed"},
    {RESULT(RESPONSE_CODE), "the server's response code could not be read"},
    {RESULT(URL_RESTORE), "the URL could not be put back"},
    {RESULT(SECURE_DATA), "certificate or key unreadable"},
    {RESULT(LOCAL_WRITE), "the local file cannot be created or written"},
    {RESULT(LOCAL_READ), "the local file cannot be opened, positioned or read"},
    {RESULT(NO_MEMORY), "out of memory"},
    {RESULT(SIZE_LIMIT), "a download of more than 4096 bytes"},
    {RESULT(TIMEOUT), "nothing moved for longer than the inactivity limit"},
    {RESULT(NOT_SUPPORTED), "this operation or this proxy is not supported"},
    {RESULT(NETWORK), "the transfer failed or ended short"},
    {RESULT(SECURE_7), "the certificate's or key's digest failed"},
    {RESULT(SECURE_UNKNOWN), "libsecure gave an unknown result"},
    {RESULT(SECURE_6), "certificate or key could not be written to `save_path`"},
    {RESULT(SECURE_5), "`save_path` could not be created"},
    {RESULT(CERT_MISMATCH), "the server's certificate is not the pinned one"},
    {RESULT(HOSTKEY_MISMATCH), "the server's host key is not the pinned one"},
    {RESULT(REMOTE_FILE_EXISTS), "Zixi: the remote file exists"},
    {ERROR(ARGUMENT), "an argument is out of range or not for this protocol"},
    {ERROR(TOO_LONG), "a string is too long for its field"},
    {ERROR(CHARACTER), "a string holds a character that is not allowed in it"},
    {ERROR(INCOMPLETE), "host, remote path or local path is not set"},
    {ERROR(NO_MEMORY), "out of memory in this program"},
    {ERROR(SYSTEM), "a system call failed, see errno"},
    {ERROR(NO_DAEMON), "no daemon listens"},
    {ERROR(TIMEOUT), "not done in time"},
    {ERROR(DISCONNECTED), "the daemon closed the connection without an answer"},
    {ERROR(PROTOCOL), "the daemon's answer or a notice makes no sense"},
    {ERROR(UNREAD), "the daemon could not read the request"},
    {ERROR(IN_USE), "another program receives the notices"},
    {FTPCLIENT_PENDING, NULL, "not finished yet"},
    {ERROR(DENIED), "this user may not use the control socket"},
    {ERROR(NO_ANSWER), "the daemon does not answer"},
    {ERROR(TURN), "other programs kept the daemon busy for too long"},
    {ERROR(UNKNOWN_OUTCOME),
     "the outcome of this job is not known: another program may have used the daemon meanwhile"},
    {ERROR(SILENT), "nothing moved for too long, the job was cancelled"},
    {ERROR(NO_RESUME), "the remote file is not a prefix of the local one"},
    {ERROR(DIFFERENT), "the remote file has another size than the local one"},
    {ERROR(OUT_OF_SIGHT), "the daemon does not see the local path as this program does"},
    {ERROR(READ_ONLY), "the local path is in a folder that the daemon cannot write to"},
};

const char *ftpclient_strerror(int code)
{
    for (size_t i = 0; i < sizeof WORDS / sizeof WORDS[0]; i++) {
        if (WORDS[i].code == code)
            return WORDS[i].meaning;
    }
    return code > 0 ? "unknown result" : "unknown error";
}

const char *ftpclient_result_name(int result)
{
    for (size_t i = 0; i < sizeof WORDS / sizeof WORDS[0]; i++) {
        if (WORDS[i].code == result && WORDS[i].name)
            return WORDS[i].name;
    }
    return "unknown result";
}

#define TEXT_OF(number) #number
#define TEXT(number) TEXT_OF(number)

const char *ftpclient_version(void)
{
    return TEXT(FTPCLIENT_VERSION_MAJOR) "." TEXT(FTPCLIENT_VERSION_MINOR) "." TEXT(FTPCLIENT_VERSION_PATCH);
}
