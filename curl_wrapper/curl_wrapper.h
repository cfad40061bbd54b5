// A thin, logged layer over the libcurl easy interface. No other module calls libcurl's easy functions.
//
// Most calls return nothing: each stores its outcome in the handle record, to be tested with
// is_curl_error. A failure is logged once, where it happens. Nothing is rolled back, and a call does its
// work even if an earlier one failed. A record belongs to one thread. Only curl_e_perform and
// curl_e_cleanup wait for a server.
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
    uint32_t operation_timed_out; // 1 when libcurl has ended the current perform by a timeout
    // Set by the caller, cleared by curl_e_init; NULL = none. Called from debug_cb with close_context when
    // libcurl is about to close the connection of a transfer that has ended.
    void (*on_close)(void *close_context);
    void *close_context;
    // The result block.
    int32_t curl_code;          // CURLcode of the last libcurl call
    int32_t error;              // FTPCD_ERR_ code, 0 = none
    int32_t response_code_type; // response_code_type of wire/job_status.h
    int32_t response_code;      // the server's last response code
    int32_t spare;              // a word for the caller: copied, never read
};

// Creates the easy handle and clears the record, except resume, resume_offset, callback_aborted_logged and
// spare. 0, or 1 (logged) when libcurl returns no handle; the result block then stays clear. Release with
// curl_e_cleanup.
int curl_e_init(curl_e_handle_t *rec);

// Zeroes only the result block.
void curl_e_clear_result(curl_e_handle_t *rec);

// 1 when the result block holds a CURLcode or an error, else 0.
int is_curl_error(const curl_e_handle_t *rec);

// Makes dst share src's easy handle and listing settings, with a clear result block: for calls whose outcome
// must not overwrite src's. Never reset or clean up a copy, or move onto it; just discard it.
void curl_e_copy_handle(curl_e_handle_t *dst, const curl_e_handle_t *src);

// The same, returning the copy.
inline curl_e_handle_t curl_e_copy_of(const curl_e_handle_t *src)
{
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, src);
    return copy;
}

// Moves src's easy handle and listing settings to dst, whose own easy handle must have been released before.
// dst's own settings are freed, unless src shares them.
void curl_e_move_handle(curl_e_handle_t *dst, curl_e_handle_t *src);

// Restores libcurl's default options and frees the listing settings; the easy handle and the rest of the
// record stay. Not for a copy.
void curl_e_reset(curl_e_handle_t *rec);

// Limits the following clean-up to about 2 s when the server does not answer QUIT (otherwise 120 s): sets
// CURLOPT_SERVER_RESPONSE_TIMEOUT, turns verbose and progress off, and applies the limit by one perform
// without a URL, which ends at once. The result block is unchanged, and a refusal is only logged. Does
// nothing for a record without an easy handle. Only curl_e_cleanup may follow.
void curl_e_limit_farewell(curl_e_handle_t *rec);

// Releases the easy handle and the listing settings.
void curl_e_cleanup(curl_e_handle_t *rec);

// Adds libcurl's conversation with the server to the log. libcurl keeps rec's address.
void curl_e_setopt_verbose(curl_e_handle_t *rec, long on);

// CURLOPT_DEBUGFUNCTION; user is the curl_e_handle_t. Logs text and protocol lines, one log line each. In a
// build with FTP_CLIENTD_REDACT_PASSWORDS every credential in them reads "****". Sets operation_timed_out
// when a line reports a timeout; calls on_close when one announces that a connection is closed. Always 0.
int debug_cb(CURL *handle, curl_infotype type, char *data, size_t size, void *user);

// --- Listing capture -------------------------------------------------------------------------------------

// One entry of a listing. Its strings are valid only during the callback.
struct list_info_t {
    char *line;
    char *name;
    char *owner;
    int64_t size;  // bytes; -1 when the line has none
    uint16_t year; // 65535 when the line has none
    uint8_t month; // month to minute: 255 when the line has none
    uint8_t day;
    uint8_t hour;
    uint8_t minute;
    int16_t attributes; // permissions as hexadecimal digits (rwxr-xr-x is 0x755); -1 when the line has none
    uint8_t is_link;
    uint8_t kind; // LIST_KIND_*
};

