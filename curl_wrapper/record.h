// Operations on a handle record for the wrapper's own files.
#pragma once

#include "curl_wrapper/curl_wrapper.h"

// One curl_easy_perform, which blocks until it has ended; its code is stored and returned. Does not judge the
// server's reply, as curl_e_perform does.
CURLcode curl_e_perform_once(curl_e_handle_t *rec);

// Logs under `id` that `call` returned NULL, and sets FTPCD_ERR_NO_MEMORY. Always false.
bool curl_e_out_of_memory(curl_e_handle_t *rec, const char *id, const char *call);
