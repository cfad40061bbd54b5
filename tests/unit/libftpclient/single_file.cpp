// A program that has copied the library's two files: one upload, and what it sent.
#include "ftpclient.h" // the copy

#include "fake_daemon.h"

#include <cstdio>

static bool has(const bytes_t &request, size_t at, const char *text)
{
    return request.size() == sizeof(transfer_request_t) &&
           std::string(reinterpret_cast<const char *>(request.data()) + at) == text;
}

int main()
{
    job_script script;
    script.states = {idle(), ended(JOB_UPLOAD, 0, 100, 100)};
    script.states.back().exec_info.elapsed_time = 0;
    fake_daemon daemon(script);
    ftpclient_t *client = nullptr;
    ftpclient_request_t *request = nullptr;
    ftpclient_outcome_t outcome;
    int error = ftpclient_connect(daemon.path().c_str(), FTPCLIENT_TIMEOUT_MS, &client);
    if (error == 0)
        error = ftpclient_request_new(FTPCLIENT_SFTP, &request);
    if (error == 0)
        error = ftpclient_request_set_server(request, "the.host", 2222);
    if (error == 0)
        error = ftpclient_request_set_remote_path(request, "remote/path");
    if (error == 0)
        error = ftpclient_request_set_local_path(request, "/local/path");
    if (error == 0)
        error = ftpclient_run(client, FTPCLIENT_UPLOAD, request, &outcome, sizeof outcome, 30000);
    ftpclient_request_free(request);
    ftpclient_close(client);
    if (error != 0) {
        fprintf(stderr, "%s\n", ftpclient_strerror(error));
        return 1;
    }
    for (const message_t &message : daemon.messages()) {
        if (message.command == COMMAND_UPLOAD)
            return has(message.body, offsetof(transfer_request_t, host), "the.host") &&
                           has(message.body, offsetof(transfer_request_t, remote_path), "remote/path") &&
                           has(message.body, offsetof(transfer_request_t, local_path), "/local/path") &&
                           outcome.progress.transferred_bytes == 100
                       ? 0
                       : 1;
    }
    fputs("nothing was sent\n", stderr);
    return 1;
}