constexpr uint8_t LIST_KIND_NONE = 0;
constexpr uint8_t LIST_KIND_DIRECTORY = 1;
constexpr uint8_t LIST_KIND_FILE = 2;
constexpr uint8_t LIST_KIND_OTHER = 3;

// Receives each entry that matches the search pattern; flag is always 1. A result other than 0 ends the
// parsing: the rest of the listing is read and discarded, and the transfer still succeeds.
using list_callback_fn = int (*)(list_info_t *entry, void *context, int flag);

struct dynamic_buffer_t {
    char *data;
    uint32_t capacity; // bytes allocated; those behind `length` are zero
    uint32_t length;   // bytes in use
};

// The state of one running capture.
struct list_tmp_t {
    dynamic_buffer_t *buffer; // NULL until the first byte arrives
    int32_t stop;             // the callback's last result; while it is not 0, data is discarded
    int32_t matched;          // 1 when an entry matched the pattern
};

struct list_setting_info_t {
    const char *pattern; // name to search for; '*' at the start = every entry; NULL outside a perform
    list_callback_fn callback;
    void *context;
    list_tmp_t *tmp; // NULL outside a perform
};

// libcurl write callback of a listing: accepts all size * nmemb bytes, or returns 0 to abort (logged, no
// error stored) for a NULL pointer, without a running capture or memory, or when a line exceeds 1 MiB.
size_t cb_list_write(char *data, size_t size, size_t nmemb, list_setting_info_t *info);

// Appends bytes, every CR and LF turned into NUL. 1, or 0 (logged) with the buffer as it was when memory is
// exhausted or a line without an end exceeds 1 MiB. list_capture_free frees the buffer.
int list_data_add(list_tmp_t *tmp, const char *data, size_t len);

// Removes the complete lines from the front of the buffer and passes their entries to the callback. Stops at
// the callback's first nonzero result and returns it; otherwise 0, also (logged) without a running capture.
// For one listing at a time: the entry is static.
int parse_dynamic_buffer(list_setting_info_t *info);

// --- Option setters --------------------------------------------------------------------------------------
// Each sets the libcurl options in its name, in that order, and stops at the first that libcurl refuses.
// libcurl copies strings; a callback's data must live as long as the handle. A refusal is error
// FTPCD_ERR_INTERNAL, exhausted memory FTPCD_ERR_NO_MEMORY (as is a NULL host or path of
// curl_e_setopt_url_ex). None of them blocks.

// `name` is an interface, a host name or an address of this device.
void curl_e_setopt_interface(curl_e_handle_t *rec, const char *name);
// Percent-escapes everything except the reserved characters of RFC 3986; '%' is escaped too.
void curl_e_setopt_url(curl_e_handle_t *rec, const char *url);
// The same, but everything after the host is the path: '#' and '?' are escaped too. url is not NULL.
void curl_e_setopt_file_url(curl_e_handle_t *rec, const char *url);
// Whether "." and ".." in a path go to the server unchanged. Otherwise libcurl removes them: "../f" is "f".
void curl_e_setopt_path_as_is(curl_e_handle_t *rec, long on);
// scheme://host/path; kind is a transfer_protocol. A path that begins with '/' gives two slashes, so
// it is absolute.
void curl_e_setopt_url_ex(curl_e_handle_t *rec, int kind, const char *host, const char *path);
void curl_e_setopt_port(curl_e_handle_t *rec, long port); // 0 to 65535
void curl_e_setopt_username_password(curl_e_handle_t *rec, const char *user,
                                     const char *password); // NULL = ""
