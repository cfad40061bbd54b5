#include "tools/event.h"

#include "tools/failure.h"
#include "tools/json.h"
#include "tools/output.h"
#include "tools/result_names.h"
#include "tools/text.h"

#include <cstring>

namespace
{

// The names behind "FTPCTL_". Who adds one adds it to the manual as well.
constexpr const char *NAMES[] = {
    "EVENT",
    "TIME",
    "LINE",
    "JSON",
    "RUNNING",
    "JOB",
    "CANCEL",
    "RESULT",
    "RESULT_NAME",
    "TOTAL_SIZE",
    "TRANSFERRED_SIZE",
    "ELAPSED_TIME",
    "CURL_CODE",
    "ZIXI_ERROR",
    "RESPONSE_CODE_TYPE",
    "RESPONSE_CODE",
    "RETRY_COUNT",
};
constexpr const char *PREFIX = "FTPCTL_";

void set(event_t &event, const char *name, const std::string &value)
{
    event.variables.push_back(PREFIX + std::string(name) + "=" + value);
}

void set(event_t &event, const char *name, uint32_t value) { set(event, name, std::to_string(value)); }

void set_common(event_t &event, const char *name, time_t now)
{
    set(event, "EVENT", name);
    set(event, "TIME", std::to_string(static_cast<long long>(now)));
    set(event, "LINE", event.line);
    set(event, "JSON", event.json);
}

void set_result(event_t &event, uint32_t result)
{
    set(event, "RESULT", result);
    set(event, "RESULT_NAME", result_name(result));
}

void set_progress(event_t &event, const exec_info_t &info)
{
    set(event, "TOTAL_SIZE", std::to_string(text_bytes(info.total_size)));
    set(event, "TRANSFERRED_SIZE", std::to_string(text_bytes(info.transferred_size)));
    set(event, "ELAPSED_TIME", std::to_string(info.elapsed_time));
    set(event, "CURL_CODE", info.curl_code);
    if (info.response_code_type == TEXT_ZIXI_RESPONSE_CODE_TYPE)
        set(event, "ZIXI_ERROR", std::to_string(static_cast<int32_t>(info.zixi_error)));
    set(event, "RESPONSE_CODE_TYPE", info.response_code_type);
    set(event, "RESPONSE_CODE", info.response_code);
    set(event, "RETRY_COUNT", info.retry_count);
}

template <typename Body> Body body_of(std::span<const std::byte> bytes)
{
    Body body;
    if (bytes.size() != sizeof body)
        throw failure(STATUS_BAD_ANSWER,
                      "a notice with a body of " + std::to_string(bytes.size()) + " bytes");
    memcpy(&body, bytes.data(), sizeof body);
    return body;
}

notice_header_t header_of(std::span<const std::byte> bytes)
{
    notice_header_t header;
    if (bytes.size() < sizeof header)
        throw failure(STATUS_BAD_ANSWER, "a notice of only " + std::to_string(bytes.size()) + " bytes");
    memcpy(&header, bytes.data(), sizeof header);
    if (header.sender != NOTICE_SENDER || header.kind != NOTICE_KIND || header.code > NOTICE_STARTED)
        throw failure(STATUS_BAD_ANSWER, "a notice of sender " + std::to_string(header.sender) + ", code " +
                                             std::to_string(header.code) + ", kind " +
                                             std::to_string(header.kind) + ", which is not the daemon's");
    if (header.length != bytes.size() - sizeof header)
        throw failure(STATUS_BAD_ANSWER, "a notice that announces " + std::to_string(header.length) +
                                             " bytes and has " +
                                             std::to_string(bytes.size() - sizeof header));
    return header;
}

// By notice code.
struct completion_t {
    const char *event;
    const char *line;
};
constexpr completion_t COMPLETIONS[] = {
    {"download", "download done, "}, {"upload", "upload done, "}, {"info", "file information done, "}};

event_t event_of_start(const notice_header_t &header, const reply_t &body, time_t now)
{
    event_t event;
    event.line = body.result == 0 ? "daemon started" : "daemon failed to start, " + result_text(body.detail);
    event.json = json_notice(header, body, now);
    set_common(event, "started", now);
    set_result(event, body.detail);
    return event;
}

event_t event_of_completion(const notice_header_t &header, const completion_notice_t &body, time_t now)
{
    event_t event;
    const completion_t &kind = COMPLETIONS[header.code];
    event.line = kind.line + text_outcome(body.exec_info) + ", " + result_text(body.reply.detail);
    event.json = json_notice(header, body, kind.event, now);
    set_common(event, kind.event, now);
    set_result(event, body.reply.detail);
    set_progress(event, body.exec_info);
    return event;
}

} // namespace

std::vector<std::string> event_variable_names()
{
    std::vector<std::string> names;
    for (const char *name : NAMES)
        names.push_back(PREFIX + std::string(name));
    return names;
}

void event_print(const event_t &event, const options_t &options)
{
    if (options.quiet && !options.exec.empty())
        return;
    output_line(options.json ? event.json : text_now() + " " + event.line);
}

event_t event_of_notice(std::span<const std::byte> bytes, time_t now)
{
    const notice_header_t header = header_of(bytes);
    const std::span<const std::byte> body = bytes.subspan(sizeof header);
    if (header.code == NOTICE_STARTED)
        return event_of_start(header, body_of<reply_t>(body), now);
    return event_of_completion(header, body_of<completion_notice_t>(body), now);
}

event_t event_of_state(const state_reply_t &state, time_t now)
{
    event_t event;
    event.line = text_state(state.module_info, state.exec_info);
    event.json = json_state_event(state, now);
    set_common(event, "state", now);
    set(event, "RUNNING", state.module_info.running);
    set(event, "JOB", text_job_kind(state.module_info.exec));
    set(event, "CANCEL", state.module_info.cancel);
    set_result(event, state.module_info.result);
    set_progress(event, state.exec_info);
    return event;
}
