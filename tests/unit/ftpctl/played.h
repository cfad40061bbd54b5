// Runs the whole program against a scripted daemon.
#pragma once

#include "fake_daemon.h"
#include "libftpclient/ftpclient.h"
#include "program.h"

#include <atomic>
#include <csignal>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

using json = nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Matcher;
using testing::MatchesRegex;
using testing::StartsWith;

// The state of a failed job with libcurl's code and the FTP server's reply.
inline state_reply_t failed(uint32_t exec, uint32_t result, uint32_t curl_code, uint32_t reply = 0)
{
    state_reply_t state = ended(exec, result, 0, 0);
    state.exec_info.curl_code = curl_code;
    state.exec_info.response_code_type = reply != 0 ? 1 : 0;
    state.exec_info.response_code = reply;
    return state;
}

inline remote_file_t remote(int64_t size) { return {1, size >= 0, size, 2023, 2, 9, 255, 255, 0x644, 0, 0}; }

// A look-up that finds a file of that size; -1: no file.
inline job_script finding(int64_t size)
{
    job_script script = script_of({idle(), ended(3, 0, 0, 0)});
    script.remote_file = remote(size);
    return script;
}

// A job that runs until it is cancelled.
inline job_script endless(uint32_t exec)
{
    job_script script = script_of({idle(), running(exec, 10, 4)});
    script.cancelled = ended(exec, 1, 10, 4);
    return script;
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

// Runs ftpctl until it has seen its job run, then sends it the signal.
inline outcome_t interrupted(fake_daemon &daemon, std::vector<std::string> words, int signal)
{
    words.insert(words.end(), {"--socket", daemon.path()});
    program running(words);
    EXPECT_TRUE(daemon.has_got(COMMAND_GET_STATE, 3));
    running.signal(signal);
    return running.wait();
}
