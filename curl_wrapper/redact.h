// Keeps passwords out of the log.
#pragma once

#include "strutil/guards.h"

#include <string_view>

// `line` with every credential replaced by "****": the value of a PASS command, an Authorization or a
// Proxy-Authorization header, and the user:password of each URL. NULL when memory is exhausted.
heap_string curl_e_redacted(std::string_view line);

// `text` as this build may log it: unchanged, or redacted in *memory, which must live as long as the result.
// "****" when memory is exhausted.
const char *curl_e_loggable(const char *text, heap_string *memory);
