// A thin, logged layer over the libcurl easy interface. No other module calls libcurl's easy functions.
//
// Most calls return nothing: each leaves its outcome in the handle record, to be tested with is_curl_error. A
// failure is logged once, where it happens. Nothing is rolled back, and a call does not skip its work because
// an earlier one failed. A record belongs to one thread. Only curl_e_perform and curl_e_cleanup wait for a
// server.
#pragma once

#include <cstddef>
#include <cstdint>
#include <curl/curl.h>

// --- Handle and result record ----------------------------------------------------------------------------

struct list_setting_info_t; // see below

struct curl_e_handle_t {
    CURL *curl;
    int32_t proxy_type;             // proxy kind last set, 1 = HTTP, 0 = none
    int32_t connect_only;           // 1 while CURLOPT_CONNECT_ONLY is on
    int32_t resume;                 // the caller's: not 0 = the upload continues a partial remote file
    int64_t resume_offset;          // the caller's: bytes already on the server
    double total_time;              // seconds of a connect pass, added to libcurl's total time
    int32_t list_borrowed;          // 1 when list_info belongs to another record
    list_setting_info_t *list_info; // NULL when no listing is set up
    uint32_t callback_aborted_logged;
    uint32_t operation_timed_out; // 1 when libcurl has ended the current perform for its time
    // The caller's, cleared by curl_e_init; NULL: none. Called from debug_cb with close_context when libcurl
    // is about to close the connection of a transfer that has ended.
    void (*on_close)(void *close_context);
    void *close_context;
    // The result block.
    int32_t curl_code;          // CURLcode of the last libcurl call
    int32_t error;              // FTPCD_ERR_ code, 0 = none
    int32_t response_code_type; // response_code_type of wire/job_status.h
    int32_t response_code;      // the server's last response code
    int32_t spare;              // carried along, never read
};

// Creates the easy handle and clears the record, but for resume, resume_offset, callback_aborted_logged and
// spare. 0, or 1 (logged) when libcurl gives no handle: the result block stays clear. To be released with
// curl_e_cleanup.
int curl_e_init(curl_e_handle_t *rec);

// Zeroes the result block alone.
void curl_e_clear_result(curl_e_handle_t *rec);

// 1 when the result block holds a CURLcode or an error, else 0.
int is_curl_error(const curl_e_handle_t *rec);

// dst shares src's easy handle and listing settings, with a clear result block: for calls whose outcome must
// not disturb src's. A copy is dropped, never reset, cleaned up or moved onto.
void curl_e_copy_handle(curl_e_handle_t *dst, const curl_e_handle_t *src);

// The same as a value.
inline curl_e_handle_t curl_e_copy_of(const curl_e_handle_t *src)
{
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, src);
    return copy;
}

// Hands src's easy handle and listing settings over to dst, whose own easy handle must have been released
// before. dst's own settings are freed, unless src shares them.
void curl_e_move_handle(curl_e_handle_t *dst, curl_e_handle_t *src);

// Back to libcurl's defaults, listing settings freed; the easy handle stays, and all else in the record. Not
// for a copy.
void curl_e_reset(curl_e_handle_t *rec);

// Keeps the coming clean-up to about 2 s when the server does not answer QUIT (120 s otherwise): sets
// CURLOPT_SERVER_RESPONSE_TIMEOUT, verbose and progress off, and lets libcurl take the limit over by one
// perform without a URL, which ends at once. The result block stays as it is, a refusal is only logged, and a
// record without an easy handle is left alone. Only curl_e_cleanup may follow.
void curl_e_limit_farewell(curl_e_handle_t *rec);

// Releases the easy handle and the listing settings.
void curl_e_cleanup(curl_e_handle_t *rec);

// Makes libcurl's conversation with the server part of the log. libcurl keeps rec's address.
void curl_e_setopt_verbose(curl_e_handle_t *rec, long on);

