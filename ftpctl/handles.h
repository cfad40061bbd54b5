// RAII owners of the library's objects: each frees its object at the end of the scope. Freeing a call that
// has not ended leaves its job running.
#pragma once

#include "libftpclient/ftpclient.h"
#include "strutil/guards.h"

#include <memory>

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
