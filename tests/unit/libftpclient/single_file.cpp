// A program with a copy of the library's two files: makes one upload and checks what it sent.
#include "ftpclient.h" // the copy

#include "fake_daemon.h"

#include <cstdio>
#include <cstring>

int main()
{
    fake_daemon daemon(script_of({idle(), ended(JOB_UPLOAD, 0, 100, 100)}));
    ftpclient_t *client = nullptr;
    ftpclient_request_t *request = nullptr;
    ftpclient_outcome_t outcome;
    const bool is_done =
        ftpclient_connect(daemon.path().c_str(), FTPCLIENT_TIMEOUT_MS, &client) == 0 &&
        ftpclient_request_new(FTPCLIENT_SFTP, &request) == 0 &&
        ftpclient_request_set_server(request, "the.host", 2222) == 0 &&
        ftpclient_request_set_remote_path(request, "remote/path") == 0 &&
        ftpclient_request_set_local_path(request, "/local/path") == 0 &&
        ftpclient_run(client, FTPCLIENT_UPLOAD, request, &outcome, sizeof outcome, 30000) == 0;
    ftpclient_request_free(request);
    ftpclient_close(client);
    for (const transfer_request_t &sent : is_done ? daemon.requests() : std::vector<transfer_request_t>()) {
        if (strcmp(sent.host, "the.host") == 0 && strcmp(sent.remote_path, "remote/path") == 0 &&
            strcmp(sent.local_path, "/local/path") == 0 && outcome.progress.transferred_bytes == 100)
            return 0;
    }
    fputs("nothing was sent, or something else\n", stderr);
    return 1;
}
