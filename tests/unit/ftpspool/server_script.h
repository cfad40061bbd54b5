// A daemon whose uploads end one after the other as they are told.
#pragma once

#include "../ftpctl/played.h"

#include <atomic>
#include <deque>
#include <memory>

struct upload_end_t {
    state_reply_t state;     // how an upload ends
    int64_t remote_size = 0; // what a look-up finds from then on; -1: nothing
};

// The last end is every later one's as well.
inline fake_daemon::answer_t uploading(std::deque<upload_end_t> ends)
{
    return [ends, script = script_of({idle()})](const message_t &message) mutable {
        if (message.command == COMMAND_UPLOAD) {
            script.states = {ends.front().state};
            script.remote_file = remote(ends.front().remote_size);
            if (ends.size() > 1)
                ends.pop_front();
        } else if (message.command == COMMAND_DL_FILE_INFO) {
            script.states = {ended(3, 0, 0, 0)};
        }
        return script(message);
    };
}

inline upload_end_t whole() { return {ended(2, 0, 10, 10), 10}; }

// libcurl's code 7: nobody listens there.
inline upload_end_t nobody() { return {failed(2, 16, 7), -1}; }

// The connection broke after `bytes` of ten.
inline upload_end_t broken(double bytes)
{
    upload_end_t end = {failed(2, 16, 55), static_cast<int64_t>(bytes)};
    end.state.exec_info.total_size = 10;
    end.state.exec_info.transferred_size = bytes;
    return end;
}

// The server's 530.
inline upload_end_t refused_login() { return {failed(2, 16, 67, 530), -1}; }
