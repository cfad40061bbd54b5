#include "ftpctl/json.h"

#include "ftpctl/statuses.h"
#include "ftpctl/text.h"

#include <nlohmann/json.hpp>

using json = nlohmann::ordered_json;

namespace
{

// File names need not be UTF-8; what is not is replaced.
std::string printed(const json &object)
{
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

json or_null(const std::optional<std::string> &text) { return text ? json(*text) : json(nullptr); }

json known(int64_t number) { return number >= 0 ? json(number) : json(nullptr); }

json seconds(int64_t elapsed_ms) { return static_cast<double>(elapsed_ms) / 1000; }

json object_of(const ftpclient_progress_t &progress)
{
    return {
        {"total_bytes", progress.total_bytes},
        {"transferred_bytes", progress.transferred_bytes},
        {"elapsed_s", seconds(progress.elapsed_ms)},
        {"curl_code", progress.curl_code},
        {"zixi_error", text_is_zixi(progress) ? json(progress.zixi_error) : json(nullptr)},
        {"response_type", progress.response_type},
        {"response_code", progress.response_code},
        {"retries", progress.retries},
    };
}

// The events of notices have the same names.
json kind_of(int job)
{
    switch (job) {
    case FTPCLIENT_DOWNLOAD:
        return "download";
    case FTPCLIENT_UPLOAD:
        return "upload";
    case FTPCLIENT_FILE_INFO:
        return "info";
    default:
        return nullptr;
    }
}

json object_of_job(int job, int result, const ftpclient_progress_t &progress)
{
    return {{"kind", kind_of(job)},
            {"result", result},
            {"result_name", ftpclient_result_name(result)},
            {"progress", object_of(progress)}};
}

json job_of(const report_t &report)
{
    // Not known is not told: the last state seen may be another program's.
    if (!report.outcome || report.outcome->jobs == 0 || report.status == STATUS_UNKNOWN)
        return nullptr;
    return object_of_job(report.job, report.outcome->result, report.outcome->progress);
}

const char *sent_of(int upload)
{
    switch (upload) {
    case FTPCLIENT_UPLOAD_WHOLE:
        return "whole";
    case FTPCLIENT_UPLOAD_REST:
        return "rest";
    case FTPCLIENT_UPLOAD_NOTHING:
        return "nothing";
    case FTPCLIENT_UPLOAD_MENDED:
        return "mended";
    default:
        return nullptr;
    }
}

json upload_of(const report_t &report)
{
    if (!report.outcome || report.job != FTPCLIENT_UPLOAD)
        return nullptr;
    const ftpclient_outcome_t &outcome = *report.outcome;
    const char *sent = sent_of(outcome.upload);
    return {
        {"sent", sent != nullptr ? json(sent) : json(nullptr)},
        {"local_bytes", known(outcome.local_bytes)},
        {"resumed_bytes", outcome.resumed_bytes},
        {"remote_bytes", known(outcome.remote_bytes)},
        {"verified", outcome.verified != 0},
        {"may_be_spoiled", outcome.may_be_spoiled != 0},
    };
}

json file_of(const report_t &report)
{
    if (!report.outcome || report.job != FTPCLIENT_FILE_INFO ||
        (report.status != STATUS_DONE && report.status != STATUS_NO_FILE))
        return nullptr;
    const ftpclient_file_info_t &file = report.outcome->file;
    if (file.exists == 0)
        return {{"exists", false}};
    const std::string modified = text_iso_time(file);
    const std::string permissions = text_permissions(file);
    return {
        {"exists", true},
        {"size_bytes", known(file.size_bytes)},
        {"modified", modified.empty() ? json(nullptr) : json(modified)},
        {"year", known(file.year)},
        {"month", known(file.month)},
        {"day", known(file.day)},
        {"hour", known(file.hour)},
        {"minute", known(file.minute)},
        {"permissions", permissions.empty() ? json(nullptr) : json(permissions)},
        {"is_link", file.is_link > 0},
    };
}

json object_of(const ftpclient_state_t &state)
{
    json object = {{"running", state.running != 0}, {"cancelled", state.cancelled != 0}};
    object.update(object_of_job(state.job, state.result, state.progress));
    return object;
}

json identity_of(const report_t &report)
{
    if (!report.identity)
        return nullptr;
    const server_identity_t &identity = *report.identity;
    const bool is_certificate = identity.kind == server_identity_t::CERTIFICATE;
    json object = {{"server", report.server}, {"kind", is_certificate ? "certificate" : "host key"}};
    if (is_certificate)
        object.update(json{{"subject", identity.subject},
                           {"issuer", identity.issuer},
                           {"not_before", identity.not_before},
                           {"not_after", identity.not_after}});
    else
        object["type"] = identity.type;
    object["key_type"] = identity.key_type;
    object["key_bits"] = identity.key_bits;
    object["sha256"] = identity.sha256;
    object[is_certificate ? "sha1" : "md5"] = identity.digest;
    object["pin"] = identity.pin;
    return object;
}

// By notice code.
struct completion_t {
    const char *event;
    int job;
};
constexpr completion_t COMPLETIONS[] = {
    {"download", FTPCLIENT_DOWNLOAD}, {"upload", FTPCLIENT_UPLOAD}, {"info", FTPCLIENT_FILE_INFO}};

json event(const char *name, time_t now) { return {{"event", name}, {"time", static_cast<int64_t>(now)}}; }

} // namespace

std::string json_report(const report_t &report)
{
    const bool failed = report.status != STATUS_DONE;
    const status_t &row = status_find(report.status);
    return printed({
        {"command", report.command.empty() ? json(nullptr) : json(report.command)},
        {"status", report.status},
        {"error", failed ? json(row.name) : json(nullptr)},
        {"message", failed && report.message.empty() ? row.meaning : report.message},
        {"local", or_null(report.local)},
        {"remote", or_null(report.remote)},
        {"job", job_of(report)},
        {"upload", upload_of(report)},
        {"file", file_of(report)},
        {"state", report.state ? object_of(*report.state) : json(nullptr)},
        {"identity", identity_of(report)},
    });
}

std::string json_progress(const std::string &command, const ftpclient_progress_t &progress)
{
    return printed({{"command", command}, {"progress", object_of(progress)}});
}

std::string json_notice(const ftpclient_notice_t &notice, time_t now)
{
    if (notice.code == FTPCLIENT_NOTICE_STARTED) {
        json started = event("started", now);
        started["result"] = notice.result;
        started["result_name"] = ftpclient_result_name(notice.result);
        return printed(started);
    }
    const completion_t &kind = COMPLETIONS[notice.code];
    json ended = event(kind.event, now);
    ended["job"] = object_of_job(kind.job, notice.result, notice.progress);
    return printed(ended);
}

std::string json_state_event(const ftpclient_state_t &state, time_t now)
{
    json object = event("state", now);
    object["state"] = object_of(state);
    return printed(object);
}

std::string json_daemon_event(bool is_there, time_t now)
{
    json object = event("daemon", now);
    object["running"] = is_there;
    return printed(object);
}
