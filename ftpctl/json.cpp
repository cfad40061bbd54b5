#include "ftpctl/json.h"

#include "ftpctl/statuses.h"
#include "ftpctl/text.h"

#include <nlohmann/json.hpp>

using json = nlohmann::ordered_json;

// File names need not be UTF-8; invalid bytes are replaced.
static std::string printed(const json &object)
{
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

static json or_null(const std::string &text) { return text.empty() ? json(nullptr) : json(text); }

static json known(int64_t number) { return number >= 0 ? json(number) : json(nullptr); }

static json object_of(const ftpclient_progress_t &progress)
{
    return {
        {"total_bytes", progress.total_bytes},
        {"transferred_bytes", progress.transferred_bytes},
        {"elapsed_s", static_cast<double>(progress.elapsed_ms) / 1000},
        {"curl_code", progress.curl_code},
        {"zixi_error", text_is_zixi(progress) ? json(progress.zixi_error) : json(nullptr)},
        {"response_type", progress.response_type},
        {"response_code", progress.response_code},
        {"retries", progress.retries},
    };
}

static json or_null(const std::optional<std::string> &text) { return text ? json(*text) : json(nullptr); }

static json or_null(const char *text) { return text != nullptr ? json(text) : json(nullptr); }

static json object_of_job(int job, int result, const ftpclient_progress_t &progress)
{
    return {{"kind", or_null(text_job_word(job))},
            {"result", result},
            {"result_name", ftpclient_result_name(result)},
            {"progress", object_of(progress)}};
}

static json job_of(const report_t &report)
{
    // Left out if unknown: the last state may be another program's.
    if (!report.outcome || report.outcome->jobs == 0 || report.status == STATUS_UNKNOWN)
        return nullptr;
    return object_of_job(report.job, report.outcome->result, report.outcome->progress);
}

static json upload_of(const report_t &report)
{
    if (!report.outcome || report.job != FTPCLIENT_UPLOAD)
        return nullptr;
    constexpr const char *SENT[] = {nullptr, "whole", "rest", "nothing", "mended"}; // by ftpclient_upload
    const ftpclient_outcome_t &outcome = *report.outcome;
    const auto sent = static_cast<size_t>(outcome.upload); // a newer library may know more
    return {
        {"sent", or_null(sent < std::size(SENT) ? SENT[sent] : nullptr)},
        {"local_bytes", known(outcome.local_bytes)},
        {"resumed_bytes", outcome.resumed_bytes},
        {"remote_bytes", known(outcome.remote_bytes)},
        {"verified", outcome.verified != 0},
        {"may_be_spoiled", outcome.may_be_spoiled != 0},
    };
}

static json file_of(const report_t &report)
{
    if (!report.outcome || report.job != FTPCLIENT_FILE_INFO ||
        (report.status != STATUS_DONE && report.status != STATUS_NO_FILE))
        return nullptr;
    const ftpclient_file_info_t &file = report.outcome->file;
    if (file.exists == 0)
        return {{"exists", false}};
    return {
        {"exists", true},
        {"size_bytes", known(file.size_bytes)},
        {"modified", or_null(text_iso_time(file))},
        {"year", known(file.year)},
        {"month", known(file.month)},
        {"day", known(file.day)},
        {"hour", known(file.hour)},
        {"minute", known(file.minute)},
        {"permissions", or_null(text_permissions(file))},
        {"is_link", file.is_link > 0},
    };
}

static json object_of(const ftpclient_state_t &state)
{
    json object = {{"running", state.running != 0}, {"cancelled", state.cancelled != 0}};
    object.update(object_of_job(state.job, state.result, state.progress));
    return object;
}

static json identity_of(const report_t &report)
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

// `more` follows the members that all events have.
static std::string event(const char *name, time_t now, const json &more)
{
    json object = {{"event", name}, {"time", static_cast<int64_t>(now)}};
    object.update(more);
    return printed(object);
}

std::string json_report(const report_t &report)
{
    const bool failed = report.status != STATUS_DONE;
    const status_t &row = status_find(report.status);
    return printed({
        {"command", or_null(report.command)},
        {"status", report.status},
        {"error", or_null(failed ? row.name : "")},
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
    const int result = notice.result;
    if (notice.code == FTPCLIENT_NOTICE_STARTED)
        return event("started", now, {{"result", result}, {"result_name", ftpclient_result_name(result)}});
    const int job = text_job_of(notice);
    return event(text_job_word(job), now, {{"job", object_of_job(job, result, notice.progress)}});
}

std::string json_state_event(const ftpclient_state_t &state, time_t now)
{
    return event("state", now, {{"state", object_of(state)}});
}

std::string json_daemon_event(bool is_there, time_t now)
{
    return event("daemon", now, {{"running", is_there}});
}
