// Recognises whether a path still leads to the same, unchanged file.
#pragma once

#include <cstdint>
#include <string>
#include <sys/stat.h>

struct file_identity_t {
    int64_t size_bytes = 0;
    std::string text; // inode, size and time of the last change of the content; without the device, whose
                      // number may differ after a restart
};

// The identity of a regular file; follows links. Throws failure: with the status of a missing local file if
// there is none, otherwise STATUS_LOCAL.
file_identity_t file_identify(const std::string &path);

file_identity_t file_identity(const struct stat &status);

// True when the path leads to the file that had that identity.
bool file_is_still(const std::string &path, const std::string &identity);