// CURLOPT_DEBUGFUNCTION; user is the curl_e_handle_t. Logs text and protocol lines, one log line each. In a
// build with FTP_CLIENTD_REDACT_PASSWORDS every credential in them reads "****". Sets operation_timed_out and
// calls on_close when a line says so. Always 0.
int debug_cb(CURL *handle, curl_infotype type, char *data, size_t size, void *user);

// --- Listing capture -------------------------------------------------------------------------------------

// One entry of a listing. Its strings last for one callback, which copies what it keeps.
struct list_info_t {
    char *line;
    char *name;
    char *owner;
    int64_t size;  // bytes; -1 when the line gave none
    uint16_t year; // 65535 when the line gave none
    uint8_t month; // month to minute: 255 when the line gave none
    uint8_t day;
    uint8_t hour;
    uint8_t minute;
    int16_t attributes; // permissions as hexadecimal digits (rwxr-xr-x is 0x755); -1 when the line gave none
    uint8_t is_link;
    uint8_t kind; // LIST_KIND_*
};

constexpr uint8_t LIST_KIND_NONE = 0;
constexpr uint8_t LIST_KIND_DIRECTORY = 1;
constexpr uint8_t LIST_KIND_FILE = 2;
constexpr uint8_t LIST_KIND_OTHER = 3;

// Receives each entry that fits the search pattern; flag is always 1. A result other than 0 ends the parsing:
// the rest of the listing is read and dropped, and the transfer still succeeds.
using list_callback_fn = int (*)(list_info_t *entry, void *context, int flag);

struct dynamic_buffer_t {
    char *data;
    uint32_t capacity; // bytes allocated; those behind `length` are zero
    uint32_t length;   // bytes in use
};

// The state of one running capture.
struct list_tmp_t {
    dynamic_buffer_t *buffer; // NULL until the first byte arrives
    int32_t stop;             // the callback's last result; while it is not 0, data is dropped
    int32_t matched;          // 1 when an entry fitted the pattern
};

struct list_setting_info_t {
    const char *pattern; // name searched for, '*' first = every entry; NULL outside a perform
    list_callback_fn callback;
    void *context;
    list_tmp_t *tmp; // NULL outside a perform
};

// libcurl write callback of a listing: takes all size * nmemb bytes; or 0 to abort (logged, no error stored)
// for a NULL pointer, without a running capture or memory, or when a line exceeds 1 MiB.
size_t cb_list_write(char *data, size_t size, size_t nmemb, list_setting_info_t *info);

// Appends bytes, every CR and LF turned into NUL. 1, or 0 (logged) with the buffer as it was when memory is
// exhausted or a line without an end exceeds 1 MiB. list_capture_free frees the buffer.
int list_data_add(list_tmp_t *tmp, const char *data, size_t len);

// Takes the complete lines off the front and hands on the entries. Returns the callback's nonzero result, at
// which it stops, or 0, also (logged) without a running capture. One listing at a time: its entry is static.
int parse_dynamic_buffer(list_setting_info_t *info);

// --- Option setters --------------------------------------------------------------------------------------
// Each sets the libcurl options of its name, in their order, up to the first that libcurl refuses. libcurl
// copies strings; a callback's data must live as long as the handle. A refusal is error FTPCD_ERR_INTERNAL,
// exhausted memory FTPCD_ERR_NO_MEMORY (so is a NULL host or path of curl_e_setopt_url_ex).

void curl_e_setopt_interface(curl_e_handle_t *rec, const char *name);
// Percent-escapes all but the reserved characters of RFC 3986, '%' included.
void curl_e_setopt_url(curl_e_handle_t *rec, const char *url);
// The same, but all behind the host is path: '#' and '?' are escaped too. url is not NULL.
void curl_e_setopt_file_url(curl_e_handle_t *rec, const char *url);
// Whether "." and ".." in a path go to the server as they are. Else libcurl takes them out: "../f" is "f".
void curl_e_setopt_path_as_is(curl_e_handle_t *rec, long on);
// scheme://host/path; kind is a transfer_protocol. A path that begins with '/' gives two slashes: absolute.
void curl_e_setopt_url_ex(curl_e_handle_t *rec, int kind, const char *host, const char *path);
void curl_e_setopt_port(curl_e_handle_t *rec, long port); // 0 to 65535
void curl_e_setopt_username_password(curl_e_handle_t *rec, const char *user,
                                     const char *password); // NULL = ""
