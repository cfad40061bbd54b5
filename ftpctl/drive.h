// Runs a call of the library to its end.
#pragma once

#include "ftpctl/daemon.h"
#include "ftpctl/deadline.h"
#include "ftpctl/handles.h"
#include "ftpctl/options.h"

// Waits for a call's descriptor, shows the call's progress, and stops it on an interrupt.
class driver
{
public:
    // Starts the command's time limit; `options` must live as long as the driver. Throws failure as
    // daemon_open().
    explicit driver(const options_t &options);

    const options_t &options() const { return options_; }

    // The time limit for new calls: the milliseconds left of --timeout, -1 without it.
    int left_ms() const { return deadline_.poll_ms(); }

    // Begins a call with one of the ftpclient_begin_... functions and runs it to its end. `arguments` are
    // those between client and time limit. `code` is the call's result, with its errno; `call` is NULL when
    // it could not begin. Blocks until the call has ended: after an interrupt that takes up to 10 s more.
    // Throws failure when the output fails.
    struct finished_t {
        int code;
        call_t call;
    };
    template <typename Begin, typename... Arguments> finished_t run(Begin begin, Arguments... arguments)
    {
        ftpclient_call_t *begun = nullptr;
        const int error = begin(client_.get(), arguments..., left_ms(), &begun);
        call_t call(begun);
        return {error == FTPCLIENT_OK ? drive(begun) : error, std::move(call)};
    }

private:
    const options_t &options_;
    deadline_t deadline_;
    client_t client_;
    bool is_turn_told_ = false;

    int drive(ftpclient_call_t *call);
    void tell_turn_error(const ftpclient_call_t *call);
};
