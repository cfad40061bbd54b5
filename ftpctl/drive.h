// Drives a call of the library to its end: waits for its descriptor, shows what it does, and stops it at an
// interrupt.
#pragma once

#include "ftpctl/daemon.h"
#include "ftpctl/deadline.h"
#include "ftpctl/handles.h"
#include "ftpctl/options.h"

class driver
{
public:
    // The command's time begins now. Throws failure.
    explicit driver(const options_t &options);

    const options_t &options() const { return options_; }
    const ftpclient_t *client() const { return client_.get(); }

    // Milliseconds that --timeout leaves, -1 without it: what calls are begun with.
    int left_ms() const { return deadline_.poll_ms(); }

    // Returns what ftpclient_call_finish() has come to. Throws failure when the output fails.
    int run(ftpclient_call_t *call);

private:
    const options_t &options_;
    deadline_t deadline_;
    client_t client_;
    bool is_turn_told_ = false;

    void tell_turn_error(const ftpclient_call_t *call);
};
