// Gives back by scope what the library and the system lend.
#pragma once

#include "libftpclient/ftpclient.h"

#include <memory>
#include <unistd.h>

struct give_back_t {
    void operator()(ftpclient_t *client) const { ftpclient_close(client); }
    void operator()(ftpclient_request_t *request) const { ftpclient_request_free(request); }
    void operator()(ftpclient_call_t *call) const { ftpclient_call_free(call); }
    void operator()(ftpclient_notices_t *notices) const { ftpclient_notices_close(notices); }
};
using client_t = std::unique_ptr<ftpclient_t, give_back_t>;
using request_t = std::unique_ptr<ftpclient_request_t, give_back_t>;
using call_t = std::unique_ptr<ftpclient_call_t, give_back_t>;
using notices_t = std::unique_ptr<ftpclient_notices_t, give_back_t>;

// Closes its descriptor; -1 is none.
class descriptor
{
public:
    explicit descriptor(int fd) : fd_(fd) {}
    ~descriptor()
    {
        if (fd_ != -1)
            close(fd_);
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;

    int fd() const { return fd_; }
    bool is_open() const { return fd_ != -1; }

private:
    int fd_;
};
