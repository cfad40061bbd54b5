#include "curl_wrapper/connect_pass.h"

#include "curl_wrapper/record.h"
#include "strutil/log.h"
#include "strutil/strutil.h"
#include "wire/result_codes.h"

#include <cctype>
#include <cstring>
#include <sys/socket.h>
#include <utility>

// libcurl never reuses this connection. Left open, the next perform would close it: that takes some round
// trips, up to a second for a slow server, and then leaks the session.
static void break_connection(const curl_e_handle_t *rec)
{
    curl_socket_t fd = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(rec->curl, CURLINFO_ACTIVESOCKET, &fd) == CURLE_OK && fd != CURL_SOCKET_BAD)
        shutdown(fd, SHUT_RDWR);
}

// Only connects and logs in; the time is added to that of the transfer.
static bool connect_alone(curl_e_handle_t *rec)
{
    curl_e_setopt_curlopt_connect_only(rec, 1);
    if (rec->curl_code != CURLE_OK || curl_e_perform_once(rec) != CURLE_OK)
        return false;
    break_connection(rec);
    const double seconds = curl_e_getinfo_total_time(rec);
    if (is_curl_error(rec) != 0)
        return false;
    rec->total_time += seconds;
    curl_e_setopt_curlopt_connect_only(rec, 0);
    return rec->curl_code == CURLE_OK;
}

// If it stayed on, the next perform would also only connect, and report success.
static void leave_connect_only(curl_e_handle_t *rec)
{
    curl_e_handle_t copy = curl_e_copy_of(rec);
    curl_e_setopt_curlopt_connect_only(&copy, 0);
    rec->connect_only = copy.connect_only;
}

// curl_e_getinfo_effective_sftp_url() strips blanks and turns backslashes, which some servers add. In an
// absolute path they are part of the name, and the URL would lead to another directory: false, logged.
static bool is_read_exactly(curl_e_handle_t *rec)
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

// libcurl takes "/~" at the start of an SFTP path for the login directory; it takes "//~" literally.
static heap_string tilde_kept(curl_e_handle_t *rec, heap_string url)
{
    const char *scheme_end = strstr(url.get(), "://");
    const char *path = strchr(scheme_end != nullptr ? scheme_end + 3 : url.get(), '/');
    if (path == nullptr || strncmp(path, "/~", 2) != 0 || (path[2] != '/' && path[2] != '\0'))
        return url;
    heap_string kept(malloc_ins_str1(url.get(), static_cast<size_t>(path - url.get()), "/"));
    if (!kept)
        curl_e_out_of_memory(rec, "curl_wrapper(411)", "malloc_ins_str1");
    return kept;
}

// Sets the URL with the login directory in its path; `specified` is the URL before.
static bool set_absolute_url(perform_t &run, heap_string specified)
{
    curl_e_handle_t *rec = run.rec;
    heap_string url(curl_e_getinfo_effective_sftp_url(rec));
    if (is_curl_error(rec) != 0 || !is_read_exactly(rec))
        return false;
    if (!url)
        return true;
    if (!run.specified) {
        if (!specified)
            return curl_e_out_of_memory(rec, "curl_wrapper(405)", "malloc_str1");
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

bool curl_e_find_login_directory(perform_t &run)
{
    curl_e_handle_t *rec = run.rec;
    if (rec->connect_only != 0)
        return true;
    const char *url = curl_e_getinfo_effective_url(rec);
    if (url == nullptr)
        return false;
    if (curl_e_scheme_of(url) != SCHEME_SFTP)
        return true;
    // Read it now, because libcurl may free its copy while it connects; a missing URL is reported
    // when it is needed.
    heap_string specified(run.specified ? nullptr : malloc_str1(url));
    if (connect_alone(rec))
        return set_absolute_url(run, std::move(specified));
    if (rec->connect_only != 0)
        leave_connect_only(rec);
    return false;
}
