// An SFTP path is taken from the root: only a login tells the directory that it starts from. So a perform
// over SFTP first connects and logs in, no more, and puts that directory into the URL.
#pragma once

#include "curl_wrapper/url.h"

// What one perform keeps beside the record.
struct perform_t {
    curl_e_handle_t *rec;
    list_setting_info_t *list;  // NULL: no listing
    heap_string specified = {}; // the caller's URL once another one is set in its place, as it was read back
    curl_string plain = {};     // the same unescaped, to be set again; the search pattern is its end
};

// True, with nothing done, for other schemes, or when the caller asked for a connection alone. Else true when
// run.rec has the URL with the login directory, run.specified and run.plain the caller's, and total_time the
// seconds that it took. False with the reason in run.rec. Blocks as long as a perform does.
bool curl_e_find_login_directory(perform_t &run);