// kind is a proxy_kind. Any kind except 1, with a host without a scheme, turns off all proxies, including
// those of the environment. FTPCD_ERR_INTERNAL: a kind without a host, an "http://" host with a kind other
// than 1, a port outside 0 to 65535. A SOCKS host is FTPCD_ERR_NOT_SUPPORTED.
void curl_e_setopt_proxy(curl_e_handle_t *rec, int kind, const char *host, long port);
void curl_e_setopt_ftpport(curl_e_handle_t *rec); // active mode, on the control connection's address
// 1 = an upload is appended to the remote file.
void curl_e_setopt_append(curl_e_handle_t *rec, long on);
// Makes it an upload of the local file `file`, which is examined but not opened: its size is announced, less
// resume_offset if resume is set. Missing remote folders are created. If the file cannot be examined, the
// error is FTPCD_ERR_LOCAL_READ.
void curl_e_setopt_upload(curl_e_handle_t *rec, const char *file);
// Bytes libcurl gathers before it sends. The default of 64 KiB makes SFTP uploads to a distant server slow.
void curl_e_setopt_upload_buffersize(curl_e_handle_t *rec, long bytes);
// 1 = do not wait for a name server at the end of a transfer; the pending look-up ends by itself. A libcurl
// before 7.87.0 waits nevertheless.
void curl_e_setopt_quick_exit(curl_e_handle_t *rec, long on);
// 1 = libcurl does not change signal handling, which would affect every thread.
void curl_e_setopt_nosignal(curl_e_handle_t *rec, long on);
// 1 = an HTTP status of 400 and above fails the transfer.
void curl_e_setopt_failonerror(curl_e_handle_t *rec, long on);
void curl_e_setopt_http_version(curl_e_handle_t *rec, long version);      // CURL_HTTP_VERSION_*
void curl_e_setopt_operation_timeout(curl_e_handle_t *rec, long seconds); // negative = 0 = none
// Also sets the accept timeout of active mode. Negative = 0 = none.
void curl_e_setopt_connect_timeout(curl_e_handle_t *rec, long seconds);
// 1 = a perform only connects and logs in.
void curl_e_setopt_curlopt_connect_only(curl_e_handle_t *rec, long on);
// 1 = the next perform uses no connection of an earlier one.
void curl_e_setopt_curlopt_fresh_connect(curl_e_handle_t *rec, long on);
// How many connections stay open for later performs.
void curl_e_setopt_curlopt_maxconnects(curl_e_handle_t *rec, long n);
// 1 = the file name in an FTP URL is a pattern.
void curl_e_setopt_curlopt_wildcardmatch(curl_e_handle_t *rec, long on);
// 0 = only PORT and PASV, which every server knows.
void curl_e_setopt_curlopt_ftp_use_eprt_epsv(curl_e_handle_t *rec, long on);
void curl_e_setopt_tcp_keepalive(curl_e_handle_t *rec, long on, long idle, long interval); // seconds
// "" = no file: the key function decides. With NULL libcurl accepts any host without calling it.
void curl_e_setopt_ssh_knownhosts(curl_e_handle_t *rec, const char *path);
void curl_e_setopt_ssh_auth_types(curl_e_handle_t *rec, long mask); // CURLSSH_AUTH_*
void curl_e_setopt_ssh_keyfile(curl_e_handle_t *rec, const char *public_key, const char *private_key,
                               const char *pass_phrase); // NULL = ""
// CURLUSESSL_* and CURLFTPAUTH_*; also sets the TLS version to libcurl's default.
void curl_e_setopt_use_ssl(curl_e_handle_t *rec, long level, long auth);
// 1 = data connections go to the control connection's address, whatever address PASV returns.
void curl_e_setopt_ftp_skip_pasv_ip(curl_e_handle_t *rec, long on);
void curl_e_setopt_ftp_ssl_ccc(curl_e_handle_t *rec, long mode); // CURLFTPSSL_CCC_*
// Certificates of CAs, in a file or a folder; NULL = none.
void curl_e_setopt_cainfo(curl_e_handle_t *rec, const char *file);
void curl_e_setopt_capath(curl_e_handle_t *rec, const char *directory);
void curl_e_setopt_ssl_verify(curl_e_handle_t *rec, long peer, long host); // 0 = not checked

