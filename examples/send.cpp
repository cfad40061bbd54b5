// Uploads a file. The end comes as a notice, in an event loop; meanwhile the progress is asked for.
//   send HOST USER LOCAL_PATH REMOTE_PATH       the password comes by the environment, as SEND_PASSWORD
//
// c++ -std=c++17 send.cpp $(pkg-config --cflags --libs ftpclient) -o send
#include <ftpclient.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <poll.h>
#include <stdexcept>

template <auto release> struct give_back {
    template <typename Object> void operator()(Object *object) const { release(object); }
};
using client_ptr = std::unique_ptr<ftpclient_t, give_back<ftpclient_close>>;
using request_ptr = std::unique_ptr<ftpclient_request_t, give_back<ftpclient_request_free>>;
using notices_ptr = std::unique_ptr<ftpclient_notices_t, give_back<ftpclient_notices_close>>;

static void check(const char *what, int code)
{
    if (code != FTPCLIENT_OK)
        throw std::runtime_error(std::string(what) + ": " + ftpclient_strerror(code));
}

static client_ptr connect_to_daemon()
{
    ftpclient_t *client = nullptr;
    check("daemon", ftpclient_connect(nullptr, FTPCLIENT_TIMEOUT_MS, &client));
    return client_ptr(client);
}

static notices_ptr listen_for_notices()
{
    ftpclient_notices_t *notices = nullptr;
    check("notices", ftpclient_notices_open(nullptr, &notices));
    return notices_ptr(notices);
}

static request_ptr request_from(char **arguments)
{
    ftpclient_request_t *made = nullptr;
    check("request", ftpclient_request_new(FTPCLIENT_FTP, &made));
    request_ptr request(made);
    const char *password = std::getenv("SEND_PASSWORD");
    check("host", ftpclient_request_set_server(made, arguments[1], 0));
    check("login", ftpclient_request_set_login(made, arguments[2], password ? password : ""));
    check("local path", ftpclient_request_set_local_path(made, arguments[3]));
    check("remote path", ftpclient_request_set_remote_path(made, arguments[4]));
    return request;
}

// True when the upload's notice has come.
static bool is_done(ftpclient_notices_t *notices, ftpclient_notice_t &notice)
{
    const int code = ftpclient_notices_receive(notices, &notice, sizeof notice, 0);
    if (code == FTPCLIENT_ERR_TIMEOUT || code == FTPCLIENT_ERR_PROTOCOL)
        return false; // none yet, or not from the daemon
    check("notices", code);
    return notice.code == FTPCLIENT_NOTICE_UPLOAD_DONE;
}

static ftpclient_notice_t follow(const ftpclient_t *client, ftpclient_notices_t *notices)
{
    pollfd waiting = {ftpclient_notices_fd(notices), POLLIN, 0};
    for (;;) {
        ftpclient_notice_t notice;
        if (poll(&waiting, 1, 500) > 0 && is_done(notices, notice))
            return notice;
        ftpclient_state_t state;
        check("state", ftpclient_poll(client, &state, sizeof state, FTPCLIENT_TIMEOUT_MS));
        std::cout << state.progress.transferred_bytes << " of " << state.progress.total_bytes << " bytes"
                  << std::endl;
        if (!state.running && state.cancelled)
            throw std::runtime_error("somebody cancelled the upload"); // no notice comes for it
    }
}

int main(int count, char **arguments)
try {
    if (count != 5) {
        std::cerr << "usage: send HOST USER LOCAL_PATH REMOTE_PATH\n";
        return 2;
    }
    const notices_ptr notices = listen_for_notices(); // before the start: none is missed
    const client_ptr client = connect_to_daemon();
    const request_ptr request = request_from(arguments);
    check("upload", ftpclient_start(client.get(), FTPCLIENT_UPLOAD, request.get(), FTPCLIENT_TIMEOUT_MS));
    const ftpclient_notice_t notice = follow(client.get(), notices.get());
    check("upload", notice.result);
    std::cout << "done, " << notice.progress.transferred_bytes << " bytes" << std::endl;
    return 0;
} catch (const std::exception &error) {
    std::cerr << "send: " << error.what() << "\n";
    return 1;
}
