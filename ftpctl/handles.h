// RAII owners of the library's objects: each frees its object at the end of the scope. Freeing a call that
// has not ended leaves its job running.
#pragma once

#include "libftpclient/ftpclient.h"
#include "strutil/guards.h"

using client_t = closing_owner<ftpclient_t *, nullptr, ftpclient_close>;
using request_t = closing_owner<ftpclient_request_t *, nullptr, ftpclient_request_free>;
using call_t = closing_owner<ftpclient_call_t *, nullptr, ftpclient_call_free>;
using notices_t = closing_owner<ftpclient_notices_t *, nullptr, ftpclient_notices_close>;
