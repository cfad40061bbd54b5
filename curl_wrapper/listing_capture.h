// Creating and freeing the state of a listing capture. Nothing here blocks.
#pragma once

#include "curl_wrapper/curl_wrapper.h"

// New settings without a pattern and without a running capture; the caller frees them with list_setting_free.
// NULL when memory is exhausted.
list_setting_info_t *list_setting_malloc(list_callback_fn callback, void *context);

// Frees the settings and the capture in them, but neither pattern nor context. NULL is ignored.
void list_setting_free(list_setting_info_t *info);

// Starts an empty capture, replacing one that may be left. False (not logged) when memory is exhausted.
bool list_capture_start(list_setting_info_t *info);

// Passes on the last line of the running capture, even without a line end; without memory the line is logged
// and dropped. True when an entry of the listing matched the pattern.
bool list_capture_end(list_setting_info_t *info);

// Frees the capture, if there is one.
void list_capture_free(list_setting_info_t *info);
