// Finds the wanted file in a listing.
#pragma once

#include "curl_wrapper/curl_wrapper.h"
#include "job_slot/job_slot.h"

struct cb_list_info_t {
    const char *name; // wanted: the last component of remote_path
    job_slot_t *job;  // its remote_file is filled
};

// Receives one entry, context a cb_list_info_t, on the worker thread. If the entry has the wanted name and is
// neither a directory nor a link, it fills the job's remote_file; the last of several wins. Holds the job's
// lock briefly. 0, or 1 (no further entries) without a context; a NULL entry is only logged.
int cb_list(list_info_t *entry, void *context, int flag);
