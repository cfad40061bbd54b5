// Finds the wanted file in a listing.
#pragma once

#include "curl_wrapper/curl_wrapper.h"
#include "job_slot/job_slot.h"

struct cb_list_info_t {
    const char *name; // wanted: the last component of remote_path
    job_slot_t *job;  // its remote_file is filled
};

// Takes one entry, context a cb_list_info_t, on the worker thread. The file of the wanted name, which is no
// directory and no link, fills the job's remote_file; the last of several stays. Takes the job's lock for a
// moment. 0, or 1 (no further entries) without a context; a NULL entry is only logged.
int cb_list(list_info_t *entry, void *context, int flag);
