/* Looks a remote file up, then downloads it.
 *   fetch HOST USER REMOTE_PATH LOCAL_PATH      the password comes by the environment, as FETCH_PASSWORD
 *
 * cc fetch.c $(pkg-config --cflags --libs ftpclient) -o fetch */
#include <ftpclient.h>

#include <errno.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { JOB_TIMEOUT_MS = 180000 };

/* Says what failed; 0 when nothing did. */
static int failed(const char *what, int code)
{
    if (code == FTPCLIENT_OK)
        return 0;
    fprintf(stderr, "fetch: %s: %s%s%s\n", what, ftpclient_strerror(code),
            code == FTPCLIENT_ERR_SYSTEM ? ": " : "", code == FTPCLIENT_ERR_SYSTEM ? strerror(errno) : "");
    return 1;
}

/* Runs one job to its end. */
static int run(const ftpclient_t *client, int job, const ftpclient_request_t *request, const char *what)
{
    ftpclient_state_t state;
    if (failed(what, ftpclient_start(client, job, request, FTPCLIENT_TIMEOUT_MS)))
        return 1;
    if (failed(what, ftpclient_wait(client, &state, sizeof state, JOB_TIMEOUT_MS))) {
        ftpclient_cancel(client, FTPCLIENT_TIMEOUT_MS);
        return 1;
    }
    return failed(what, state.result);
}

static int fetch(const ftpclient_t *client, ftpclient_request_t *request, char **arguments)
{
    const char *password = getenv("FETCH_PASSWORD");
    if (failed("host", ftpclient_request_set_server(request, arguments[1], 0)) ||
        failed("login", ftpclient_request_set_login(request, arguments[2], password ? password : "")) ||
        failed("remote path", ftpclient_request_set_remote_path(request, arguments[3])) ||
        failed("local path", ftpclient_request_set_local_path(request, arguments[4])))
        return 1;

    if (run(client, FTPCLIENT_FILE_INFO, request, "file information"))
        return 1;
    ftpclient_file_info_t info;
    if (failed("file information", ftpclient_get_file_info(client, &info, sizeof info, FTPCLIENT_TIMEOUT_MS)))
        return 1;
    if (!info.exists) {
        fprintf(stderr, "fetch: %s: there is no such file\n", arguments[3]);
        return 1;
    }
    printf("%s: %" PRId64 " bytes\n", arguments[3], info.size_bytes);

    if (run(client, FTPCLIENT_DOWNLOAD, request, "download"))
        return 1;
    printf("%s: done\n", arguments[4]);
    return 0;
}

int main(int count, char **arguments)
{
    if (count != 5) {
        fprintf(stderr, "usage: fetch HOST USER REMOTE_PATH LOCAL_PATH\n");
        return 2;
    }
    ftpclient_t *client = NULL;
    ftpclient_request_t *request = NULL;
    int status = failed("daemon", ftpclient_connect(NULL, FTPCLIENT_TIMEOUT_MS, &client)) ||
                 failed("request", ftpclient_request_new(FTPCLIENT_FTP, &request));
    if (status == 0)
        status = fetch(client, request, arguments);
    ftpclient_request_free(request); /* wipes the password */
    ftpclient_close(client);
    return status;
}
