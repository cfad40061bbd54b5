#include "tools/json.h"

#include "tools/result_names.h"
#include "tools/text.h"

#include <nlohmann/json.hpp>

using json = nlohmann::ordered_json;

static json object_of(const reply_t &reply) { return {{"result", reply.result}, {"detail", reply.detail}}; }

static json object_of(const module_info_t &info)
{
    return {{"running", info.running}, {"exec", info.exec}, {"result", info.result}, {"cancel", info.cancel}};
}

static json object_of(const exec_info_t &info)
{
    const bool is_zixi = info.response_code_type == TEXT_ZIXI_RESPONSE_CODE_TYPE;
    return {
        {"total_size", text_bytes(info.total_size)},
        {"transferred_size", text_bytes(info.transferred_size)},
        {"elapsed_time", info.elapsed_time},
        {"curl_code", info.curl_code},
        {"zixi_error", is_zixi ? json(static_cast<int32_t>(info.zixi_error)) : json(nullptr)},
        {"response_code_type", info.response_code_type},
        {"response_code", info.response_code},
        {"retry_count", info.retry_count},
    };
}

static json object_of(const remote_file_t &file)
{
    return {
        {"looked_up", file.looked_up}, {"exists", file.exists}, {"size", file.size},
        {"year", file.year},           {"month", file.month},   {"day", file.day},
        {"hour", file.hour},           {"minute", file.minute}, {"attributes", file.attributes},
        {"is_link", file.is_link},
    };
}

static json object_of(const notice_header_t &header)
{
    return {
        {"sender", header.sender}, {"code", header.code}, {"kind", header.kind}, {"length", header.length}};
}

std::string json_reply(const reply_t &reply) { return object_of(reply).dump(); }

std::string json_state(const state_reply_t &state)
{
    return json({{"reply", object_of(state.reply)},
                 {"module_info", object_of(state.module_info)},
                 {"exec_info", object_of(state.exec_info)}})
        .dump();
}

std::string json_cancel(const cancel_reply_t &reply)
{
    return json({{"reply", object_of(reply.reply)}, {"exec", reply.exec}}).dump();
}

std::string json_file_info(const file_info_reply_t &reply)
{
    return json({{"reply", object_of(reply.reply)}, {"remote_file", object_of(reply.remote_file)}}).dump();
}

std::string json_job(const state_reply_t &state)
{
    const uint32_t result = state.module_info.result;
    return json({{"module_info", object_of(state.module_info)},
                 {"exec_info", object_of(state.exec_info)},
                 {"result_name", result_name(result)},
                 {"advice", result_advice(result)}})
        .dump();
}

std::string json_identity(const std::string &server, const server_identity_t &identity)
{
    const bool is_certificate = identity.kind == server_identity_t::CERTIFICATE;
    json object = {{"server", server}, {"kind", is_certificate ? "certificate" : "host key"}};
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
    return object.dump();
}

// What every event begins with.
static json event(const char *name, time_t now, uint32_t result)
{
    return {{"event", name}, {"time", static_cast<int64_t>(now)}, {"result_name", result_name(result)}};
}

std::string json_notice(const notice_header_t &header, const completion_notice_t &body, const char *name,
                        time_t now)
{
    json notice = event(name, now, body.reply.detail);
    notice.update(object_of(header));
    notice["reply"] = object_of(body.reply);
    notice["exec_info"] = object_of(body.exec_info);
    return notice.dump();
}

std::string json_notice(const notice_header_t &header, const reply_t &body, time_t now)
{
    json notice = event("started", now, body.detail);
    notice.update(object_of(header));
    notice["reply"] = object_of(body);
    return notice.dump();
}

std::string json_state_event(const state_reply_t &state, time_t now)
{
    json object = event("state", now, state.module_info.result);
    object["module_info"] = object_of(state.module_info);
    object["exec_info"] = object_of(state.exec_info);
    return object.dump();
}