// kind is a proxy_kind. Kind 0 with any host that names no scheme switches every proxy off, that of the
// environment too, and so does any kind but 1. FTPCD_ERR_INTERNAL: a kind without a host, an "http://" host
// with a kind that is not 1, a port outside 0 to 65535. A SOCKS host is FTPCD_ERR_NOT_SUPPORTED.
void curl_e_setopt_proxy(curl_e_handle_t *rec, int kind, const char *host, long port);
void curl_e_setopt_ftpport(curl_e_handle_t *rec); // active mode, on the control connection's address
void curl_e_setopt_append(curl_e_handle_t *rec, long on);
// An upload of the local file `file`, which is examined, not opened: its size is announced, when resume is
// set less resume_offset. Missing remote folders are made. A file that cannot be examined is error
// FTPCD_ERR_LOCAL_READ.
void curl_e_setopt_upload(curl_e_handle_t *rec, const char *file);
// Bytes libcurl gathers before it sends. Over SFTP the default of 64 KiB makes a distant server slow.
void curl_e_setopt_upload_buffersize(curl_e_handle_t *rec, long bytes);
// Not to wait for a name server at the end of a transfer: its question goes on, and ends, by itself. A
// libcurl before 7.87.0 waits all the same.
void curl_e_setopt_quick_exit(curl_e_handle_t *rec, long on);
// 1 = libcurl leaves signals alone: one that it sets aside for a moment it sets aside for every thread.
void curl_e_setopt_nosignal(curl_e_handle_t *rec, long on);
void curl_e_setopt_failonerror(curl_e_handle_t *rec, long on);
void curl_e_setopt_http_version(curl_e_handle_t *rec, long version);      // CURL_HTTP_VERSION_*
void curl_e_setopt_operation_timeout(curl_e_handle_t *rec, long seconds); // negative = 0 = none
// The accept limit of active mode too. Negative = 0 = none.
void curl_e_setopt_connect_timeout(curl_e_handle_t *rec, long seconds);
void curl_e_setopt_curlopt_connect_only(curl_e_handle_t *rec, long on);
void curl_e_setopt_curlopt_fresh_connect(curl_e_handle_t *rec, long on);
void curl_e_setopt_curlopt_maxconnects(curl_e_handle_t *rec, long n);
void curl_e_setopt_curlopt_wildcardmatch(curl_e_handle_t *rec, long on);
void curl_e_setopt_curlopt_ftp_use_eprt_epsv(curl_e_handle_t *rec, long on);
void curl_e_setopt_tcp_keepalive(curl_e_handle_t *rec, long on, long idle, long interval); // seconds
// "" = no file: the key function judges. With NULL libcurl takes any host and asks nobody.
void curl_e_setopt_ssh_knownhosts(curl_e_handle_t *rec, const char *path);
void curl_e_setopt_ssh_auth_types(curl_e_handle_t *rec, long mask); // CURLSSH_AUTH_*
void curl_e_setopt_ssh_keyfile(curl_e_handle_t *rec, const char *public_key, const char *private_key,
                               const char *pass_phrase); // NULL = ""
