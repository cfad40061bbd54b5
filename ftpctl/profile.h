// Profiles of servers: a file in place of a URL and options, so that no password is on a command line or in
// the queue of ftpspool.
//
// The profile NAME is the file NAME.conf of a folder: a regular file that only its owner can write to, with
// lines "key = value". A line that begins with '#' is a comment; a value may be in quotes. Keys:
//
//   url                        required: SCHEME://HOST[:PORT][/FOLDER], without a user
//   user, pin, proxy           as the options of the same names
//   mode                       passive (the default) or active
//   password-file              an absolute path; the file must be regular and of mode 0600 or 0400
//   password-credential        instead: the name of a credential (password.h)
//   proxy-password-file, proxy-password-credential     the same for the proxy
#pragma once

#include "ftpctl/options.h"

#include <string>

// Absent keys are empty.
struct profile_t {
    std::string url;
    std::string user;
    std::string password_file;
    std::string password_credential;
    std::string pin;
    std::string mode;
    std::string proxy;
    std::string proxy_password_file;
    std::string proxy_password_credential;
};

// What is wrong with the name of a profile; "" for a valid one.
std::string profile_name_fault(const std::string &name);

// Reads a profile whose name is valid. Throws failure with a line that names the file, and the key if there
// is one, but no value, since it might be a password: STATUS_LOCAL when the file is missing, unreadable or
// writable by others, STATUS_USAGE for unknown keys, keys given twice and values that the option of the
// same name would refuse.
profile_t profile_read(const std::string &folder, const std::string &name);

// Completes the options by the profile that they name; without one it changes nothing. The URL, which is
// relative to the profile's ("" and "." are the profile's folder), becomes absolute. Options override the
// profile. With a user among them, the profile's password is not used; with a proxy, neither is the profile's
// proxy password. Throws failure as profile_read(), and (STATUS_USAGE) for a URL that is absolute.
void profile_apply(options_t &options);
