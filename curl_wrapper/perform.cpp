#include "curl_wrapper/listing_capture.h"
#include "curl_wrapper/redact.h"
#include "curl_wrapper/url.h"
#include "strutil/strutil.h"
#include "wire/job_status.h"
#include "wire/result_codes.h"

#include <cctype>
#include <cstring>
#include <sys/socket.h>
#include <utility>

namespace
{

// What one perform keeps beside the record.
struct perform_t {
    curl_e_handle_t *rec;
    list_setting_info_t *list;  // NULL: no listing
    heap_string specified = {}; // the caller's URL once another one is set in its place, as it was read back
    curl_string plain = {};     // the same unescaped, to be set again; the search pattern is its end
};

void fail(curl_e_handle_t *rec, const char *id, const char *call)
{
    log_error(id, "%s(): NULL", call);
    rec->error = FTPCD_ERR_NO_MEMORY;
}

CURLcode perform_once(curl_e_handle_t *rec)
{
    rec->callback_aborted_logged = 0;
    rec->operation_timed_out = 0;
    const CURLcode code = curl_easy_perform(rec->curl);
    rec->curl_code = code;
    return code;
}

// Takes over what a call on a copy of the record has met.
void adopt_failure(curl_e_handle_t *rec, const curl_e_handle_t &copy, int32_t unexplained)
{
    if (copy.error != FTPCD_ERR_NONE)
        rec->error = copy.error;
    else if (copy.curl_code != CURLE_OK)
        rec->error = unexplained;
}

// Sets the URL of the file's directory and searches the file's name there.
bool set_up_listing(perform_t &run)
{
    curl_e_handle_t *rec = run.rec;
    log_info("curl_wrapper(311)", "Setup to directory listening.");
    const char *url = curl_e_getinfo_effective_url(rec);
    if (url == nullptr)
        return false;
    curl_string plain = curl_e_plain_url(rec, url);
    if (!plain)
        return false;
    const heap_string directory(malloc_directory_of(plain.get(), '/'));
    if (!directory) {
        fail(rec, "curl_wrapper(322)", "malloc_directory_of");
        return false;
    }
    run.specified.reset(malloc_str1(url));
    if (!run.specified) {
        fail(rec, "curl_wrapper(330)", "malloc_str1");
        return false;
    }
    run.plain = std::move(plain);
    curl_e_setopt_url(rec, directory.get());
    if (is_curl_error(rec) != 0)
        return false;
    run.list->pattern = basename_of(run.plain.get());
    log_info("curl_wrapper(344)", "Search pattern: %s", run.list->pattern);
    if (!list_capture_start(run.list)) {
        fail(rec, "curl_wrapper(2096)", "list_tmp_alloc");
        return false;
    }
    return true;
}

// libcurl does not use this connection again, and closes it when the next perform begins: that takes some
// round trips, and a server that needs more than a second for them costs the memory of the session, which
// libcurl drops then.
void break_connection(const curl_e_handle_t *rec)
{
    curl_socket_t fd = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(rec->curl, CURLINFO_ACTIVESOCKET, &fd) == CURLE_OK && fd != CURL_SOCKET_BAD)
        shutdown(fd, SHUT_RDWR);
}

// Connects and logs in, no more; its time is added to that of the transfer.
bool connect_alone(curl_e_handle_t *rec)
{
    curl_e_setopt_curlopt_connect_only(rec, 1);
    if (rec->curl_code != CURLE_OK || perform_once(rec) != CURLE_OK)
        return false;
    break_connection(rec);
    const double seconds = curl_e_getinfo_total_time(rec);
    if (is_curl_error(rec) != 0)
        return false;
    rec->total_time += seconds;
    curl_e_setopt_curlopt_connect_only(rec, 0);
    return rec->curl_code == CURLE_OK;
}

// Left on, the next perform would only connect as well, and call that a success.
void leave_connect_only(curl_e_handle_t *rec)
{
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, rec);
    curl_e_setopt_curlopt_connect_only(&copy, 0);
    rec->connect_only = copy.connect_only;
}

// Some servers put blanks behind the directory and backslashes into it, so both are taken out. Where the
// answer is an absolute path with slashes they belong to its name, and the URL would lead elsewhere.
bool is_read_exactly(curl_e_handle_t *rec)
{
    const char *told = nullptr;
    if (curl_easy_getinfo(rec->curl, CURLINFO_FTP_ENTRY_PATH, &told) != CURLE_OK || told == nullptr ||
        told[0] != '/')
        return true;
    if (strchr(told, '\\') == nullptr && isspace(static_cast<unsigned char>(told[strlen(told) - 1])) == 0)
        return true;
    log_error("curl_wrapper(397)", "The login directory cannot be put into a URL: %s", told);
    rec->error = FTPCD_ERR_INTERNAL;
    return false;
}

