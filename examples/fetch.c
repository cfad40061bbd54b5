/* Looks a remote file up, then downloads it.
 *   fetch HOST USER REMOTE_PATH LOCAL_PATH      the password is in the environment's FETCH_PASSWORD
 *
 * cc fetch.c $(pkg-config --cflags --libs ftpclient) -o fetch */
#include <ftpclient.h>

#include <errno.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { JOB_TIMEOUT_MS = 180000 };

/* Prints what failed and returns 1; 0 when nothing did. */
static int failed(const char *what, int code)
{
    if (code == FTPCLIENT_OK)
        return 0;
    fprintf(stderr, "fetch: %s: %s%s%s\n", what, ftpclient_strerror(code),
            code == FTPCLIENT_ERR_SYSTEM ? ": " : "", code == FTPCLIENT_ERR_SYSTEM ? strerror(errno) : "");
    return 1;
}

/* The same for a setter; the request knows why it refused. */
static int refused(const ftpclient_request_t *request, int code)
{
    if (code != FTPCLIENT_OK)
        fprintf(stderr, "fetch: %s\n", ftpclient_request_complaint(request));
    return code != FTPCLIENT_OK;
}

/* Runs one job to its end, in turn with other programs. */
static int run(const ftpclient_t *client, int job, const ftpclient_request_t *request, const char *what,
               ftpclient_outcome_t *outcome)
{
    const int code = ftpclient_run(client, job, request, outcome, sizeof *outcome, JOB_TIMEOUT_MS);
    if (code > 0 && outcome->cause > FTPCLIENT_CAUSE_OTHER)
        fprintf(stderr, "fetch: %s: %s\n", what, ftpclient_cause_text(outcome->cause));
    else
        failed(what, code);
    return code != FTPCLIENT_OK;
}

static int fetch(const ftpclient_t *client, ftpclient_request_t *request, char **arguments)
{
    const char *password = getenv("FETCH_PASSWORD");
    if (refused(request, ftpclient_request_set_server(request, arguments[1], 0)) ||
        refused(request, ftpclient_request_set_login(request, arguments[2], password ? password : "")) ||
        refused(request, ftpclient_request_set_remote_path(request, arguments[3])) ||
        refused(request, ftpclient_request_set_local_path(request, arguments[4])))
        return 1;

    ftpclient_outcome_t outcome;
    if (run(client, FTPCLIENT_FILE_INFO, request, "file information", &outcome))
        return 1;
    if (!outcome.file.exists) {
        fprintf(stderr, "fetch: %s: there is no such file\n", arguments[3]);
        return 1;
    }
    printf("%s: %" PRId64 " bytes\n", arguments[3], outcome.file.size_bytes);

    if (run(client, FTPCLIENT_DOWNLOAD, request, "download", &outcome))
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
    ftpclient_request_free(request); /* erases the password */
    ftpclient_close(client);
    return status;
}
