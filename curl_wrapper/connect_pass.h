// libcurl takes an SFTP path from the root, and the login directory is known only after a login. So a perform
// over SFTP first only connects and logs in, and then puts that directory into the URL.
#pragma once

#include "curl_wrapper/url.h"

// What one perform needs in addition to the record.
struct perform_t {
    curl_e_handle_t *rec;
    list_setting_info_t *list;  // NULL: no listing
    heap_string specified = {}; // the caller's URL as libcurl returned it, once another one replaces it
    curl_string plain = {};     // the same unescaped, to be set again; its end is the search pattern
};

// Does nothing and returns true for other schemes, or when the caller asked only for a connection. Otherwise
// true means that run.rec has the URL with the login directory, run.specified and run.plain have the
// caller's URL, and total_time is the seconds that this took. False with the reason in run.rec. Blocks as
// long as a perform does.
bool curl_e_find_login_directory(perform_t &run);