// libcurl takes "/~" at the start of an SFTP path for the login directory; with "//~" it is what it says.
heap_string tilde_kept(curl_e_handle_t *rec, heap_string url)
{
    const char *scheme_end = strstr(url.get(), "://");
    const char *path = strchr(scheme_end != nullptr ? scheme_end + 3 : url.get(), '/');
    if (path == nullptr || strncmp(path, "/~", 2) != 0 || (path[2] != '/' && path[2] != '\0'))
        return url;
    heap_string kept(malloc_ins_str1(url.get(), static_cast<size_t>(path - url.get()), "/"));
    if (!kept)
        fail(rec, "curl_wrapper(411)", "malloc_ins_str1");
    return kept;
}

// Sets the URL with the login directory in its path; `specified` is the URL before.
bool set_absolute_url(perform_t &run, heap_string specified)
{
    curl_e_handle_t *rec = run.rec;
    heap_string url(curl_e_getinfo_effective_sftp_url(rec));
    if (is_curl_error(rec) != 0 || !is_read_exactly(rec))
        return false;
    if (!url)
        return true;
    if (!run.specified) {
        if (!specified) {
            fail(rec, "curl_wrapper(405)", "malloc_str1");
            return false;
        }
        run.plain = curl_e_plain_url(rec, specified.get());
        if (!run.plain)
            return false;
        run.specified = std::move(specified);
    }
    url = tilde_kept(rec, std::move(url));
    if (url)
        curl_e_setopt_file_url(rec, url.get());
    return is_curl_error(rec) == 0;
}

// An SFTP path is taken from the root: only a login tells the directory that it starts from.
bool find_login_directory(perform_t &run)
{
    curl_e_handle_t *rec = run.rec;
    if (rec->connect_only != 0)
        return true;
    const char *url = curl_e_getinfo_effective_url(rec);
    if (url == nullptr)
        return false;
    if (curl_e_scheme_of(url) != SCHEME_SFTP)
        return true;
    // Now, since libcurl may free its own while it connects; that it is missing shows when it is needed.
    heap_string specified(run.specified ? nullptr : malloc_str1(url));
    if (connect_alone(rec))
        return set_absolute_url(run, std::move(specified));
    if (rec->connect_only != 0)
        leave_connect_only(rec);
    return false;
}

// A listing in which nothing fits is a missing file.
void end_listing(curl_e_handle_t *rec, list_setting_info_t *list)
{
    if (!list_capture_end(list) && rec->curl_code == CURLE_OK)
        rec->curl_code = CURLE_REMOTE_FILE_NOT_FOUND;
}

bool read_response(curl_e_handle_t *rec)
{
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, rec);
    rec->response_code_type = curl_e_getinfo_response_code_type(&copy);
    adopt_failure(rec, copy, FTPCD_ERR_RESPONSE_CODE);
    rec->response_code = static_cast<int32_t>(curl_e_getinfo_response_code(&copy));
    if (copy.curl_code == CURLE_OK)
        return true;
    rec->error = FTPCD_ERR_RESPONSE_CODE;
    return false;
}

bool is_refusal(int32_t type, int32_t code)
{
    return type != RESPONSE_CODE_OTHER && code != 0 && (code < 200 || code > 299);
}

void judge(curl_e_handle_t *rec)
{
    if (rec->error == FTPCD_ERR_NONE &&
        (rec->curl_code != CURLE_OK || is_refusal(rec->response_code_type, rec->response_code)))
        rec->error = FTPCD_ERR_NETWORK;
}

void transfer(perform_t &run)
{
    curl_e_handle_t *rec = run.rec;
    const char *url = curl_e_getinfo_effective_url(rec);
    if (url == nullptr)
        return;
    heap_string loggable; // a host may hold a password
    if (run.specified)
        log_info("curl_wrapper(427)", "Specified URL: %s", curl_e_loggable(run.specified.get(), &loggable));
    log_info("curl_wrapper(429)", "Actual URL   : %s", curl_e_loggable(url, &loggable));
    perform_once(rec);
    if (run.list != nullptr)
        end_listing(rec, run.list);
    if (read_response(rec))
        judge(rec);
}

void restore_url(perform_t &run)
{
    if (!run.specified)
        return;
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, run.rec);
    curl_e_setopt_url(&copy, run.plain.get());
    adopt_failure(run.rec, copy, FTPCD_ERR_URL_RESTORE);
}

void clean_up(perform_t &run)
{
    if (run.list == nullptr)
        return;
    list_capture_free(run.list);
    run.list->pattern = nullptr; // it ends with run.plain
}

} // namespace

void curl_e_perform(curl_e_handle_t *rec)
{
    perform_t run{.rec = rec, .list = rec->list_info};
    rec->total_time = 0;
    if ((run.list == nullptr || set_up_listing(run)) && find_login_directory(run))
        transfer(run);
    restore_url(run);
    clean_up(run);
}
