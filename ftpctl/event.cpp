#include "ftpctl/event.h"

#include "ftpctl/json.h"
#include "ftpctl/text.h"

// The names after "FTPCTL_". Document a new one in the manual page as well.
constexpr const char *NAMES[] = {
    "EVENT",         "TIME",        "LINE",       "JSON",
    "RUNNING",       "JOB",         "CANCEL",     "RESULT",
    "RESULT_NAME",   "CAUSE",       "TOTAL_SIZE", "TRANSFERRED_SIZE",
    "ELAPSED_TIME",  "CURL_CODE",   "ZIXI_ERROR", "RESPONSE_CODE_TYPE",
    "RESPONSE_CODE", "RETRY_COUNT",
};
constexpr const char *PREFIX = "FTPCTL_";

static void set(event_t &event, const char *name, const std::string &value)
{
    event.variables.push_back(PREFIX + std::string(name) + "=" + value);
}

static void set(event_t &event, const char *name, int64_t value) { set(event, name, std::to_string(value)); }

static event_t begin(const char *name, time_t now, const std::string &line, const std::string &json)
{
    event_t event = {line, json, {}};
    set(event, "EVENT", name);
    set(event, "TIME", static_cast<int64_t>(now));
    set(event, "LINE", line);
    set(event, "JSON", json);
    return event;
}

static void set_result(event_t &event, int result)
{
    set(event, "RESULT", result);
    set(event, "RESULT_NAME", ftpclient_result_name(result));
}

static void set_job(event_t &event, int result, const ftpclient_progress_t &progress)
{
    set_result(event, result);
    if (result != FTPCLIENT_RESULT_NONE)
        set(event, "CAUSE", ftpclient_cause_name(ftpclient_cause_of(result, &progress)));
    set(event, "TOTAL_SIZE", progress.total_bytes);
    set(event, "TRANSFERRED_SIZE", progress.transferred_bytes);
    set(event, "ELAPSED_TIME", std::to_string(static_cast<double>(progress.elapsed_ms) / 1000));
    set(event, "CURL_CODE", progress.curl_code);
    if (text_is_zixi(progress))
        set(event, "ZIXI_ERROR", progress.zixi_error);
    set(event, "RESPONSE_CODE_TYPE", progress.response_type);
    set(event, "RESPONSE_CODE", progress.response_code);
    set(event, "RETRY_COUNT", progress.retries);
}

static std::string line_of_start(const ftpclient_notice_t &notice)
{
    return notice.result == FTPCLIENT_RESULT_NONE
               ? "daemon started"
               : "daemon failed to start, " + text_result(notice.result, notice.progress);
}

static std::string line_of_end(int job, int result, const ftpclient_progress_t &progress)
{
    const std::string kind = text_job(job);
    if (result == FTPCLIENT_RESULT_NONE)
        return kind + " done, " + text_outcome(progress);
    return kind + " failed, " + text_amount(progress) + ", " + text_result(result, progress);
}

std::vector<std::string> event_variable_names()
{
    std::vector<std::string> names;
    for (const char *name : NAMES)
        names.push_back(PREFIX + std::string(name));
    return names;
}

event_t event_of_notice(const ftpclient_notice_t &notice, time_t now)
{
    const std::string json = json_notice(notice, now);
    if (notice.code == FTPCLIENT_NOTICE_STARTED) {
        event_t event = begin("started", now, line_of_start(notice), json);
        set_result(event, notice.result);
        return event;
    }
    const int job = text_job_of(notice);
    event_t event = begin(text_job_word(job), now, line_of_end(job, notice.result, notice.progress), json);
    set_job(event, notice.result, notice.progress);
    return event;
}

event_t event_of_state(const ftpclient_state_t &state, time_t now)
{
    event_t event = begin("state", now, text_state(state), json_state_event(state, now));
    set(event, "RUNNING", state.running);
    set(event, "JOB", text_job(state.job, "no job"));
    set(event, "CANCEL", state.cancelled);
    set_job(event, state.result, state.progress);
    return event;
}

event_t event_of_daemon(int error, time_t now)
{
    const bool is_there = error == FTPCLIENT_OK;
    const std::string line =
        is_there ? "daemon back" : std::string("daemon gone, ") + ftpclient_strerror(error);
    event_t event = begin("daemon", now, line, json_daemon_event(is_there, now));
    set(event, "RUNNING", is_there ? 1 : 0);
    return event;
}
