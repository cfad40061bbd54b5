// The daemon: why it cannot be asked, and what drives a call of the library to its end.
#pragma once

#include "ftpctl/deadline.h"
#include "ftpctl/failure.h"
#include "ftpctl/handles.h"
#include "ftpctl/options.h"

// Asks nobody yet and does not wait. Throws failure.
client_t daemon_open(const options_t &options);

// What an ftpclient_error means for a command, in words and as a status. To be made before errno changes.
failure daemon_failure(const options_t &options, int error);

// Waits for a call's descriptor, shows what it does, and stops it at an interrupt.
class driver
{
public:
    // The command's time begins now. Throws failure.
    explicit driver(const options_t &options);

    const options_t &options() const { return options_; }

    // Milliseconds that --timeout leaves, -1 without it: what calls are begun with.
    int left_ms() const { return deadline_.poll_ms(); }

    // Begins a call, by one of the ftpclient_begin_... functions with what it takes between client and time
    // limit, and drives it to its end. `code` is what it has come to, and errno is of that; the call is NULL
    // when it could not even begin. Throws failure when the output fails.
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
