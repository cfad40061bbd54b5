// The names that files get on the server: patterns of text, placeholders and dates.
//
//   {name}                     the file's name: "cam.a.ts"
//   {base} {extension}         its parts: "cam.a" and ".ts"; the extension is "" without a dot
//   {host}                     this device's name
//   {counter} {counter:6}      the number of the file, perhaps with leading zeros: "42", "000042"
//   %Y %m %d %H %M %S ...      as strftime(3): when the file was last changed, in UTC; %% is a '%'
//
// A '/' makes folders. If the last name is empty, the file's own name is used.
#pragma once

#include <cstdint>
#include <string>

struct remote_facts_t {
    std::string name;
    std::string host;
    int64_t changed_s = 0; // seconds since 1970
    int64_t counter = 0;
};

// Throws failure (STATUS_USAGE) for a pattern that remote_name_check() refuses.
std::string remote_name(const std::string &pattern, const remote_facts_t &facts);

// Throws failure (STATUS_USAGE) for an unknown placeholder or conversion, and for a pattern that is empty or
// begins or ends with '/'.
void remote_name_check(const std::string &pattern);
