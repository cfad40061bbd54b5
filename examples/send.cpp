// Uploads a file in an event loop: the upload, its progress and the daemon's notices, without a thread.
//   send HOST USER LOCAL_PATH REMOTE_PATH       the password is in the environment's SEND_PASSWORD
//
// c++ -std=c++17 send.cpp $(pkg-config --cflags --libs ftpclient) -o send
#include <ftpclient.h>

#include <chrono>
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
using call_ptr = std::unique_ptr<ftpclient_call_t, give_back<ftpclient_call_free>>;
using notices_ptr = std::unique_ptr<ftpclient_notices_t, give_back<ftpclient_notices_close>>;

static void check(const std::string &what, int code)
{
    if (code != FTPCLIENT_OK)
        throw std::runtime_error(what + ": " + ftpclient_strerror(code));
}

static client_ptr open_client()
{
    ftpclient_t *client = nullptr;
    check("daemon", ftpclient_open(nullptr, &client));
    return client_ptr(client);
}

// NULL when the device's network manager receives them; the rest works without.
static notices_ptr listen_for_notices()
{
    ftpclient_notices_t *notices = nullptr;
    const int code = ftpclient_notices_open(nullptr, &notices);
    if (code != FTPCLIENT_ERR_IN_USE)
        check("notices", code);
    return notices_ptr(notices);
}

static request_ptr request_from(char **arguments)
{
    ftpclient_request_t *made = nullptr;
    check("request", ftpclient_request_new(FTPCLIENT_FTP, &made));
    request_ptr request(made);
    const char *password = std::getenv("SEND_PASSWORD");
    if (ftpclient_request_set_server(made, arguments[1], 0) != FTPCLIENT_OK ||
        ftpclient_request_set_login(made, arguments[2], password ? password : "") != FTPCLIENT_OK ||
        ftpclient_request_set_local_path(made, arguments[3]) != FTPCLIENT_OK ||
        ftpclient_request_set_remote_path(made, arguments[4]) != FTPCLIENT_OK)
        throw std::runtime_error(ftpclient_request_complaint(made));
    return request;
}

static call_ptr begin_upload(const ftpclient_t *client, const ftpclient_request_t *request)
{
    ftpclient_call_t *call = nullptr;
    check("upload", ftpclient_begin_run(client, FTPCLIENT_UPLOAD, request, -1, &call));
    return call_ptr(call);
}

static void show_notice(ftpclient_notices_t *notices)
{
    ftpclient_notice_t notice;
    if (ftpclient_notices_receive(notices, &notice, sizeof notice, 0) == FTPCLIENT_OK)
        std::cout << "notice: " << ftpclient_result_name(notice.result) << std::endl;
}

static void show_progress(const ftpclient_call_t *call)
{
    ftpclient_state_t state;
    ftpclient_call_state(call, &state, sizeof state);
    if (ftpclient_call_phase(call) == FTPCLIENT_PHASE_TURN)
        std::cout << "waiting for other programs" << std::endl;
    else if (state.progress.total_bytes > 0)
        std::cout << state.progress.transferred_bytes << " of " << state.progress.total_bytes << " bytes"
                  << std::endl;
}

// The event loop. Your own program adds its descriptors here.
static int follow(ftpclient_call_t *call, ftpclient_notices_t *notices)
{
    using clock = std::chrono::steady_clock;
    auto shown = clock::now();
    pollfd waiting[] = {{ftpclient_call_fd(call), POLLIN, 0}, {ftpclient_notices_fd(notices), POLLIN, 0}};
    for (;;) {
        if (poll(waiting, 2, -1) == -1)
            continue; // interrupted by a signal
        if (waiting[1].revents != 0)
            show_notice(notices);
        if (waiting[0].revents == 0)
            continue;
        const int code = ftpclient_call_finish(call);
        if (code != FTPCLIENT_PENDING)
            return code;
        if (clock::now() - shown < std::chrono::milliseconds(500))
            continue;
        show_progress(call);
        shown = clock::now();
    }
}

int main(int count, char **arguments)
try {
    if (count != 5) {
        std::cerr << "usage: send HOST USER LOCAL_PATH REMOTE_PATH\n";
        return 2;
    }
    const notices_ptr notices = listen_for_notices();
    const call_ptr call = begin_upload(open_client().get(), request_from(arguments).get());
    check("upload", follow(call.get(), notices.get()));
    ftpclient_outcome_t outcome;
    check("outcome", ftpclient_call_outcome(call.get(), &outcome, sizeof outcome));
    std::cout << "done, " << outcome.progress.transferred_bytes << " bytes" << std::endl;
    return 0;
} catch (const std::exception &error) {
    std::cerr << "send: " << error.what() << "\n";
    return 1;
}
