// The whole program against a daemon that follows a script.
#pragma once

#include "fake_daemon.h"
#include "libftpclient/ftpclient.h"
#include "program.h"

#include <cstring>

inline job_script script_of(std::deque<state_reply_t> states)
{
    job_script script;
    script.states = std::move(states);
    return script;
}

// What the daemon says of a job that failed: libcurl's result and the server's reply to FTP.
inline state_reply_t failed(uint32_t exec, uint32_t result, uint32_t curl_code, uint32_t reply = 0)
{
    state_reply_t state = ended(exec, result, 0, 0);
    state.exec_info.curl_code = curl_code;
    state.exec_info.response_code_type = reply != 0 ? 1 : 0;
    state.exec_info.response_code = reply;
    return state;
}

inline remote_file_t remote(int64_t size) { return {1, size >= 0, size, 2023, 2, 9, 255, 255, 0x644, 0, 0}; }

inline transfer_request_t request_of(const message_t &message)
{
    transfer_request_t request = {};
    if (message.body.size() == sizeof request)
        memcpy(&request, message.body.data(), sizeof request);
    return request;
}

// The starts of jobs among the messages.
inline std::vector<message_t> starts(fake_daemon &daemon)
{
    std::vector<message_t> found;
    for (const message_t &message : daemon.messages()) {
        if (!message.body.empty())
            found.push_back(message);
    }
    return found;
}

// A daemon whose downloads write `content`.
inline fake_daemon::answer_t writing(job_script script, const std::string &content)
{
    return [script, content](const message_t &message) mutable {
        if (message.command == COMMAND_DOWNLOAD)
            std::ofstream(request_of(message).local_path, std::ios::binary) << content;
        return script(message);
    };
}

// Runs ftpctl once; the password is in the environment.
struct played {
    fake_daemon daemon;
    outcome_t outcome;
    played(const fake_daemon::answer_t &answer, std::vector<std::string> words) : daemon(answer)
    {
        words.insert(words.end(), {"--socket", daemon.path()});
        outcome = run(words, {"FTPCTL_PASSWORD=secret"});
    }
};
