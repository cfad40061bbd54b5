// Keeps passwords out of the log.
#pragma once

#include "strutil/guards.h"

#include <string_view>

// `line` with every credential in it replaced by "****": what a PASS command, an Authorization or a
// Proxy-Authorization header holds, and the user:password of each URL. NULL when memory is exhausted.
heap_string curl_e_redacted(std::string_view line);

// `text` as this build may log it: as it is, or else redacted in *memory, which must live as long.
// "****" when memory is exhausted.
const char *curl_e_loggable(const char *text, heap_string *memory);