// Callbacks, with the data that libcurl passes to them. They run inside curl_e_perform, on its thread;
// libcurl documents what they get and return.
void curl_e_setopt_writefunc_data(curl_e_handle_t *rec, curl_write_callback function, void *data);
void curl_e_setopt_readfunc_data(curl_e_handle_t *rec, curl_read_callback function, void *data);
// Also turns progress on.
void curl_e_setopt_progressfunc_data(curl_e_handle_t *rec, curl_progress_callback function, void *data);
void curl_e_setopt_chunkfunc_data(curl_e_handle_t *rec, curl_chunk_bgn_callback begin,
                                  curl_chunk_end_callback end, void *data);
void curl_e_setopt_sockoptfunc_data(curl_e_handle_t *rec, curl_sockopt_callback function, void *data);
void curl_e_setopt_closesocketfunc_data(curl_e_handle_t *rec, curl_closesocket_callback function, void *data);
// Captures the transfer as a listing. The settings made here are freed by the next call, a reset or the
// clean-up. A NULL callback ends listing mode, but libcurl keeps the listing's write function: set another
// one before the next perform.
void curl_e_setopt_listfunc_data(curl_e_handle_t *rec, list_callback_fn callback, void *context);
void curl_e_setopt_ssh_keyfunc_data(curl_e_handle_t *rec, curl_sshkeycallback function, void *data);
void curl_e_setopt_ssl_ctxfunc_data(curl_e_handle_t *rec, curl_ssl_ctx_callback function, void *data);

// --- Info getters ----------------------------------------------------------------------------------------
// A refusal (logged) stores its CURLcode and no error; success sets curl_code to 0. Use a copy of the record
// to keep an earlier outcome.

double curl_e_getinfo_size_download(curl_e_handle_t *rec); // bytes, -1 on failure
double curl_e_getinfo_size_upload(curl_e_handle_t *rec);   // bytes, -1 on failure
double curl_e_getinfo_total_time(curl_e_handle_t *rec);  // seconds, the connect pass included, -1 on failure
long curl_e_getinfo_response_code(curl_e_handle_t *rec); // 0 on failure
// These two strings belong to libcurl and are valid until the next use of the handle. NULL on failure.
const char *curl_e_getinfo_ftp_entry_path(curl_e_handle_t *rec);
const char *curl_e_getinfo_effective_url(curl_e_handle_t *rec);
// How to interpret the response code: a response_code_type; RESPONSE_CODE_OTHER also after a failure.
int curl_e_getinfo_response_code_type(curl_e_handle_t *rec);
// The login directory without blanks and slashes at its ends, '\' turned to '/'; NULL when that leaves
// nothing or on failure. The caller frees it with free.
char *curl_e_getinfo_trimmed_ftp_entry_path(curl_e_handle_t *rec);
// The URL with the login directory put in front of its path, its escaping undone. The caller frees it with
// free. NULL on failure, which the record need not show.
char *curl_e_getinfo_effective_sftp_url(curl_e_handle_t *rec);

// --- Perform ---------------------------------------------------------------------------------------------

// Runs one transfer; blocks until it has ended. With a listing callback it lists the file's directory and
// searches for the file's name; over SFTP it first only connects, to learn the login directory. Afterwards
// the URL is the caller's again. The result block has: curl_code (CURLE_REMOTE_FILE_NOT_FOUND when a listing
// has no matching entry); error, which is FTPCD_ERR_NETWORK when the transfer failed or the last reply is not
// 200 to 299 and no other error was set; response_code_type; response_code. If it fails before the transfer,
// error is the one set by the cause; if only connecting failed, there may be none.
void curl_e_perform(curl_e_handle_t *rec);