// CURLUSESSL_* and CURLFTPAUTH_*; the TLS version is set to libcurl's default too.
void curl_e_setopt_use_ssl(curl_e_handle_t *rec, long level, long auth);
void curl_e_setopt_ftp_skip_pasv_ip(curl_e_handle_t *rec, long on);
void curl_e_setopt_ftp_ssl_ccc(curl_e_handle_t *rec, long mode); // CURLFTPSSL_CCC_*
void curl_e_setopt_cainfo(curl_e_handle_t *rec, const char *file);
void curl_e_setopt_capath(curl_e_handle_t *rec, const char *directory);
void curl_e_setopt_ssl_verify(curl_e_handle_t *rec, long peer, long host); // 0 = not checked
void curl_e_setopt_writefunc_data(curl_e_handle_t *rec, curl_write_callback function, void *data);
void curl_e_setopt_readfunc_data(curl_e_handle_t *rec, curl_read_callback function, void *data);
// Switches progress on, too.
void curl_e_setopt_progressfunc_data(curl_e_handle_t *rec, curl_progress_callback function, void *data);
void curl_e_setopt_chunkfunc_data(curl_e_handle_t *rec, curl_chunk_bgn_callback begin,
                                  curl_chunk_end_callback end, void *data);
void curl_e_setopt_sockoptfunc_data(curl_e_handle_t *rec, curl_sockopt_callback function, void *data);
void curl_e_setopt_closesocketfunc_data(curl_e_handle_t *rec, curl_closesocket_callback function, void *data);
// Captures the transfer as a listing. The settings made here are freed by the next call, a reset or the
// clean-up. NULL callback = no listing any more; libcurl still has the write function of the one before, so
// another must be set before the next perform.
void curl_e_setopt_listfunc_data(curl_e_handle_t *rec, list_callback_fn callback, void *context);
void curl_e_setopt_ssh_keyfunc_data(curl_e_handle_t *rec, curl_sshkeycallback function, void *data);
void curl_e_setopt_ssl_ctxfunc_data(curl_e_handle_t *rec, curl_ssl_ctx_callback function, void *data);

// --- Info getters ----------------------------------------------------------------------------------------
// A refusal (logged) leaves its CURLcode and no error; a success makes curl_code 0: ask on a copy to keep an
// outcome.

double curl_e_getinfo_size_download(curl_e_handle_t *rec); // bytes, -1 on failure
double curl_e_getinfo_size_upload(curl_e_handle_t *rec);   // bytes, -1 on failure
double curl_e_getinfo_total_time(curl_e_handle_t *rec);  // seconds, the connect pass included, -1 on failure
long curl_e_getinfo_response_code(curl_e_handle_t *rec); // 0 on failure
// These two belong to libcurl and last until the next use of the handle. NULL on failure.
const char *curl_e_getinfo_ftp_entry_path(curl_e_handle_t *rec);
const char *curl_e_getinfo_effective_url(curl_e_handle_t *rec);
// How the response code is to be read, a response_code_type; RESPONSE_CODE_OTHER also after a failure.
int curl_e_getinfo_response_code_type(curl_e_handle_t *rec);
// The login directory without blanks and slashes at its ends, '\' turned to '/'; NULL when that leaves
// nothing or on failure. The caller frees it with free.
char *curl_e_getinfo_trimmed_ftp_entry_path(curl_e_handle_t *rec);
// The URL with the login directory put in front of its path, its escaping undone. The caller frees it with
// free. NULL on failure, which the record need not show.
char *curl_e_getinfo_effective_sftp_url(curl_e_handle_t *rec);

// --- Perform ---------------------------------------------------------------------------------------------

// Runs one transfer; blocks until it has ended. With a listing callback it lists the file's directory and
// searches the file's name; over SFTP it first connects alone to learn the login directory. The URL is the
// caller's again afterwards. The result block: curl_code (CURLE_REMOTE_FILE_NOT_FOUND when a listing has no
// matching entry); error, which is FTPCD_ERR_NETWORK when the transfer failed or the last reply is not 200 to
// 299, and nothing else has set one; response_code_type; response_code. When it fails before the transfer,
// error is what the cause has set; when only connecting failed, that may be none.
void curl_e_perform(curl_e_handle_t *rec);
