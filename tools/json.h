// Records as one JSON object on one line, members named as in wire/*.h. A record's `unused` words are left
// out; sizes are whole numbers; zixi_error is null but after a Zixi job, which alone sets it.
#pragma once

#include "tools/server_identity.h"
#include "wire/wire.h"

#include <ctime>
#include <string>

std::string json_reply(const reply_t &reply);
std::string json_state(const state_reply_t &state);
std::string json_cancel(const cancel_reply_t &reply);
std::string json_file_info(const file_info_reply_t &reply);

// How a job ended: module_info and exec_info, with the result's name and advice.
std::string json_job(const state_reply_t &state);

// A server's certificate or host key; `server` is HOST:PORT.
std::string json_identity(const std::string &server, const server_identity_t &identity);

// Events: "event" (what `name` says; "started"; "state"), "time" in seconds since 1970 and "result_name",
// then a notice's header and body, or the state without its reply.
std::string json_notice(const notice_header_t &header, const completion_notice_t &body, const char *name,
                        time_t now);
std::string json_notice(const notice_header_t &header, const reply_t &body, time_t now);
std::string json_state_event(const state_reply_t &state, time_t now);
