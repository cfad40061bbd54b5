// The whole program against a daemon that follows a script.
#pragma once

#include "fake_daemon.h"
#include "program.h"

inline job_script script_of(std::deque<state_reply_t> states)
{
    job_script script;
    script.states = std::move(states);
    return script;
}

inline remote_file_t remote(int64_t size) { return {1, size >= 0, size, 2023, 2, 9, 255, 255, 0x644, 0, 0}; }

// Runs ftpctl once; the password is in the environment.
struct played {
    fake_daemon daemon;
    outcome_t outcome;
    played(const job_script &script, std::vector<std::string> words) : daemon(script)
    {
        words.insert(words.end(), {"--socket", daemon.path()});
        outcome = run(words, {"FTPCTL_PASSWORD=secret"});
    }
};
