// libcurl's conversation with the server, as the log shows it.
#include "curl_wrapper/redact.h"
#include "curl_wrapper/set_option.h"

#include <algorithm>
#include <climits>
#include <cstring>

#ifdef FTP_CLIENTD_REDACT_PASSWORDS
constexpr bool REDACT = true;
#else
constexpr bool REDACT = false;
#endif
constexpr char HIDDEN[] = "****"; // when there is no memory for a redacted copy

void curl_e_setopt_verbose(curl_e_handle_t *rec, long on)
{
    const curl_debug_callback callback = on != 0 ? debug_cb : nullptr;
    SET(rec, "curl_wrapper(525)", CURLOPT_VERBOSE, on) &&
        SET(rec, "curl_wrapper(532)", CURLOPT_DEBUGFUNCTION, callback) &&
        SET(rec, "curl_wrapper(538)", CURLOPT_DEBUGDATA, static_cast<void *>(rec));
}

// libcurl repeats this line while it ends an aborted transfer: log it once per perform.
static bool is_repeated(curl_e_handle_t *rec, std::string_view line)
{
    if (rec == nullptr || !line.starts_with("Callback aborted"))
        return false;
    const bool repeated = rec->callback_aborted_logged != 0;
    rec->callback_aborted_logged = 1;
    return repeated;
}

// libcurl reports a timeout before QUIT only by the first line. With the second, libssh2 1.11 has waited a
// minute for an answer; libcurl 8.14 then gives the code of a missing folder.
static void note_time_out(curl_e_handle_t *rec, curl_infotype type, std::string_view line)
{
    if (rec != nullptr && type == CURLINFO_TEXT &&
        (line.starts_with("Operation timed out") ||
         line.starts_with("Could not open directory for reading: Unknown error")))
        rec->operation_timed_out = 1;
}

// libcurl announces only with this line that it is about to close the connection; newer versions say "pool".
static void announce_close(const curl_e_handle_t *rec, curl_infotype type, std::string_view line)
{
    if (rec == nullptr || rec->on_close == nullptr || type != CURLINFO_TEXT)
        return;
    if (line.starts_with("Connection cache is full") || line.starts_with("Connection pool is full"))
        rec->on_close(rec->close_context);
}

static void log_line(char mark, std::string_view line)
{
    if (REDACT) {
        const heap_string redacted = curl_e_redacted(line);
        log_text("%c %s", mark, redacted ? redacted.get() : HIDDEN);
        return;
    }
    log_text("%c %.*s", mark, static_cast<int>(std::min<size_t>(line.size(), INT_MAX)), line.data());
}

int debug_cb(CURL *, curl_infotype type, char *data, size_t size, void *user)
{
    if (type > CURLINFO_HEADER_OUT || data == nullptr)
        return 0;
    auto *rec = static_cast<curl_e_handle_t *>(user);
    const char mark = "*<>{}[]"[type];
    std::string_view rest(data, strnlen(data, size));
    for (size_t end = rest.find_first_of("\r\n"); end != std::string_view::npos;
         end = rest.find_first_of("\r\n")) {
        const std::string_view line(rest.data(), end);
        note_time_out(rec, type, line);
        announce_close(rec, type, line);
        if (!line.empty() && !is_repeated(rec, line))
            log_line(mark, line);
        rest.remove_prefix(end + 1);
    }
    return 0;
}

const char *curl_e_loggable(const char *text, heap_string *memory)
{
    if (!REDACT)
        return text;
    *memory = curl_e_redacted(text);
    return *memory ? memory->get() : HIDDEN;
}
